#include "text/CleanUp.h"

#include <QtGlobal>

#include <QStringView>

#include <unicode/locid.h>
#include <unicode/regex.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <array>
#include <memory>
#include <vector>

namespace pelix::text {
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

struct Match {
    int32_t start, end;
    icu::UnicodeString text;
};

// Builds the result front to back from the matches, which are in order and do not overlap:
// replacing in place would move the tail once per match.
void assemble(icu::UnicodeString& buffer, const std::vector<Match>& matches) {
    if (matches.empty()) return;
    icu::UnicodeString result;
    int32_t copied = 0;
    for (const Match& m : matches) {
        result.append(buffer, copied, m.start - copied).append(m.text);
        copied = m.end;
    }
    result.append(buffer, copied, buffer.length() - copied);
    buffer = std::move(result);
}

// Replaces every match as a left-to-right replace-all does, letting the engine try every
// position. Correct by definition, and quadratic on long runs of white space.
template <class Replacement>
void replaceEverywhere(const icu::RegexPattern& pattern, icu::UnicodeString& buffer,
                       Replacement replacement) {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::RegexMatcher> matcher(pattern.matcher(buffer, status));
    if (U_FAILURE(status)) return;
    std::vector<Match> matches;
    while (U_SUCCESS(status) && matcher->find(status)) {
        matches.push_back(
            Match{matcher->start(status), matcher->end(status), replacement(*matcher)});
    }
    matcher.reset();
    assemble(buffer, matches);
}

// The same replace-all for the three patterns that contain the word, in linear time. Every
// match holds one occurrence of "actually", and what comes before the word in a match is made
// of white space, a sentence end, a closing or opening quote, a comma or an escaped line break,
// never of letters. So a match containing the occurrence at `at` starts in the white space run
// [w, at) before it or a unit or two before that run, and whether there is a match at all does
// not depend on where in the run it starts. The engine would try each start of the run in turn,
// scanning the run each time; here only the few starts that can begin a match are tried, in
// order, with the same engine (`lookingAt`), so the first one that matches is the match the
// engine's own search finds:
//  - `opening`: two units before the run (a sentence end and a closing quote, or "\n"), one
//    unit before it (a sentence end or an opening quote), the first line break in the run, and
//    the word itself (at the very start of the text);
//  - `closing` and `anywhere`: a comma just before the run, and the run's start.
// Where the previous match ended inside the run, that is where the search resumes, as the
// engine's would. The bounds are transparent and do not anchor, so look-arounds, ^ and $ see the
// whole buffer. Each run is scanned a fixed number of times, by the occurrences on either side.
template <class Replacement>
void replaceAtWord(const icu::RegexPattern& pattern, icu::UnicodeString& buffer,
                   Replacement replacement, bool opening) {
    static constexpr QStringView kWord = u"actually";
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::RegexMatcher> matcher(pattern.matcher(buffer, status));
    if (U_FAILURE(status)) return;
    const QStringView text = view(buffer);
    const auto length = static_cast<int32_t>(text.size());
    std::vector<Match> matches;
    int32_t resume = 0;  // no match starts before the end of the previous one
    for (qsizetype found = text.indexOf(kWord, 0, Qt::CaseInsensitive); found >= 0;
         found = text.indexOf(kWord, found + kWord.size(), Qt::CaseInsensitive)) {
        const auto at = static_cast<int32_t>(found);
        if (at < resume) continue;
        int32_t run = at;
        while (run > 0 && isSpace(buffer.charAt(run - 1))) --run;
        int32_t lineBreak = std::max(run, resume);
        while (opening && lineBreak < at && buffer.charAt(lineBreak) != u'\n') ++lineBreak;
        std::array<int32_t, 6> starts{run - 2, run - 1, run, resume, at, lineBreak};
        std::sort(starts.begin(), starts.end());
        const auto last = std::unique(starts.begin(), starts.end());
        for (auto it = starts.begin(); it != last; ++it) {
            const int32_t start = *it;
            if (start < resume || start > at) continue;
            matcher->region(start, length, status);
            matcher->useAnchoringBounds(false).useTransparentBounds(true);
            if (U_FAILURE(status)) return;
            if (!matcher->lookingAt(status)) continue;
            matches.push_back(
                Match{matcher->start(status), matcher->end(status), replacement(*matcher)});
            resume = matches.back().end;
            break;
        }
    }
    matcher.reset();
    assemble(buffer, matches);
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
    if (searchEverywhere) {
        replaceEverywhere(*p.opening, buffer, opening);
        replaceEverywhere(*p.closing, buffer, nothing);
        replaceEverywhere(*p.anywhere, buffer, nothing);
    } else {
        replaceAtWord(*p.opening, buffer, opening, true);
        replaceAtWord(*p.closing, buffer, nothing, false);
        replaceAtWord(*p.anywhere, buffer, nothing, false);
    }
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

}  // namespace pelix::text
