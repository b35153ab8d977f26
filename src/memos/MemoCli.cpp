#include "memos/MemoCli.h"

#include "core/Console.h"

namespace pelix {

int runMemoCli(const Args&, Backend&) { return console::notInThisBuild("Filing a recording as a voice memo (--memo)"); }

}  // namespace pelix
