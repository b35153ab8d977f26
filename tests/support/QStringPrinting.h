#pragma once

#include <QString>

#include <ostream>

// Readable QStrings in test failures.
inline void PrintTo(const QString& text, std::ostream* out) {
    *out << '"' << text.toStdString() << '"';
}
