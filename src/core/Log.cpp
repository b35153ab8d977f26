#include "core/Log.h"

#include "core/Console.h"

#include <cstdio>

namespace pelix::core {

void logLine(const char* prefix, const QString& text) {
    const QByteArray line = QByteArray(prefix) + ": " + console::printable(text).toUtf8() + "\n";
    std::fwrite(line.constData(), 1, static_cast<size_t>(line.size()), stderr);
    std::fflush(stderr);
}

}  // namespace pelix::core
