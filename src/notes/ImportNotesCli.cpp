#include "notes/ImportNotesCli.h"

#include "core/Console.h"

namespace pelix {

int runImportNotesCli(const Args&, Backend&) { return console::notInThisBuild("Importing notes (--import-notes)"); }

}  // namespace pelix
