#pragma once

#include "core/Error.h"

#include <QString>
#include <QUrl>

namespace pelix::platform {

// Files at locations the desktop reaches that are not local files: a phone over MTP, a network
// share, a web address.
class RemoteFiles {
public:
    virtual ~RemoteFiles() = default;
    // Copies the file at `location` into the local file `target`; the target's path. Blocks until
    // the copy is done: call it on a worker thread (any thread will do). On failure nothing is
    // left at `target`.
    virtual Result<QString> fetch(const QUrl& location, const QString& target) = 0;
};

}  // namespace pelix::platform
