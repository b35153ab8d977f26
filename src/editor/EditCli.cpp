#include "editor/EditCli.h"

#include "core/Console.h"

namespace pelix {

int runEditCli(const Args&, Backend&) { return console::notInThisBuild("The video editor's command line (--edit)"); }

}  // namespace pelix
