#include "text/CleanUp.h"

#include <QtGlobal>

#include <QStringView>

#include <unicode/locid.h>
#include <unicode/regex.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <algorithm>
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
        qFatal("CleanUp.cpp: a clean-up pattern does not compile (%s at offset %d)",
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

bool isSpace(UChar c) {
    return u_hasBinaryProperty(c, UCHAR_WHITE_SPACE);
}

QStringView view(const icu::UnicodeString& buffer) {
    return QStringView(buffer.getBuffer(), buffer.length());
}

// The stretches of the buffer in which a match of a pattern that contains the word can lie:
// each occurrence of "actually" with the white space around it, two more units before (a
// sentence end and a closing quote, or an escaped line break) and after it an optional comma,
// white space and one letter (two units for a surrogate pair). Overlapping stretches are
// merged, so every match lies inside exactly one of them.
std::vector<std::pair<int32_t, int32_t>> stretchesAroundWord(const icu::UnicodeString& buffer) {
    static constexpr QStringView kWord = u"actually";
    const QStringView text = view(buffer);
    const auto length = static_cast<int32_t>(text.size());
    std::vector<std::pair<int32_t, int32_t>> stretches;
    for (qsizetype at = text.indexOf(kWord, 0, Qt::CaseInsensitive); at >= 0;
         at = text.indexOf(kWord, at + kWord.size(), Qt::CaseInsensitive)) {
        auto start = static_cast<int32_t>(at);
        while (start > 0 && isSpace(buffer.charAt(start - 1))) --start;
        start = std::max(0, start - 2);
        auto end = static_cast<int32_t>(at + kWord.size());
        if (end < length && buffer.charAt(end) == u',') ++end;
        while (end < length && isSpace(buffer.charAt(end))) ++end;
        end = std::min(length, end + 2);
        if (!stretches.empty() && start <= stretches.back().second) {
            stretches.back().second = end;
        } else {
            stretches.emplace_back(start, end);
        }
    }
    return stretches;
}

// Replaces every match of a pattern that contains the word, as a left-to-right replace-all
// would, but searches only the stretches around the word. The bounds are transparent and do
// not anchor, so look-arounds, ^ and $ see the whole buffer.
template <class Replacement>
void replaceNearWord(const icu::RegexPattern& pattern, icu::UnicodeString& buffer,
                     Replacement replacement, bool everywhere) {
    struct Match {
        int32_t start, end;
        icu::UnicodeString text;
    };
    std::vector<Match> matches;
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::RegexMatcher> matcher(pattern.matcher(buffer, status));
    if (U_FAILURE(status)) return;
    const auto stretches = everywhere
                               ? std::vector<std::pair<int32_t, int32_t>>{{0, buffer.length()}}
                               : stretchesAroundWord(buffer);
    for (const auto& [start, end] : stretches) {
        matcher->region(start, end, status);
        matcher->useAnchoringBounds(false).useTransparentBounds(true);
        while (U_SUCCESS(status) && matcher->find(status)) {
            matches.push_back(
                Match{matcher->start(status), matcher->end(status), replacement(*matcher)});
        }
    }
    matcher.reset();
    if (matches.empty()) return;
    // One new buffer, front to back: replacing in place would move the tail once per match.
    icu::UnicodeString result;
    int32_t copied = 0;
    for (const Match& m : matches) {
        result.append(buffer, copied, m.start - copied).append(m.text);
        copied = m.end;
    }
    result.append(buffer, copied, buffer.length() - copied);
    buffer = std::move(result);
}

// "actually" that opens a sentence, a line or a quote goes, and the letter after it is
// upper-cased (fully, so one letter may become several).
icu::UnicodeString opening(icu::RegexMatcher& match) {
    UErrorCode status = U_ZERO_ERROR;
    icu::UnicodeString text = match.group(1, status);
    text += match.group(2, status).toUpper(icu::Locale::getRoot());
    return text;
}

icu::UnicodeString nothing(icu::RegexMatcher&) {
    return {};
}

}  // namespace

namespace detail {

QString withoutActually(const QString& text, bool searchEverywhere) {
    if (!text.contains(QLatin1String("actually"), Qt::CaseInsensitive)) return text;

    const Patterns& p = patterns();
    icu::UnicodeString buffer(reinterpret_cast<const UChar*>(text.utf16()),
                              static_cast<int32_t>(text.size()));
    replaceNearWord(*p.opening, buffer, opening, searchEverywhere);
    replaceNearWord(*p.closing, buffer, nothing, searchEverywhere);
    replaceNearWord(*p.anywhere, buffer, nothing, searchEverywhere);
    replaceAll(*p.stray, buffer, icu::UnicodeString(u"$1"));
    // Most transcripts have no double blank at all; finding that out is cheaper than the regex.
    if (view(buffer).contains(u"  ")) replaceAll(*p.spaces, buffer, icu::UnicodeString(u" "));
    replaceAll(*p.leading, buffer, icu::UnicodeString());
    return QString(reinterpret_cast<const QChar*>(buffer.getBuffer()), buffer.length());
}

}  // namespace detail

QString withoutActually(const QString& text) {
    return detail::withoutActually(text, false);
}

}  // namespace pelix
