#pragma once

// A headless Mutter (`mutter --headless --virtual-monitor`) for the GNOME tests, started once per
// test program on first use, with a German keyboard layout (Mutter without GNOME Shell reads it
// from systemd-localed, here a stand-in on a system bus of the session's own). The desktop
// portal the bus starts on demand sees GNOME's backends only, as on a GNOME system: with KDE's
// installed too, the frontend would take the interfaces GNOME's lacks from it.
#include "support/HeadlessDesktop.h"

namespace pelix::testing {

class HeadlessMutter final : public HeadlessDesktop {
public:
    static constexpr auto kLayout = "de";
    static HeadlessMutter& shared();

    // Accepts GNOME's "Remote desktop" consent dialog as a person would through the
    // accessibility bus: "Allow remote interaction" on, then Share. Waits for the dialog up to
    // `timeoutMs`; empty when accepted, else what went wrong.
    QString allowRemoteDesktop(int timeoutMs = 15000) const;

private:
    HeadlessMutter();
    bool start();
};

}  // namespace pelix::testing
