#pragma once

#include "core/Args.h"
#include "service/ServiceContext.h"

namespace pelix::notes {

// The command-line mode of this folder; returns the process's exit status.
int runImportNotesCli(const core::Args& args, service::ServiceContext& backend);

}  // namespace pelix::notes
