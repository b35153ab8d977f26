#include "app/Gestures.h"

namespace pelix::app {

Outcome TapGesture::modifiers(Mods mods, double now) {
    if (mods.alt()) {
        if (!downAt) {
            downAt = now;
            spentOnSomethingElse = mods.other();
            liveOnNextStart = mods.control();
            return Outcome::nothing;
        }
        if (mods.other()) spentOnSomethingElse = true;
        if (mods.control()) liveOnNextStart = true;
        return Outcome::nothing;
    }
    if (!downAt) return Outcome::nothing;
    const double pressed = now - *downAt;
    downAt.reset();
    if (spentOnSomethingElse) {
        spentOnSomethingElse = false;
        return Outcome::nothing;
    }
    if (pressed > tapMax) return Outcome::nothing;
    if (!recordingSince) {
        recordingSince = now;
        const bool live = liveOnNextStart;
        liveOnNextStart = false;
        return live ? Outcome::startTyped : Outcome::startFiled;
    }
    if (now - *recordingSince < settle) return Outcome::nothing;
    recordingSince.reset();
    return Outcome::stop;
}

HoldStep HoldGesture::modifiers(Mods mods, double now) {
    if (mods.bits == Mods::kControl) {
        if (!downAt) {
            downAt = now;
            spent = false;
        }
        return HoldStep::arm;
    }
    if (mods.bits > 7) {
        if (!downAt) downAt = now;
        if (!isHolding) spent = true;
        return HoldStep::cancel;
    }
    downAt.reset();
    if (isHolding) {
        isHolding = false;
        return HoldStep::release;
    }
    return HoldStep::cancel;
}

bool HoldGesture::fire(double now) {
    if (!downAt || spent || isHolding || now - *downAt < holdMin) return false;
    isHolding = true;
    return true;
}

}  // namespace pelix::app
