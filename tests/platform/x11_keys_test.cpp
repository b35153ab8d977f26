// The X11 key source on a real X display (Xvfb in the test session), driven through XTest.
#include "core/Clock.h"
#include "platform/Desktop.h"
#include "platform/KeySource.h"

#include "support/DesktopSession.h"

namespace pelix::platform {
namespace {

class X11Keys : public ::testing::Test {
protected:
    // Each report: "mods <bits>", "key <keysym in hex>" or "click".
    void SetUp() override {
        ASSERT_TRUE(testing::desktopPresent(false));
        ASSERT_TRUE(keys.ok()) << "The X display " << qgetenv("DISPLAY").constData()
                               << " does not answer.";
        const auto heard = [this](const QString& report, double at) {
            seen << report;
            times << at;
        };
        ASSERT_TRUE(source.start({
            .modifiersChanged = [=](Mods m, double t) { heard(QString("mods %1").arg(m.bits), t); },
            .otherInput =
                [=](const OtherInput& in) {
                    heard(in.isKey ? QString("key %1").arg(in.keysym, 0, 16) : "click", in.uptime);
                },
        }));
    }
    // Waits for `count` reports in all, then a moment longer for any that should not come.
    QStringList waitFor(qsizetype count) {
        testing::waitUntil([&] { return seen.size() >= count; }, 3000);
        testing::pause(200);
        return seen;
    }

    core::SystemClock clock;
    std::unique_ptr<Desktop> desktop = makeDesktop({.clock = clock, .cacheDir = QString()});
    KeySource& source = desktop->keys();
    testing::Keyboard keys;
    QStringList seen;
    QList<double> times;
};

// Caps Lock switched on counts as another modifier until it is switched off; Num Lock is nothing.
TEST_F(X11Keys, ModifierChangesCarryTheFourBitsAndTheMonotonicTime) {
    const double before = clock.uptime();
    const KeySym held[] = {XK_Alt_L, XK_Shift_L, XK_Control_R, XK_Super_L};
    for (const KeySym key : held) keys.key(key, true);
    for (auto key = std::rbegin(held); key != std::rend(held); ++key) keys.key(*key, false);
    keys.press(XK_Num_Lock);
    keys.press(XK_Num_Lock);
    keys.press(XK_Caps_Lock);
    keys.key(XK_Alt_L, true);
    keys.key(XK_Alt_L, false);
    keys.press(XK_Caps_Lock);
    EXPECT_EQ(waitFor(12).join(", "),
              "mods 1, mods 3, mods 11, mods 15, mods 11, mods 3, mods 1, "
              "mods 0, mods 4, mods 5, mods 4, mods 0");
    for (const double t : times) {
        EXPECT_GE(t, before - 0.05);
        EXPECT_LE(t, clock.uptime() + 0.05);
    }
}

TEST_F(X11Keys, KeysAndClicksAreOtherInput) {
    keys.press(XK_a);
    keys.press(XK_Escape);
    keys.click();
    EXPECT_EQ(waitFor(3), (QStringList{"key 61", "key ff1b", "click"}));
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
    EXPECT_EQ(waitFor(3), (QStringList{"mods 9", "mods 1", "mods 0"}));
}

}  // namespace
}  // namespace pelix::platform
