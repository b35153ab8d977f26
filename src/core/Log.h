#pragma once

#include <QString>

namespace pelix::core {

// One diagnostic line on standard error, "prefix: text", prefix a short lower-case feature name
// ("voice memos", "api"). Never pass a token in `text`.
void logLine(const char* prefix, const QString& text);

}  // namespace pelix::core
