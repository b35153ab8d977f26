#pragma once

#include "platform/Autostart.h"

namespace pelix::platform {

// Opening at login through an XDG autostart entry ($XDG_CONFIG_HOME/autostart/pelix.desktop);
// an entry with Hidden=true counts as off.
class XdgAutostart final : public Autostart {
public:
    // The entry's file.
    static QString file();

    bool enabled() const override;
    Status enable(const QString& program) override;
    Status disable() override;
};

}  // namespace pelix::platform
