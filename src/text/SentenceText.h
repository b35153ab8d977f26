#pragma once

#include <QString>

namespace pelix::text {

// Recognised speech written as sentences: the first letter of the text and of every sentence
// after it (after ".", "!", "?" or "…" and a space) in capitals, "i" and its contractions ("i'm",
// "i've", "i'll", "i'd") as "I", and, when the text is `finished`, a full stop after its last
// word unless it already ends in punctuation. Abbreviations with inner dots ("e.g.") and the
// common titles ("Mr.", "Dr.") do not end a sentence. White space is kept as it is; what is
// already capital stays. Pure and thread-safe.
QString asSentences(const QString& text, bool finished);

// `wanted` with its first letter in the case that letter has in `typed`, when both begin with
// the same letter: a text already typed keeps the case its first letter was given, so that a
// later text never erases the whole of it for a capital.
QString withFirstLetterOf(const QString& typed, const QString& wanted);

}  // namespace pelix::text
