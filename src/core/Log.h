#pragma once

#include <QString>

namespace pelix::core {

// One diagnostic line on standard error, "prefix: text", prefix a short lower-case feature name
// ("voice memos", "api"). Never pass a token in `text`.
void logLine(const char* prefix, const QString& text);

// A line of detail for whoever is chasing a problem (a library's own chatter): written as
// logLine writes, but only when $PELIX_DEBUG is set to something other than "0".
void debugLine(const char* prefix, const QString& text);
bool debugging();

}  // namespace pelix::core
