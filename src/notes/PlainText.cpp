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
};

// Tags first, in this order; entities only after every tag is gone, "&amp;" before "&lt;", so
// an escaped "&amp;lt;" ends as "<" and never becomes a tag.
constexpr Rule kTags[] = {
    {u"(?is)<script.*?</script>", u""},
    {u"(?is)<style.*?</style>", u""},
    {u"(?i)<img[^>]*>", u"[image]"},
    {u"(?i)<object[^>]*>.*?</object>", u"[attachment]"},
    {u"(?i)<br\\s*/?>", u"\n"},
    {u"(?i)</(div|p|h[1-6]|tr|table|blockquote)>", u"\n"},
    {u"(?i)<li[^>]*>", u"- "},
    {u"(?i)</li>", u"\n"},
    {u"(?i)</?(ul|ol)[^>]*>", u"\n"},
    {u"(?i)</td>", u"\t"},
    {u"<[^>]+>", u""},
};
constexpr Rule kEntities[] = {
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

void replaceAll(const icu::RegexPattern& pattern, icu::UnicodeString& text,
                const icu::UnicodeString& replacement) {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::RegexMatcher> matcher(pattern.matcher(text, status));
    if (U_FAILURE(status)) return;
    if (!matcher->find()) return;  // most patterns find nothing in most notes
    matcher->reset();
    icu::UnicodeString result = matcher->replaceAll(replacement, status);
    if (U_SUCCESS(status)) text = std::move(result);
}

}  // namespace

QString plainText(const QString& html) {
    const Patterns& compiled = patterns();
    icu::UnicodeString text(reinterpret_cast<const UChar*>(html.utf16()),
                            static_cast<int32_t>(html.size()));
    if (text.indexOf(u'<') >= 0) {
        for (size_t i = 0; i < std::size(kTags); ++i) {
            replaceAll(*compiled.tags[i], text, icu::UnicodeString(kTags[i].replacement));
        }
    }
    if (text.indexOf(u'&') >= 0) {
        for (const Rule& rule : kEntities) {
            text.findAndReplace(icu::UnicodeString(rule.pattern),
                                icu::UnicodeString(rule.replacement));
        }
        replaceAll(*compiled.numeric, text, icu::UnicodeString());
    }
    replaceAll(*compiled.trailing, text, icu::UnicodeString());

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
