#pragma once

#include <QByteArray>
#include <QString>

#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace pelix::fuzzing {

inline QByteArray bytes(const uint8_t* data, size_t size) {
    return QByteArray(reinterpret_cast<const char*>(data), static_cast<qsizetype>(size));
}

// Stops the run as a crash, so the fuzzer keeps the input that broke a rule.
[[noreturn]] inline void broken(const char* rule, const QString& detail = {}) {
    std::fprintf(stderr, "broken: %s\n%s\n", rule, detail.toUtf8().constData());
    std::abort();
}

}  // namespace pelix::fuzzing
