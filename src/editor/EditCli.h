#pragma once

#include "core/Args.h"

namespace pelix {

// The command-line mode of this folder; returns the process's exit status.
int runEditCli(const Args& args);

}  // namespace pelix
