// Key codes to the four modifier bits, and server times to up-time.
#include "platform/Keys.h"
#include "support/TestSupport.h"

namespace pelix::platform {
namespace {

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
