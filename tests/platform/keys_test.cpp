// From X keys to the four modifier bits, and from server times to up-time.
#include "platform/Keys.h"
#include "support/TestSupport.h"

namespace pelix::platform {
namespace {

TEST(Keys, KeysymsTakeTheirRoles) {
    const struct {
        std::uint32_t keysym;
        KeyRole role;
    } cases[] = {
        {0xffe9, KeyRole::alt},      {0xffea, KeyRole::alt},      // Alt_L, Alt_R
        {0xffe7, KeyRole::alt},                                   // Meta_L
        {0xffe1, KeyRole::shift},    {0xffe4, KeyRole::control},  // Shift_L, Control_R
        {0xffeb, KeyRole::other},    {0xfe03, KeyRole::other},    // Super_L, AltGr
        {0xffe5, KeyRole::capsLock}, {0xff7f, KeyRole::ignored},  // Caps Lock, Num Lock
        {'a', KeyRole::plain},       {0xff1b, KeyRole::plain},    // a, Escape
        {0xff0d, KeyRole::plain},                                 // Return
    };
    for (const auto& c : cases) EXPECT_EQ(roleOfKeysym(c.keysym), c.role) << std::hex << c.keysym;
}

TEST(Keys, TrackerCombinesKeysAndCapsLock) {
    ModTracker t;
    EXPECT_EQ(t.change(64, KeyRole::alt, true).bits, Mods::kAlt);
    // Both Alt keys: one let go, the other still counts.
    EXPECT_EQ(t.change(108, KeyRole::alt, true).bits, Mods::kAlt);
    EXPECT_EQ(t.change(64, KeyRole::alt, false).bits, Mods::kAlt);
    EXPECT_EQ(t.change(37, KeyRole::control, true).bits, Mods::kAlt | Mods::kControl);
    EXPECT_EQ(t.change(108, KeyRole::alt, false).bits, Mods::kControl);
    EXPECT_EQ(t.change(37, KeyRole::control, false).bits, 0);
    // Caps Lock on is "other" until it is switched off, whatever is held.
    EXPECT_EQ(t.setCapsLocked(true).bits, Mods::kOther);
    EXPECT_EQ(t.change(50, KeyRole::shift, true).bits, Mods::kOther | Mods::kShift);
    EXPECT_EQ(t.setCapsLocked(false).bits, Mods::kShift);
    EXPECT_EQ(t.change(50, KeyRole::shift, false).bits, 0);
}

// What the gestures are fed: each key code counts under the role it went down with, the whole
// range of X key codes is kept apart, and codes outside it, keys of no modifier role and releases
// of keys never pressed change nothing.
TEST(Keys, TrackerKeepsEveryKeyCodeApartAndIgnoresTheRest) {
    ModTracker t;
    EXPECT_EQ(t.change(0, KeyRole::control, true).bits, Mods::kControl);
    EXPECT_EQ(t.change(63, KeyRole::control, true).bits, Mods::kControl);
    EXPECT_EQ(t.change(64, KeyRole::shift, true).bits, Mods::kControl | Mods::kShift);
    EXPECT_EQ(t.change(255, KeyRole::other, true).bits,
              Mods::kControl | Mods::kShift | Mods::kOther);
    EXPECT_EQ(t.change(0, KeyRole::control, false).bits,
              Mods::kControl | Mods::kShift | Mods::kOther);  // 63 still holds it
    EXPECT_EQ(t.change(63, KeyRole::control, false).bits, Mods::kShift | Mods::kOther);
    for (const int code : {256, 300, -1, 100000}) {
        EXPECT_EQ(t.change(code, KeyRole::alt, true).bits, Mods::kShift | Mods::kOther) << code;
    }
    for (const KeyRole role : {KeyRole::plain, KeyRole::ignored, KeyRole::capsLock}) {
        EXPECT_EQ(t.change(10, role, true).bits, Mods::kShift | Mods::kOther);
    }
    EXPECT_EQ(t.change(64, KeyRole::alt, false).bits, Mods::kShift | Mods::kOther);  // not down
    EXPECT_EQ(t.change(64, KeyRole::shift, false).bits, Mods::kOther);
    t.setCapsLocked(true);
    t.reset();
    EXPECT_EQ(t.current().bits, 0);
    EXPECT_FALSE(t.capsLocked());
}

TEST(Keys, ServerTimesBecomeUptime) {
    const struct {
        std::uint32_t serverMs;
        double now;
        double want;
    } cases[] = {
        {10'000, 10.5, 10.0},
        {10'500, 10.5, 10.5},
        {10'600, 10.5, 10.5},  // a little ahead counts as now
        // The server's 32-bit clock wrapped 49.7 days in; ours did not.
        {4'294'967'000u, 4'294'967.5 + 1.0, 4'294'967.0},
        {200, 4'294'967.296 + 0.5, 4'294'967.296 + 0.2},
    };
    for (const auto& c : cases) {
        EXPECT_NEAR(serverTimeToUptime(c.serverMs, c.now), c.want, 1e-6) << c.serverMs;
    }
}

}  // namespace
}  // namespace pelix::platform
