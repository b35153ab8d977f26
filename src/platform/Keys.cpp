#include "platform/Keys.h"

#include <cmath>

namespace pelix::platform {
namespace {

// X keysyms (X11/keysymdef.h), spelled out so this file needs no X headers.
enum : std::uint32_t {
    kShiftL = 0xffe1,
    kShiftR = 0xffe2,
    kControlL = 0xffe3,
    kControlR = 0xffe4,
    kCapsLock = 0xffe5,
    kShiftLock = 0xffe6,
    kMetaL = 0xffe7,
    kMetaR = 0xffe8,
    kAltL = 0xffe9,
    kAltR = 0xffea,
    kSuperL = 0xffeb,
    kSuperR = 0xffec,
    kHyperL = 0xffed,
    kHyperR = 0xffee,
    kModeSwitch = 0xff7e,
    kNumLock = 0xff7f,
    kLevel3Shift = 0xfe03,
    kLevel5Shift = 0xfe11,
};

int slot(KeyRole role) {
    switch (role) {
        case KeyRole::alt:
            return 0;
        case KeyRole::shift:
            return 1;
        case KeyRole::other:
            return 2;
        case KeyRole::control:
            return 3;
        default:
            return -1;
    }
}

}  // namespace

KeyRole roleOfKeysym(std::uint32_t keysym) {
    switch (keysym) {
        case kAltL:
        case kAltR:
        case kMetaL:
        case kMetaR:
            return KeyRole::alt;
        case kShiftL:
        case kShiftR:
            return KeyRole::shift;
        case kControlL:
        case kControlR:
            return KeyRole::control;
        case kSuperL:
        case kSuperR:
        case kHyperL:
        case kHyperR:
        case kModeSwitch:
        case kLevel3Shift:
        case kLevel5Shift:
            return KeyRole::other;
        case kCapsLock:
        case kShiftLock:
            return KeyRole::capsLock;
        case kNumLock:
            return KeyRole::ignored;
        default:
            return KeyRole::plain;
    }
}

Mods ModTracker::change(int keycode, KeyRole role, bool down) {
    const int s = slot(role);
    if (s >= 0 && keycode >= 0 && keycode < 256) {
        const std::uint64_t bit = std::uint64_t{1} << (keycode % 64);
        std::uint64_t& word = down_[s][keycode / 64];
        word = down ? (word | bit) : (word & ~bit);
    }
    return current();
}

Mods ModTracker::current() const {
    static constexpr int kBits[4] = {Mods::kAlt, Mods::kShift, Mods::kOther, Mods::kControl};
    Mods out;
    for (int s = 0; s < 4; ++s) {
        for (std::uint64_t word : down_[s]) {
            if (word) out.bits |= kBits[s];
        }
    }
    if (capsLocked_) out.bits |= Mods::kOther;
    return out;
}

double serverTimeToUptime(std::uint32_t serverMs, double nowUptime) {
    const auto nowMs = static_cast<std::uint32_t>(
        static_cast<std::uint64_t>(std::llround(nowUptime * 1000)) & 0xffffffffu);
    const std::uint32_t age = nowMs - serverMs;  // wraps like the server's clock
    if (age > 0x80000000u) return nowUptime;     // a little ahead of us
    return nowUptime - age / 1000.0;
}

}  // namespace pelix::platform
