#include "notes/AppleNotesImport.h"

#include <QtGlobal>

#include <unicode/regex.h>
#include <unicode/unistr.h>

#include <memory>
#include <vector>

namespace pelix::AppleNotesImport {
namespace {

struct Rule {
    const char16_t* pattern;
    const char16_t* replacement;
    // A pattern can only match where "<" is followed by one of `open` or "</" by one of
    // `close` (ASCII letters in lower case, either case matching); null matches any tag.
    const char* open;
    const char* close;
};

// Tags first, in this order; entities only after every tag is gone, "&amp;" before "&lt;", so
// an escaped "&amp;lt;" ends as "<" and never becomes a tag.
constexpr Rule kTags[] = {
    {u"(?is)<script.*?</script>", u"", "s", ""},
    {u"(?is)<style.*?</style>", u"", "s", ""},
    {u"(?i)<img[^>]*>", u"[image]", "i", ""},
    {u"(?i)<object[^>]*>.*?</object>", u"[attachment]", "o", ""},
    {u"(?i)<br\\s*/?>", u"\n", "b", ""},
    {u"(?i)</(div|p|h[1-6]|tr|table|blockquote)>", u"\n", "", "dphtb"},
    {u"(?i)<li[^>]*>", u"- ", "l", ""},
    {u"(?i)</li>", u"\n", "", "l"},
    {u"(?i)</?(ul|ol)[^>]*>", u"\n", "uo", "uo"},
    {u"(?i)</td>", u"\t", "", "t"},
    {u"<[^>]+>", u"", nullptr, nullptr},
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

Pattern compile(const char16_t* source) {
    UErrorCode status = U_ZERO_ERROR;
    UParseError where{};
    Pattern pattern(icu::RegexPattern::compile(icu::UnicodeString(source), 0, where, status));
    if (U_FAILURE(status)) {
        qFatal("PlainText.cpp: a pattern does not compile (%s at offset %d)", u_errorName(status),
               where.offset);
    }
    return pattern;
}

struct Patterns {
    std::vector<Pattern> tags;
    Pattern numeric = compile(kNumeric);
    Pattern trailing = compile(kTrailing);
    Patterns() {
        for (const Rule& rule : kTags) tags.push_back(compile(rule.pattern));
    }
};

// Compiled once by the thread-safe start of a function-local static, then only read.
const Patterns& patterns() {
    static const Patterns compiled;
    return compiled;
}

// Replaces every match of `pattern` in `text`; leaves `text` untouched when nothing matches,
// which is the usual case for most patterns and most notes.
// No match starts before `from`.
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

// Where a tag rule's first match could start in `text`, or -1 when it cannot match: a quick
// scan that lets most rules skip most notes, and the others skip ahead. Anything outside ASCII
// after "<" counts as a possible match, since case-insensitive matching folds some such letters
// onto ASCII ones.
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

// Whether some line ends in a space, tab or no-break space.
bool hasTrailingBlanks(const icu::UnicodeString& text) {
    const char16_t* chars = text.getBuffer();
    const int32_t size = text.length();
    for (int32_t i = 0; i < size; ++i) {
        const char16_t c = chars[i];
        if (c != u' ' && c != u'\t' && c != 0x00A0) continue;
        if (i + 1 == size || chars[i + 1] == u'\n') return true;
    }
    return false;
}

}  // namespace

QString plainText(const QString& html) {
    const Patterns& compiled = patterns();
    icu::UnicodeString text(reinterpret_cast<const UChar*>(html.utf16()),
                            static_cast<int32_t>(html.size()));
    for (size_t i = 0; i < std::size(kTags); ++i) {
        const int32_t from = firstCandidate(text, kTags[i]);
        if (from < 0) continue;
        replaceAll(*compiled.tags[i], text, icu::UnicodeString(kTags[i].replacement), from);
    }
    if (text.indexOf(u'&') >= 0) {
        for (const Entity& entity : kEntities) {
            text.findAndReplace(icu::UnicodeString(entity.text),
                                icu::UnicodeString(entity.replacement));
        }
        if (text.indexOf(u"&#", 2, 0) >= 0) {
            replaceAll(*compiled.numeric, text, icu::UnicodeString());
        }
    }
    if (hasTrailingBlanks(text)) replaceAll(*compiled.trailing, text, icu::UnicodeString());

    const QString flat(reinterpret_cast<const QChar*>(text.getBuffer()), text.length());
    QString out;
    out.reserve(flat.size());
    bool lastEmpty = false;
    bool first = true;
    for (const QStringView line : QStringView(flat).split(u'\n')) {
        // At most one blank line in a row.
        if (line.isEmpty() && lastEmpty) continue;
        if (!first) out += u'\n';
        out += line;
        first = false;
        lastEmpty = line.isEmpty();
    }
    return out.trimmed();
}

}  // namespace pelix::AppleNotesImport
