#pragma once

#include <QString>

namespace pelix::core {

// One timed word: seconds from the start of its media, text as transcribed with any
// punctuation attached.
struct Word {
    double start = 0;
    double end = 0;
    QString text;

    bool operator==(const Word&) const = default;
};

}  // namespace pelix::core
