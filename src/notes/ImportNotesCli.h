#pragma once

#include "core/Args.h"
#include "service/ServiceContext.h"

namespace pelix {

// The command-line mode of this folder; returns the process's exit status.
int runImportNotesCli(const Args& args, ServiceContext& backend);

}  // namespace pelix
