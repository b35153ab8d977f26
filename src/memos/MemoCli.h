#pragma once

#include "core/Args.h"
#include "service/ServiceContext.h"

namespace pelix::memos {

// The command-line mode of this folder; returns the process's exit status.
int runMemoCli(const core::Args& args, service::ServiceContext& backend);

}  // namespace pelix::memos
