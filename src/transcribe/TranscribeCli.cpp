#include "transcribe/TranscribeCli.h"

#include "core/Console.h"

namespace pelix {

int runTranscribeCli(const Args&, Backend&) { return console::notInThisBuild("Transcribing a file (--transcribe)"); }

}  // namespace pelix
