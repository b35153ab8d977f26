// Transcripts of any kind: the clean-up searched at the word gives what the engine's search of
// the whole text gives.
#include "FuzzSupport.h"
#include "text/CleanUp.h"

using namespace pelix;
using namespace pelix::text;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QString text = QString::fromUtf8(fuzzing::bytes(data, size));
    const QString fast = withoutActually(text);
    if (text.size() <= 4096 && fast != detail::withoutActually(text, true)) {
        fuzzing::broken("withoutActually differs from the whole-text search", text);
    }
    return 0;
}
