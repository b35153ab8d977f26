#include "core/Log.h"

#include "core/Console.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace pelix::core {

void logLine(const char* prefix, const QString& text) {
    const QByteArray line = QByteArray(prefix) + ": " + console::printable(text).toUtf8() + "\n";
    std::fwrite(line.constData(), 1, static_cast<size_t>(line.size()), stderr);
    std::fflush(stderr);
}

bool debugging() {
    static const bool on = [] {
        const char* value = std::getenv("PELIX_DEBUG");
        return value && *value && std::strcmp(value, "0") != 0;
    }();
    return on;
}

void debugLine(const char* prefix, const QString& text) {
    if (debugging()) logLine(prefix, text);
}

}  // namespace pelix::core
