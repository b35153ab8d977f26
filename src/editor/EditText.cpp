#include "editor/EditText.h"

#include "core/Graphemes.h"

#include <unicode/locid.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <array>

namespace pelix::editor::edittext {
namespace {

// Below U+0300 (before the combining marks) and without a carriage return, every UTF-16 unit
// is a grapheme cluster of its own.
bool simple(QStringView text) {
    return std::all_of(text.begin(), text.end(),
                       [](QChar c) { return c.unicode() < 0x300 && c != u'\r'; });
}

bool punctuationOrSpace(char32_t c) {
    return QChar::isPunct(c) || QChar::isSpace(c);
}

// The code point that ends at `end` (exclusive) and the number of units it takes.
std::pair<char32_t, qsizetype> codePointBefore(QStringView text, qsizetype end) {
    const QChar low = text[end - 1];
    if (low.isLowSurrogate() && end >= 2 && text[end - 2].isHighSurrogate()) {
        return {QChar::surrogateToUcs4(text[end - 2], low), 2};
    }
    return {low.unicode(), 1};
}

std::pair<char32_t, qsizetype> codePointAt(QStringView text, qsizetype at) {
    const QChar high = text[at];
    if (high.isHighSurrogate() && at + 1 < text.size() && text[at + 1].isLowSurrogate()) {
        return {QChar::surrogateToUcs4(high, text[at + 1]), 2};
    }
    return {high.unicode(), 1};
}

}  // namespace

QString lower(QStringView text) {
    if (std::all_of(text.begin(), text.end(), [](QChar c) { return c.unicode() < 0x80; })) {
        QString result = text.toString();
        for (QChar& c : result) {
            if (c >= u'A' && c <= u'Z') c = QChar(c.unicode() + 32);
        }
        return result;
    }
    icu::UnicodeString buffer(reinterpret_cast<const char16_t*>(text.utf16()),
                              int32_t(text.size()));
    buffer.toLower(icu::Locale::getRoot());
    return QString(reinterpret_cast<const QChar*>(buffer.getBuffer()), buffer.length());
}

QStringView trimmedOfPunctuation(QStringView text) {
    qsizetype begin = 0;
    qsizetype end = text.size();
    while (begin < end) {
        const auto [c, units] = codePointAt(text, begin);
        if (!punctuationOrSpace(c)) break;
        begin += units;
    }
    while (end > begin) {
        const auto [c, units] = codePointBefore(text, end);
        if (!punctuationOrSpace(c)) break;
        end -= units;
    }
    return text.sliced(begin, end - begin);
}

QString folded(QStringView text) {
    return lower(trimmedOfPunctuation(text));
}

bool isFiller(QStringView text) {
    static const std::array<QStringView, 18> fillers{u"um",  u"umm", u"uh",  u"uhh", u"uhm", u"erm",
                                                     u"er",  u"hmm", u"mm",  u"mhm", u"eh",  u"ehm",
                                                     u"euh", u"em",  u"ähm", u"äh",  u"嗯",  u"呃"};
    const QStringView core = trimmedOfPunctuation(text);
    // Every filler is at most three units long, and lower-casing never shortens text by more
    // than half, so longer words need no case mapping.
    if (core.isEmpty() || core.size() > 6) return false;
    const bool ascii =
        std::all_of(core.begin(), core.end(), [](QChar c) { return c.unicode() < 0x80; });
    if (ascii) {
        // Plain letters compare without a copy: A-Z fold to a-z and nothing else changes.
        return std::any_of(fillers.begin(), fillers.end(), [&](QStringView filler) {
            return filler.size() == core.size() &&
                   std::equal(core.begin(), core.end(), filler.begin(), [](QChar a, QChar b) {
                       const char16_t c = a.unicode();
                       return (c >= u'A' && c <= u'Z' ? c + 32 : c) == b.unicode();
                   });
        });
    }
    const QString word = lower(core);
    return std::find(fillers.begin(), fillers.end(), QStringView(word)) != fillers.end();
}

bool endsSentence(QStringView text) {
    if (text.isEmpty()) return false;
    const char16_t last = text.back().unicode();
    constexpr std::u16string_view enders = u".?!。？！";
    if (enders.find(last) == std::u16string_view::npos) return false;
    if (text.size() == 1) return true;
    // The mark must be a grapheme cluster by itself, not the tail of a longer one.
    const QList<qsizetype> bounds = core::graphemeBounds(text);
    return bounds[bounds.size() - 2] == text.size() - 1;
}

bool isPunctuation(QStringView text) {
    if (text.isEmpty()) return false;
    for (qsizetype at = 0; at < text.size();) {
        const auto [c, units] = codePointAt(text, at);
        if (!QChar::isPunct(c)) return false;
        at += units;
    }
    return true;
}

char32_t lastCodePoint(QStringView text) {
    return text.isEmpty() ? 0 : codePointBefore(text, text.size()).first;
}

QStringList splitAtSpaces(QStringView text) {
    QStringList parts;
    qsizetype from = 0;
    for (qsizetype at = 0; at <= text.size(); ++at) {
        if (at < text.size() && !text[at].isSpace()) continue;
        if (at > from) parts.append(text.sliced(from, at - from).toString());
        from = at + 1;
    }
    return parts;
}

qsizetype characterCount(QStringView text) {
    if (simple(text)) return text.size();
    return core::graphemeCount(text);
}

QStringList characters(QStringView text) {
    QStringList result;
    result.reserve(text.size());
    if (simple(text)) {
        for (QChar c : text) result.append(QString(c));
        return result;
    }
    const QList<qsizetype> bounds = core::graphemeBounds(text);
    for (qsizetype i = 1; i < bounds.size(); ++i) {
        result.append(text.sliced(bounds[i - 1], bounds[i] - bounds[i - 1]).toString());
    }
    return result;
}

QString bounded(QStringView text, qsizetype most) {
    text = text.trimmed();
    if (most <= 0) return {};
    // A character is rarely more than a few UTF-16 units, so a prefix of some units per
    // character holds the cut. Unless the prefix is the whole text, its last character may be
    // cut short and is not counted.
    const qsizetype window = std::min(text.size(), most * 16 + 1);
    const QStringView prefix = text.first(window);
    const QList<qsizetype> bounds =
        simple(prefix) ? QList<qsizetype>() : core::graphemeBounds(prefix);
    const auto boundary = [&](qsizetype n) { return bounds.isEmpty() ? n : bounds[n]; };
    qsizetype complete = bounds.isEmpty() ? window : bounds.size() - 1;
    if (window < text.size()) --complete;
    if (window == text.size() && complete <= most) return text.toString();
    const qsizetype kept = std::min(complete, most - 1);
    return prefix.first(boundary(kept)).trimmed().toString() + QChar(0x2026);
}

}  // namespace pelix::editor::edittext
