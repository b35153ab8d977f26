#pragma once

#include "core/Error.h"

#include <QString>

namespace pelix::platform {

// Opening Pelix when the user logs in.
class Autostart {
public:
    virtual ~Autostart() = default;
    // True while Pelix opens at login.
    virtual bool enabled() const = 0;
    // Opens `program` at every login from now on.
    virtual Status enable(const QString& program) = 0;
    virtual Status disable() = 0;
};

}  // namespace pelix::platform
