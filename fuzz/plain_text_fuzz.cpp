// Notes' HTML of any kind: the linear conversion gives what the plain replacements give.
#include "FuzzSupport.h"
#include "notes/NotesImport.h"

using namespace pelix;
using namespace pelix::notes;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const QString html = QString::fromUtf8(fuzzing::bytes(data, size));
    const QString fast = NotesImport::plainText(html);
    // The replacements themselves are quadratic at worst: compared on short notes only.
    if (html.size() <= 4096 && fast != NotesImport::detail::plainTextByPatterns(html)) {
        fuzzing::broken("plainText differs from the replacements", html);
    }
    return 0;
}
