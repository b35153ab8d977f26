#pragma once

#include "core/Error.h"

#include <QString>

namespace pelix::platform {

// Opening at login through an XDG autostart entry ($XDG_CONFIG_HOME/autostart/pelix.desktop).
class Autostart {
public:
    // The entry's file.
    static QString file();

    // True while the entry exists and is not hidden.
    static bool enabled();
    // Writes the entry, starting `program`.
    static Status enable(const QString& program);
    // Removes the entry.
    static Status disable();
};

}  // namespace pelix::platform
