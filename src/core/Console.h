#pragma once

#include <QString>

namespace pelix::console {

// Writes one line (a line break is added) to standard output or standard error, as UTF-8.
void out(const QString& line);
void err(const QString& line);
// Writes bytes to standard output as they are.
void raw(const QByteArray& bytes);

// For a mode that a later version brings: says so in one sentence and returns exit status 2.
int notInThisBuild(const QString& what);

}  // namespace pelix::console
