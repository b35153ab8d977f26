#pragma once

#include "platform/Keys.h"

#include <optional>

namespace pelix::app {

using platform::Mods;

// What one modifier change means to the Alt tap.
enum class Outcome { startTyped, startFiled, nothing, stop };

// The Alt tap: a short, clean press of Alt starts a recording, the next one stops it. Ctrl held
// during the press makes the start a typed recording; any other modifier spoils the press,
// Shift does not.
struct TapGesture {
    double tapMax = 0.4;  // longest press that is still a tap
    double settle = 0.4;  // shortest time after a start before a tap stops
    std::optional<double> downAt;
    bool spentOnSomethingElse = false;
    bool liveOnNextStart = false;
    std::optional<double> recordingSince;

    Outcome modifiers(Mods mods, double now);
    // A key or click while Alt is down: this press is no tap.
    void spoil() {
        if (downAt) spentOnSomethingElse = true;
    }
};

// What the Ctrl hold asks of its owner after a modifier change.
enum class HoldStep {
    arm,      // Ctrl alone is down: have the hold timer pending
    cancel,   // cancel a pending hold timer
    release,  // cancel the timer, and end the dictation this hold started
};

// Ctrl held alone for `holdMin` starts live dictation, which ends when Ctrl is let go. Ctrl
// combined with anything else spends the press.
struct HoldGesture {
    double holdMin = 0.25;
    std::optional<double> downAt;
    bool spent = false;
    bool isHolding = false;

    HoldStep modifiers(Mods mods, double now);
    // The hold timer fired: true when the hold has become a dictation (`isHolding` is set).
    bool fire(double now);
    // A key or click while Ctrl is down spends the press, unless dictation already runs.
    void spoil() {
        if (downAt && !isHolding) spent = true;
    }
};

// The hold timer fires this long after Ctrl goes down alone.
inline constexpr double kHoldCheck = 0.28;

}  // namespace pelix::app
