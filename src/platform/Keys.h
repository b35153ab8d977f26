#pragma once

#include <QString>

#include <cstdint>
#include <optional>

namespace pelix::platform {

// The modifier state of one keyboard event, four bits.
struct Mods {
    static constexpr int kAlt = 1;  // Alt
    static constexpr int kShift = 2;
    static constexpr int kOther = 4;    // Super, Hyper, AltGr, Caps Lock on
    static constexpr int kControl = 8;  // Ctrl

    int bits = 0;

    bool alt() const { return bits & kAlt; }
    bool shift() const { return bits & kShift; }
    bool other() const { return bits & kOther; }
    bool control() const { return bits & kControl; }
    bool operator==(const Mods&) const = default;
};

// What a key means to the gestures.
enum class KeyRole { alt, shift, control, other, capsLock, ignored, plain };

// The role of an X keysym: Alt and Meta are the Alt role, Super, Hyper, AltGr and Mode_switch
// are "other" modifiers, Num Lock is ignored, everything else is a plain key.
KeyRole roleOfKeysym(std::uint32_t keysym);

// Follows which modifier keys are down, by key code, and turns them and the Caps Lock state into
// `Mods`. Two keys of one role (both Alt keys) count until the last one is let go.
class ModTracker {
public:
    // A modifier key went down or up; returns the state after it.
    Mods change(int keycode, KeyRole role, bool down);
    // Caps Lock was switched on or off.
    Mods setCapsLocked(bool locked) {
        capsLocked_ = locked;
        return current();
    }
    Mods current() const;
    bool capsLocked() const { return capsLocked_; }
    void reset() { *this = ModTracker(); }

private:
    // Key codes of X are below 256: one bit per code and role.
    std::uint64_t down_[4][4] = {};
    bool capsLocked_ = false;
};

// A press the gestures do not read as a modifier: a key (with its keysym) or a mouse click.
struct OtherInput {
    bool isKey = false;
    std::uint32_t keysym = 0;
    double uptime = 0;

    bool isEscape() const { return isKey && keysym == 0xff1b; }
};

// X server times are 32-bit milliseconds in step with the monotonic clock; this turns one into
// seconds of up-time, given the up-time now. Times a little ahead of now count as now.
double serverTimeToUptime(std::uint32_t serverMs, double nowUptime);

}  // namespace pelix::platform
