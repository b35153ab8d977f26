#include "text/Words.h"

#include <QtGlobal>

#include <unicode/locid.h>
#include <unicode/regex.h>
#include <unicode/unistr.h>

#include <memory>
#include <vector>

namespace pelix {
namespace {

// The patterns as ICU receives them. Word tests use ASCII word characters only, so
// "factually" is never touched.
constexpr char16_t kOpening[] =
    u"(^|[.!?…][\"”')\\]]?\\s+|\\n\\s*|\\\\n\\s*|[\"“]\\s*)actually(?![A-Za-z0-9_]),?\\s+(\\p{L})";
constexpr char16_t kClosing[] =
    u",?\\s*(?<![A-Za-z0-9_])actually(?![A-Za-z0-9_])(?=\\s*[.!?…,;:)\"”]|\\s*$)";
constexpr char16_t kAnywhere[] = u"\\s*(?<![A-Za-z0-9_])actually(?![A-Za-z0-9_]),?";
constexpr char16_t kStray[] = u"(^|[.!?…]\\s+)[.,;:!?]+\\s*";
constexpr char16_t kSpaces[] = u" {2,}";
constexpr char16_t kLeading[] = u"^\\s+";

struct Patterns {
    std::unique_ptr<icu::RegexPattern> opening, closing, anywhere, stray, spaces, leading;
};

std::unique_ptr<icu::RegexPattern> compile(const char16_t* source) {
    UErrorCode status = U_ZERO_ERROR;
    UParseError where{};
    std::unique_ptr<icu::RegexPattern> pattern(icu::RegexPattern::compile(
        icu::UnicodeString(source), UREGEX_CASE_INSENSITIVE, where, status));
    if (U_FAILURE(status)) {
        qFatal("Words.cpp: a clean-up pattern does not compile (%s at offset %d)",
               u_errorName(status), where.offset);
    }
    return pattern;
}

// Compiled once, on first use, by the thread-safe initialisation of a function-local static;
// afterwards only read, which ICU allows from any number of threads.
const Patterns& patterns() {
    static const Patterns compiled{compile(kOpening), compile(kClosing), compile(kAnywhere),
                                   compile(kStray),   compile(kSpaces),  compile(kLeading)};
    return compiled;
}

void replaceAll(const icu::RegexPattern& pattern, icu::UnicodeString& buffer,
                const icu::UnicodeString& replacement) {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::RegexMatcher> matcher(pattern.matcher(buffer, status));
    if (U_FAILURE(status)) return;
    icu::UnicodeString result = matcher->replaceAll(replacement, status);
    if (U_SUCCESS(status)) buffer = std::move(result);
}

// "actually" that opens a sentence, a line or a quote goes, and the letter after it is
// upper-cased (fully, so one letter may become several).
void openings(const icu::RegexPattern& pattern, icu::UnicodeString& buffer) {
    struct Match {
        int32_t start, end;
        icu::UnicodeString lead, letter;
    };
    std::vector<Match> matches;
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::RegexMatcher> matcher(pattern.matcher(buffer, status));
    if (U_FAILURE(status)) return;
    while (matcher->find(status) && U_SUCCESS(status)) {
        matches.push_back(Match{matcher->start(status), matcher->end(status),
                                matcher->group(1, status), matcher->group(2, status)});
    }
    matcher.reset();
    // Last to first, so earlier ranges keep their positions.
    for (auto it = matches.rbegin(); it != matches.rend(); ++it) {
        icu::UnicodeString replacement = it->lead;
        replacement += it->letter.toUpper(icu::Locale::getRoot());
        buffer.replace(it->start, it->end - it->start, replacement);
    }
}

}  // namespace

QString withoutActually(const QString& text) {
    if (!text.contains(QLatin1String("actually"), Qt::CaseInsensitive)) return text;

    const Patterns& p = patterns();
    icu::UnicodeString buffer(reinterpret_cast<const UChar*>(text.utf16()),
                              static_cast<int32_t>(text.size()));
    openings(*p.opening, buffer);
    replaceAll(*p.closing, buffer, icu::UnicodeString());
    replaceAll(*p.anywhere, buffer, icu::UnicodeString());
    replaceAll(*p.stray, buffer, icu::UnicodeString(u"$1"));
    replaceAll(*p.spaces, buffer, icu::UnicodeString(u" "));
    replaceAll(*p.leading, buffer, icu::UnicodeString());
    return QString(reinterpret_cast<const QChar*>(buffer.getBuffer()), buffer.length());
}

}  // namespace pelix
