// The X11 key source on a real X display (Xvfb in the test session), driven through XTest.
#include "core/Clock.h"
#include "platform/Desktop.h"
#include "platform/KeySource.h"

#include "support/DesktopSession.h"

namespace pelix::platform {
namespace {

struct Seen {
    bool flags;  // a modifier change, else other input
    int mods = 0;
    std::uint32_t keysym = 0;
    bool isKey = false;
    double uptime = 0;
};

class X11Keys : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(testing::desktopPresent(false));
        ASSERT_TRUE(keys.ok()) << "The X display " << qgetenv("DISPLAY").constData()
                               << " does not answer.";
        ASSERT_TRUE(source.start({
            .modifiersChanged =
                [this](Mods m, double t) {
                    seen.push_back({true, m.bits, 0, false, t});
                },
            .otherInput =
                [this](const OtherInput& in) {
                    seen.push_back({false, 0, in.keysym, in.isKey, in.uptime});
                },
        }));
    }
    // Waits for `count` reports in all.
    bool waitFor(size_t count) {
        return testing::waitUntil([&] { return seen.size() >= count; }, 3000);
    }
    std::vector<int> flagBits() const {
        std::vector<int> out;
        for (const Seen& s : seen) {
            if (s.flags) out.push_back(s.mods);
        }
        return out;
    }

    core::SystemClock clock;
    std::unique_ptr<Desktop> desktop = makeDesktop({.clock = clock, .cacheDir = QString()});
    KeySource& source = desktop->keys();
    testing::Keyboard keys;
    std::vector<Seen> seen;
};

// Caps Lock switched on counts as another modifier until it is switched off.
TEST_F(X11Keys, ModifierChangesCarryTheFourBitsAndTheMonotonicTime) {
    const double before = clock.uptime();
    const KeySym held[] = {XK_Alt_L, XK_Shift_L, XK_Control_R, XK_Super_L};
    for (const KeySym key : held) keys.key(key, true);
    for (auto key = std::rbegin(held); key != std::rend(held); ++key) keys.key(*key, false);
    keys.press(XK_Caps_Lock);
    keys.key(XK_Alt_L, true);
    keys.key(XK_Alt_L, false);
    keys.press(XK_Caps_Lock);
    ASSERT_TRUE(waitFor(12));
    EXPECT_EQ(flagBits(), (std::vector{1, 3, 11, 15, 11, 3, 1, 0, 4, 5, 4, 0}));
    for (const Seen& s : seen) {
        EXPECT_GE(s.uptime, before - 0.05);
        EXPECT_LE(s.uptime, clock.uptime() + 0.05);
    }
}

TEST_F(X11Keys, KeysAndClicksAreOtherInputNumLockIsNothing) {
    keys.press(XK_Num_Lock);
    keys.press(XK_Num_Lock);
    keys.press(XK_a);
    keys.press(XK_Escape);
    keys.click();
    ASSERT_TRUE(waitFor(3));
    testing::pause(200);
    ASSERT_EQ(seen.size(), 3u);
    EXPECT_TRUE(!seen[0].flags && seen[0].isKey && seen[0].keysym == XK_a);
    EXPECT_TRUE(!seen[1].flags && seen[1].isKey && seen[1].keysym == XK_Escape);
    EXPECT_TRUE(!seen[2].flags && !seen[2].isKey);
}

TEST_F(X11Keys, ItsOwnSyntheticKeysMoveTheStateButAreNotReported) {
    source.ignoreUntil(clock.uptime() + 60);
    keys.key(XK_Control_L, true);
    keys.press(XK_v);
    testing::pause(300);
    EXPECT_TRUE(seen.empty());
    source.ignoreUntil(0);
    keys.key(XK_Alt_L, true);
    keys.key(XK_Control_L, false);
    keys.key(XK_Alt_L, false);
    ASSERT_TRUE(waitFor(3));
    EXPECT_EQ(flagBits(), (std::vector{9, 1, 0}));
}

}  // namespace
}  // namespace pelix::platform
