#pragma once

// How withoutActually stays linear: it runs six ICU patterns (compiled once, in a function-local
// static) over an icu::UnicodeString copy of the text. A match of the three patterns that hold
// the word contains one "actually" (found with a case-insensitive QStringView::indexOf), and what
// comes before the word in it is white space and punctuation only; whether it matches does not
// depend on where in the white space before the word it starts. So instead of letting the
// engine try every start (which scans a run of white space again from each, quadratic on long
// runs), only the few starts that can begin a match are tried, in order, with the engine's own
// lookingAt and transparent, non-anchoring bounds (look-arounds, ^ and $ see the whole text):
// one or two units before the run, the run's start, its first line break, the word itself, or
// where the previous match ended. The first that matches is the match the engine's search would
// find. The result is assembled front to back, never by replacing in place.
//
// detail::withoutActually(text, true) is the engine's plain search of the whole text; a test
// compares the two on random input (every kind of white space among it), the clean-up fuzz
// target does so on any input, and a test compares the time at n and 10n on hostile input.

#include <QString>

namespace pelix::text {

// Removes every free-standing "actually" from a transcript and repairs the capitals, commas,
// stray punctuation and spaces the removal leaves. Text without the word comes back unchanged.
// Pure and thread-safe.
QString withoutActually(const QString& text);

namespace detail {
// The clean-up with its word patterns searched over the whole text rather than only around each
// occurrence of the word; the same result, more slowly. For checking the fast path.
QString withoutActually(const QString& text, bool searchEverywhere);
}  // namespace detail

}  // namespace pelix::text
