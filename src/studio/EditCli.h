#pragma once

#include "core/Args.h"
#include "service/ServiceContext.h"

namespace pelix::studio {

// The command-line mode of this folder; returns the process's exit status. `context` reaches
// the backend for plan, revise, translate and style.
int runEditCli(const core::Args& args, service::ServiceContext& context);

// The text of `pelix --edit help`: the editor's commands.
QString editUsage();

}  // namespace pelix::studio
