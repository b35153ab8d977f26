#include "core/Graphemes.h"

#include <unicode/brkiter.h>
#include <unicode/locid.h>
#include <unicode/utext.h>

#include <memory>

namespace pelix::core {

QList<qsizetype> graphemeBounds(QStringView text) {
    QList<qsizetype> bounds{0};
    if (text.isEmpty()) return bounds;
    UErrorCode status = U_ZERO_ERROR;
    // Making an iterator loads its rules: one per thread, kept.
    thread_local const std::unique_ptr<icu::BreakIterator> breaks(
        icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
    UText* utext = utext_openUChars(nullptr, reinterpret_cast<const UChar*>(text.utf16()),
                                    text.size(), &status);
    if (U_FAILURE(status) || !breaks) {
        // Without ICU's rules every code unit counts as a character: nothing is lost.
        if (utext) utext_close(utext);
        for (qsizetype i = 1; i <= text.size(); ++i) bounds.append(i);
        return bounds;
    }
    breaks->setText(utext, status);
    for (int32_t at = breaks->next(); at != icu::BreakIterator::DONE; at = breaks->next()) {
        bounds.append(at);
    }
    // The iterator keeps no reference to the text once it has another.
    breaks->setText(icu::UnicodeString());
    utext_close(utext);
    return bounds;
}

qsizetype graphemeCount(QStringView text) {
    return graphemeBounds(text).size() - 1;
}

}  // namespace pelix::core
