#include "text/SentenceText.h"

#include <QStringList>

namespace pelix::text {
namespace {

// The code point at `at` and how many UTF-16 units it takes.
std::pair<char32_t, qsizetype> codePointAt(const QString& text, qsizetype at) {
    const QChar c = text[at];
    if (c.isHighSurrogate() && at + 1 < text.size() && text[at + 1].isLowSurrogate()) {
        return {QChar::surrogateToUcs4(c, text[at + 1]), 2};
    }
    return {c.unicode(), 1};
}

bool isLetter(char32_t c) {
    return QChar::isLetter(c);
}

bool endsSentence(QChar c) {
    return c == '.' || c == '!' || c == '?' || c == u'…';
}

// Closing quotes and brackets that may stand between a sentence's end and the space after it.
bool closes(QChar c) {
    return c == '"' || c == '\'' || c == ')' || c == ']' || c == u'”' || c == u'’' || c == u'»';
}

// Whether the word ending at `end` (exclusive, just after its ".") is an abbreviation rather than
// the end of a sentence.
bool isAbbreviation(const QString& text, qsizetype end) {
    if (end < 1 || text[end - 1] != '.') return false;
    qsizetype start = end - 1;
    while (start > 0 && !text[start - 1].isSpace()) --start;
    const QStringView word = QStringView(text).sliced(start, end - start);
    if (word.count('.') > 1 && word.size() <= 6) return true;  // "e.g.", "i.e.", "U.S."
    static const QStringList titles{"Mr.", "Mrs.", "Ms.", "Dr.", "St.", "vs.", "Prof."};
    for (const QString& title : titles) {
        if (word.compare(title, Qt::CaseInsensitive) == 0) return true;
    }
    return false;
}

// The text with the letter at `at` in title case.
void capitalise(QString& text, qsizetype at) {
    const auto [c, units] = codePointAt(text, at);
    const char32_t title = QChar::toTitleCase(c);
    if (title == c) return;
    text.replace(at, units, QString::fromUcs4(&title, 1));
}

bool wordCharacter(QChar c) {
    return c.isLetterOrNumber() || c.isMark() || c.isSurrogate();
}

// Whether the lower-case "i" at `at` is the word "I" or its contraction.
bool isLoneI(const QString& text, qsizetype at) {
    if (text[at] != 'i') return false;
    if (at > 0 && (wordCharacter(text[at - 1]) || text[at - 1] == '\'' || text[at - 1] == u'’' ||
                   text[at - 1] == '-')) {
        return false;
    }
    const qsizetype next = at + 1;
    if (next == text.size()) return true;
    const QChar after = text[next];
    if (after == '\'' || after == u'’') {
        for (const char* tail : {"m", "ve", "ll", "d"}) {
            const QLatin1StringView ending(tail);
            if (QStringView(text).sliced(next + 1).startsWith(ending, Qt::CaseInsensitive)) {
                const qsizetype past = next + 1 + ending.size();
                if (past == text.size() || !wordCharacter(text[past])) return true;
            }
        }
        return false;
    }
    return !wordCharacter(after) && after != '-';
}

}  // namespace

QString asSentences(const QString& text, bool finished) {
    QString out = text;
    bool sentenceStart = true;  // the next letter begins a sentence
    for (qsizetype at = 0; at < out.size();) {
        const QChar c = out[at];
        const auto [point, units] = codePointAt(out, at);
        if (isLetter(point)) {
            if (sentenceStart) {
                capitalise(out, at);
                sentenceStart = false;
            } else if (isLoneI(out, at)) {
                out[at] = 'I';
            }
        } else if (c.isDigit()) {
            sentenceStart = false;
        } else if (endsSentence(c)) {
            qsizetype after = at + 1;
            while (after < out.size() && (endsSentence(out[after]) || closes(out[after]))) ++after;
            if (after < out.size() && out[after].isSpace() && !isAbbreviation(out, at + 1)) {
                sentenceStart = true;
            }
            at = after;
            continue;
        }
        at += units;
    }
    if (finished) {
        qsizetype last = out.size();
        while (last > 0 && out[last - 1].isSpace()) --last;
        if (last > 0) {
            const QChar end = out[last - 1];
            if (wordCharacter(end)) out.insert(last, '.');
        }
    }
    return out;
}

QString withFirstLetterOf(const QString& typed, const QString& wanted) {
    const auto firstLetter = [](const QString& text) -> qsizetype {
        for (qsizetype at = 0; at < text.size(); ++at) {
            if (isLetter(codePointAt(text, at).first)) return at;
        }
        return -1;
    };
    const qsizetype mine = firstLetter(typed);
    const qsizetype theirs = firstLetter(wanted);
    if (mine < 0 || mine != theirs) return wanted;
    const auto [a, aUnits] = codePointAt(typed, mine);
    const auto [b, bUnits] = codePointAt(wanted, theirs);
    if (a == b || QChar::toCaseFolded(a) != QChar::toCaseFolded(b)) return wanted;
    // Only when everything before the letter is the same too: the letter is then where it was.
    if (QStringView(typed).first(mine) != QStringView(wanted).first(theirs)) return wanted;
    QString kept = wanted;
    kept.replace(theirs, bUnits, typed.mid(mine, aUnits));
    return kept;
}

}  // namespace pelix::text
