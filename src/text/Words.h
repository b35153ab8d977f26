#pragma once

#include <QString>

namespace pelix {

// Removes every free-standing "actually" from a transcript and repairs the capitals, commas,
// stray punctuation and spaces the removal leaves. Text without the word comes back unchanged.
// Pure and thread-safe.
QString withoutActually(const QString& text);

}  // namespace pelix
