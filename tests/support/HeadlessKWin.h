#pragma once

// A headless KWin (`kwin_wayland --virtual`) for the KDE tests, started once per test program on
// first use. KWin offers its fake input only to programs its user's desktop entries trust: the
// `pelix` under test ($PELIX_BIN) is one, the tests' keyboard (`fakeKeys`) the other, the program
// that started KWin a third, and as KWin checks a client's executable, the programs that use it
// run as KWin's user too (`command`).
#include "support/HeadlessDesktop.h"

namespace pelix::testing {

class HeadlessKWin final : public HeadlessDesktop {
public:
    // The program's one compositor, started on the first call, with this keyboard layout.
    static constexpr auto kLayout = "de";
    static HeadlessKWin& shared();

    // A keyboard through fake input (tests/support/fake_keys.cpp), which KWin trusts too.
    QString fakeKeys() const;

private:
    HeadlessKWin();
    bool start();
};

}  // namespace pelix::testing
