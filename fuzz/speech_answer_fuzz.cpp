// A transcription server's answers of any kind: read without crashing, and what is read can be
// kept and shown: stretches and words in time order within themselves, never before the start of
// the piece, and without control characters.
#include "FuzzSupport.h"
#include "speech/ServerAnswer.h"

#include <algorithm>

using namespace pelix;
using namespace pelix::speech;

namespace {

bool printable(const QString& text) {
    return std::ranges::none_of(text, [](QChar c) {
        return c.category() == QChar::Other_Control && c != u'\n' && c != u'\t';
    });
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1) return 0;
    const double offset = data[0] % 16;
    const Result<QList<SpeechResult>> read =
        server::readAnswer(fuzzing::bytes(data + 1, size - 1), offset, 30);
    if (!read) {
        if (!printable(read.error().message)) fuzzing::broken("a failure with control characters");
        return 0;
    }
    for (const SpeechResult& stretch : *read) {
        if (!(stretch.start >= offset && stretch.end >= stretch.start)) {
            fuzzing::broken("a stretch out of order");
        }
        if (!printable(stretch.text)) fuzzing::broken("a stretch with control characters");
        for (const core::Word& word : stretch.words) {
            if (!(word.start >= offset && word.end >= word.start)) {
                fuzzing::broken("a word out of order");
            }
            if (!printable(word.text)) fuzzing::broken("a word with control characters");
        }
    }
    return 0;
}
