#pragma once

#include <QString>
#include <QStringList>
#include <QStringView>

// Small text rules the editor's algorithms share. All are exact for any Unicode text and cheap
// for the plain text most words are.
namespace pelix::editor::edittext {

// Full Unicode lower-casing (root locale).
QString lower(QStringView text);

// `text` without punctuation and white space at either end.
QStringView trimmedOfPunctuation(QStringView text);

// A word's text lower-cased and trimmed of punctuation and white space: the form fillers and
// pop-up phrases are compared in.
QString folded(QStringView text);

// Whether the word is a filler ("um", "Uh.", "嗯"…); "umbrella" and "hmm-kay" are not.
bool isFiller(QStringView text);

// Whether the last grapheme cluster of `text` is one of . ? ! 。 ？ ！
bool endsSentence(QStringView text);

// Whether every code point of `text` is punctuation (false for empty text).
bool isPunctuation(QStringView text);

// The last code point of `text` (0 when empty).
char32_t lastCodePoint(QStringView text);

// The parts of `text` between runs of white space, without empty ones.
QStringList splitAtSpaces(QStringView text);

// Number of user-perceived characters (grapheme clusters).
qsizetype characterCount(QStringView text);

// The grapheme clusters of `text`, in order.
QStringList characters(QStringView text);

// `text` trimmed and, when it has more than `most` user-perceived characters, cut to `most`
// of them, the last being "…". Looks at no more of `text` than the cut needs, so a text of
// megabytes costs what a short one does.
QString bounded(QStringView text, qsizetype most);

}  // namespace pelix::editor::edittext
