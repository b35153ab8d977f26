#pragma once

#include "core/Error.h"

#include <QByteArray>
#include <QString>

namespace pelix::core {

// Creates `dir` with its parents and sets it to mode 0700. False when that fails.
bool ensurePrivateDir(const QString& dir);

// Writes `data` to `path` atomically (a temporary file renamed over the old one) with mode
// 0600, creating the folder as a private one. On failure the old file is left as it was.
Status writePrivateFile(const QString& path, const QByteArray& data);

// Writes `data` atomically with the default mode: for files that are not secret.
Status writeFileAtomically(const QString& path, const QByteArray& data);

}  // namespace pelix::core
