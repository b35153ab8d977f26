#pragma once

// A headless Mutter, started once per test program on first use, with a German layout (read from
// a stand-in localed on a system bus of its own). The portal sees GNOME's backends only: with KDE's
// installed too, it would take what GNOME's lacks from KDE's.
#include "support/HeadlessDesktop.h"

namespace pelix::testing {

class HeadlessMutter final : public HeadlessDesktop {
public:
    static constexpr auto kLayout = "de";
    static HeadlessMutter& shared();

    // Accepts the "Remote desktop" consent dialog through the accessibility bus, as a person
    // would; empty when accepted, else what went wrong.
    QString allowRemoteDesktop(int timeoutMs = 15000) const;

private:
    HeadlessMutter();
    bool start();
};

}  // namespace pelix::testing
