#pragma once

#include "core/Error.h"

#include <QString>

// Temporary files (sound extracted from a video, pieces of a recording): private from their
// first byte and gone when the process is interrupted.
namespace pelix::core::tempfiles {

// Makes a new empty file at `path` with mode 0600, exclusively: it fails when anything is there
// already, a link planted by someone else included. The file is tracked (see below).
Status createPrivate(const QString& path);

// Tracked files are removed when a signal ends the process (once `removeOnSignals` is on).
// Up to 64 files at a time with paths of up to 1,023 bytes; others are not tracked.
void track(const QString& path);
void untrack(const QString& path);
// Removes the file and stops tracking it.
void remove(const QString& path);

// From now on SIGINT, SIGTERM and SIGHUP first remove every tracked file, then go to the handler
// that was there before (a program's own, or that of another copy of this code in a loaded
// module), else end the process as the signal would have. The one process-wide piece of state
// here: signals are process-wide too.
void removeOnSignals();

}  // namespace pelix::core::tempfiles
