#pragma once

#include <QString>

namespace pelix {

// Removes every free-standing "actually" from a transcript and repairs the capitals, commas,
// stray punctuation and spaces the removal leaves. Text without the word comes back unchanged.
// Pure and thread-safe.
QString withoutActually(const QString& text);

namespace detail {
// The clean-up with its word patterns searched over the whole text rather than only around each
// occurrence of the word; the same result, more slowly. For checking the fast path.
QString withoutActually(const QString& text, bool searchEverywhere);
}  // namespace detail

}  // namespace pelix
