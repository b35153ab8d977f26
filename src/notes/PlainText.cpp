#include "notes/NotesImport.h"

#include <QtGlobal>

#include <unicode/regex.h>
#include <unicode/unistr.h>

#include <memory>
#include <utility>
#include <vector>

// The HTML of a note as plain text: twenty replacements in a fixed order, each defined by a
// regular expression or an exact text. Run as plain replace-alls they take quadratic time on
// hostile notes (a tag pattern that cannot find its end scans to the end of the note from
// every start). Here each replacement makes one linear pass that gives exactly the replace-all's
// result; `detail::plainTextByPatterns` is the plain version the tests compare it with.
namespace pelix::notes::NotesImport {
namespace {

// How a tag rule is run in linear time.
enum class Shape {
    // `opening` ... `closing`, with anything (line breaks too) between: ends at the first
    // `closing` after the opening.
    enclosed,
    // `opening`, then anything but ">", then ">": ends at the first ">" after the opening.
    toTagEnd,
    // `opening`, to the first ">", then anything but a line break up to the first `closing`.
    object,
    // A pattern of bounded length (up to a run of white space): a replace-all is linear.
    bounded,
    // "<", at least one character that is not ">", then ">".
    anyTag,
};

struct Rule {
    const char16_t* pattern;
    const char16_t* replacement;
    Shape shape;
    // The literal parts, matched case-insensitively by the regular expression engine itself
    // (which folds some letters outside ASCII onto ASCII ones).
    const char16_t* opening;
    const char16_t* closing;
    // A rule can only match where "<" is followed by one of `open` or "</" by one of `close`
    // (ASCII letters in lower case, either case matching); null matches any tag.
    const char* open;
    const char* close;
};

// Tags first, in this order; entities only after every tag is gone, "&amp;" before "&lt;", so
// an escaped "&amp;lt;" ends as "<" and never becomes a tag.
constexpr Rule kTags[] = {
    {u"(?is)<script.*?</script>", u"", Shape::enclosed, u"(?i)<script", u"(?i)</script>", "s", ""},
    {u"(?is)<style.*?</style>", u"", Shape::enclosed, u"(?i)<style", u"(?i)</style>", "s", ""},
    {u"(?i)<img[^>]*>", u"[image]", Shape::toTagEnd, u"(?i)<img", nullptr, "i", ""},
    {u"(?i)<object[^>]*>.*?</object>", u"[attachment]", Shape::object, u"(?i)<object",
     u"(?i)</object>", "o", ""},
    {u"(?i)<br\\s*/?>", u"\n", Shape::bounded, nullptr, nullptr, "b", ""},
    {u"(?i)</(div|p|h[1-6]|tr|table|blockquote)>", u"\n", Shape::bounded, nullptr, nullptr, "",
     "dphtb"},
    {u"(?i)<li[^>]*>", u"- ", Shape::toTagEnd, u"(?i)<li", nullptr, "l", ""},
    {u"(?i)</li>", u"\n", Shape::bounded, nullptr, nullptr, "", "l"},
    {u"(?i)</?(ul|ol)[^>]*>", u"\n", Shape::toTagEnd, u"(?i)</?(ul|ol)", nullptr, "uo", "uo"},
    {u"(?i)</td>", u"\t", Shape::bounded, nullptr, nullptr, "", "t"},
    {u"<[^>]+>", u"", Shape::anyTag, nullptr, nullptr, nullptr, nullptr},
};
struct Entity {
    const char16_t* text;
    const char16_t* replacement;
};
constexpr Entity kEntities[] = {
    {u"&nbsp;", u" "},  {u"&amp;", u"&"}, {u"&lt;", u"<"},   {u"&gt;", u">"},
    {u"&quot;", u"\""}, {u"&#39;", u"'"}, {u"&apos;", u"'"}, {u"&#160;", u" "},
};
constexpr char16_t kNumeric[] = u"&#(\\d+);";
// Only "\n" ends a line, as the text is split at "\n" alone.
constexpr char16_t kTrailing[] = u"(?md)[ \\t\\x{00A0}]+$";

using Pattern = std::unique_ptr<icu::RegexPattern>;
using Span = std::pair<int32_t, int32_t>;

Pattern compile(const char16_t* source) {
    if (!source) return nullptr;
    UErrorCode status = U_ZERO_ERROR;
    UParseError where{};
    Pattern pattern(icu::RegexPattern::compile(icu::UnicodeString(source), 0, where, status));
    if (U_FAILURE(status)) {
        qFatal("PlainText.cpp: a pattern does not compile (%s at offset %d)", u_errorName(status),
               where.offset);
    }
    return pattern;
}

struct Compiled {
    Pattern whole, opening, closing;
};

struct Patterns {
    std::vector<Compiled> tags;
    Pattern numeric = compile(kNumeric);
    Pattern trailing = compile(kTrailing);
    Patterns() {
        for (const Rule& rule : kTags) {
            tags.push_back({compile(rule.pattern), compile(rule.opening), compile(rule.closing)});
        }
    }
};

// Compiled once by the thread-safe start of a function-local static, then only read.
const Patterns& patterns() {
    static const Patterns compiled;
    return compiled;
}

// Replaces every match of `pattern` in `text`, as a replace-all does; leaves `text` untouched
// when nothing matches. No match starts before `from`.
void replaceAll(const icu::RegexPattern& pattern, icu::UnicodeString& text,
                const icu::UnicodeString& replacement, int32_t from = 0) {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::RegexMatcher> matcher(pattern.matcher(text, status));
    if (U_FAILURE(status) || !matcher->find(from, status) || U_FAILURE(status)) return;
    icu::UnicodeString result;
    do {
        matcher->appendReplacement(result, replacement, status);
    } while (U_SUCCESS(status) && matcher->find());
    matcher->appendTail(result);
    if (U_SUCCESS(status)) text = std::move(result);
}

// Every match of a literal pattern from `from` on, in order. The literals here begin with "<"
// and hold no other, so their matches cannot overlap: these are all the places they match.
std::vector<Span> findAll(const icu::RegexPattern& pattern, const icu::UnicodeString& text,
                          int32_t from) {
    std::vector<Span> found;
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::RegexMatcher> matcher(pattern.matcher(text, status));
    if (U_FAILURE(status) || !matcher->find(from, status)) return found;
    do {
        found.emplace_back(matcher->start(status), matcher->end(status));
    } while (U_SUCCESS(status) && matcher->find(status));
    return found;
}

// The positions of the units for which `wanted` holds, from `from` on.
template <class Wanted>
std::vector<int32_t> positions(const icu::UnicodeString& text, int32_t from, Wanted wanted) {
    std::vector<int32_t> found;
    const char16_t* chars = text.getBuffer();
    for (int32_t i = from; i < text.length(); ++i) {
        if (wanted(chars[i])) found.push_back(i);
    }
    return found;
}

// A forward-only search for the first entry at or after a position; the positions asked for
// never go back, so every search together takes linear time.
template <class T, class Key>
class Cursor {
public:
    Cursor(const std::vector<T>& items, Key key) : items_(items), key_(key) {}
    const T* atOrAfter(int32_t at) {
        while (next_ < items_.size() && key_(items_[next_]) < at) ++next_;
        return next_ < items_.size() ? &items_[next_] : nullptr;
    }

private:
    const std::vector<T>& items_;
    Key key_;
    size_t next_ = 0;
};
template <class T, class Key>
Cursor(const std::vector<T>&, Key) -> Cursor<T, Key>;

constexpr auto kStart = [](const Span& s) { return s.first; };
constexpr auto kItself = [](int32_t p) { return p; };

// What "." does not match without the dot-all flag.
bool endsLine(char16_t c) {
    return (c >= 0x0A && c <= 0x0D) || c == 0x85 || c == 0x2028 || c == 0x2029;
}

// The matches of one tag rule, in order and not overlapping, as a replace-all finds them.
std::vector<Span> tagMatches(const Rule& rule, const Compiled& compiled,
                             const icu::UnicodeString& text, int32_t from) {
    std::vector<Span> matches;
    const auto closing = [](char16_t c) { return c == u'>'; };
    if (rule.shape == Shape::anyTag) {
        const std::vector<int32_t> opens =
            positions(text, from, [](char16_t c) { return c == u'<'; });
        const std::vector<int32_t> ends = positions(text, from, closing);
        Cursor end(ends, kItself);
        int32_t resume = from;
        for (const int32_t at : opens) {
            if (at < resume) continue;
            const int32_t* gt = end.atOrAfter(at + 1);
            if (!gt) break;               // no ">" after this "<", nor after any later one
            if (*gt == at + 1) continue;  // "<>": nothing between
            matches.emplace_back(at, *gt + 1);
            resume = *gt + 1;
        }
        return matches;
    }
    const std::vector<Span> opens = findAll(*compiled.opening, text, from);
    if (opens.empty()) return matches;
    const std::vector<int32_t> ends = positions(text, from, closing);
    Cursor end(ends, kItself);
    std::vector<Span> closes;
    if (compiled.closing) closes = findAll(*compiled.closing, text, from);
    Cursor close(closes, kStart);
    std::vector<int32_t> lineEnds;
    if (rule.shape == Shape::object) lineEnds = positions(text, from, endsLine);
    Cursor lineEnd(lineEnds, kItself);
    int32_t resume = from;
    for (const auto& [start, afterOpening] : opens) {
        if (start < resume) continue;
        switch (rule.shape) {
            case Shape::enclosed: {
                const Span* last = close.atOrAfter(afterOpening);
                if (!last) return matches;
                matches.emplace_back(start, last->second);
                break;
            }
            case Shape::toTagEnd: {
                const int32_t* gt = end.atOrAfter(afterOpening);
                if (!gt) return matches;
                matches.emplace_back(start, *gt + 1);
                break;
            }
            case Shape::object: {
                const int32_t* gt = end.atOrAfter(afterOpening);
                if (!gt) return matches;
                const Span* last = close.atOrAfter(*gt + 1);
                const int32_t* lineBreak = lineEnd.atOrAfter(*gt + 1);
                // The closing tag must come before the line ends.
                if (!last || (lineBreak && *lineBreak < last->first)) continue;
                matches.emplace_back(start, last->second);
                break;
            }
            case Shape::bounded:
            case Shape::anyTag:
                break;
        }
        resume = matches.back().second;
    }
    return matches;
}

void replaceSpans(icu::UnicodeString& text, const std::vector<Span>& spans,
                  const icu::UnicodeString& replacement) {
    if (spans.empty()) return;
    icu::UnicodeString result;
    int32_t copied = 0;
    for (const auto& [start, end] : spans) {
        result.append(text, copied, start - copied).append(replacement);
        copied = end;
    }
    result.append(text, copied, text.length() - copied);
    text = std::move(result);
}

// Every occurrence of `from` replaced by `to` in one pass, left to right, the replacements never
// searched again: what replacing every occurrence in place does, without moving the tail each
// time.
void replaceText(icu::UnicodeString& text, const icu::UnicodeString& from,
                 const icu::UnicodeString& to) {
    int32_t at = text.indexOf(from);
    if (at < 0) return;
    icu::UnicodeString result;
    int32_t copied = 0;
    for (; at >= 0; at = text.indexOf(from, at + from.length())) {
        result.append(text, copied, at - copied).append(to);
        copied = at + from.length();
    }
    result.append(text, copied, text.length() - copied);
    text = std::move(result);
}

bool isBlank(char16_t c) {
    return c == u' ' || c == u'\t' || c == 0x00A0;
}

// Spaces, tabs and no-break spaces at the end of each line (before "\n" or the end) removed.
void dropTrailingBlanks(icu::UnicodeString& text) {
    const char16_t* chars = text.getBuffer();
    const int32_t size = text.length();
    std::vector<Span> runs;
    for (int32_t i = 0; i < size;) {
        if (!isBlank(chars[i])) {
            ++i;
            continue;
        }
        const int32_t start = i;
        while (i < size && isBlank(chars[i])) ++i;
        if (i == size || chars[i] == u'\n') runs.emplace_back(start, i);
    }
    replaceSpans(text, runs, icu::UnicodeString());
}

// Where a tag rule's first match could start in `text`, or -1 when it cannot match: a quick
// scan that lets most rules skip most notes. Anything outside ASCII after "<" counts as a
// possible match, since case-insensitive matching folds some such letters onto ASCII ones.
int32_t firstCandidate(const icu::UnicodeString& text, const Rule& rule) {
    const auto follows = [](char16_t c, const char* letters) {
        if (c >= 0x80) return true;
        if (c >= u'A' && c <= u'Z') c = c - u'A' + u'a';
        for (const char* l = letters; *l; ++l) {
            if (c == static_cast<char16_t>(*l)) return true;
        }
        return false;
    };
    const char16_t* chars = text.getBuffer();
    const int32_t size = text.length();
    for (int32_t i = 0; i + 1 < size; ++i) {
        if (chars[i] != u'<') continue;
        if (!rule.open) return i;
        if (chars[i + 1] != u'/') {
            if (follows(chars[i + 1], rule.open)) return i;
        } else if (i + 2 < size && follows(chars[i + 2], rule.close)) {
            return i;
        }
    }
    return -1;
}

// Splits at "\n", keeps at most one blank line in a row, and trims both ends.
QString lines(const icu::UnicodeString& text) {
    const QString flat(reinterpret_cast<const QChar*>(text.getBuffer()), text.length());
    QString out;
    out.reserve(flat.size());
    bool lastEmpty = false;
    bool first = true;
    for (const QStringView line : QStringView(flat).split(u'\n')) {
        if (line.isEmpty() && lastEmpty) continue;
        if (!first) out += u'\n';
        out += line;
        first = false;
        lastEmpty = line.isEmpty();
    }
    return out.trimmed();
}

icu::UnicodeString unicode(const QString& text) {
    return icu::UnicodeString(reinterpret_cast<const UChar*>(text.utf16()),
                              static_cast<int32_t>(text.size()));
}

}  // namespace

QString plainText(const QString& html) {
    const Patterns& compiled = patterns();
    icu::UnicodeString text = unicode(html);
    for (size_t i = 0; i < std::size(kTags); ++i) {
        const Rule& rule = kTags[i];
        const int32_t from = firstCandidate(text, rule);
        if (from < 0) continue;
        const icu::UnicodeString replacement(rule.replacement);
        if (rule.shape == Shape::bounded) {
            replaceAll(*compiled.tags[i].whole, text, replacement, from);
        } else {
            replaceSpans(text, tagMatches(rule, compiled.tags[i], text, from), replacement);
        }
    }
    if (text.indexOf(u'&') >= 0) {
        for (const Entity& entity : kEntities) {
            replaceText(text, icu::UnicodeString(entity.text),
                        icu::UnicodeString(entity.replacement));
        }
        // A match is "&#", a run of digits and ";": each run is read once.
        if (text.indexOf(u"&#", 2, 0) >= 0) {
            replaceAll(*compiled.numeric, text, icu::UnicodeString());
        }
    }
    dropTrailingBlanks(text);
    return lines(text);
}

namespace detail {

QString plainTextByPatterns(const QString& html) {
    const Patterns& compiled = patterns();
    icu::UnicodeString text = unicode(html);
    for (size_t i = 0; i < std::size(kTags); ++i) {
        replaceAll(*compiled.tags[i].whole, text, icu::UnicodeString(kTags[i].replacement));
    }
    for (const Entity& entity : kEntities) {
        text.findAndReplace(icu::UnicodeString(entity.text),
                            icu::UnicodeString(entity.replacement));
    }
    replaceAll(*compiled.numeric, text, icu::UnicodeString());
    replaceAll(*compiled.trailing, text, icu::UnicodeString());
    return lines(text);
}

}  // namespace detail
}  // namespace pelix::notes::NotesImport
