#pragma once

#include "platform/Autostart.h"

namespace pelix::platform {

// Opening at login through an XDG autostart entry ($XDG_CONFIG_HOME/autostart/pelix.desktop);
// an entry with Hidden=true counts as off.
class XdgAutostart final : public Autostart {
public:
    // The entry's file.
    static QString file();
    // The entry's Exec value that starts `program` alone, written as the desktop entry rules
    // want it: quoted, escaped for the quotes and for the value.
    static QString execValue(const QString& program);

    bool enabled() const override;
    Status enable(const QString& program) override;
    Status disable() override;
};

}  // namespace pelix::platform
