#pragma once

// A headless KWin, started once per test program on first use. KWin offers fake input only to
// programs its user's desktop entries trust ($PELIX_BIN, `fakeKeys`, the test program), and checks
// a client's executable, so those run as KWin's user (`command`).
#include "support/HeadlessDesktop.h"

namespace pelix::testing {

class HeadlessKWin final : public HeadlessDesktop {
public:
    static constexpr auto kLayout = "de";
    static HeadlessKWin& shared();

    // A keyboard through fake input (fake_keys.cpp).
    QString fakeKeys() const;

private:
    HeadlessKWin();
    bool start();
};

}  // namespace pelix::testing
