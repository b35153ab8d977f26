#pragma once

#include "core/Error.h"
#include "platform/Keys.h"

#include <functional>

namespace pelix::platform {

// Every keyboard and mouse press of the desktop session, whichever window has the focus.
class KeySource {
public:
    struct Handlers {
        // A modifier key went down or up: the state after it and its up-time.
        std::function<void(Mods, double)> modifiersChanged;
        // A plain key press or a mouse click.
        std::function<void(const OtherInput&)> otherInput;
    };

    virtual ~KeySource() = default;

    // Starts listening; the handlers run on the thread that called start.
    virtual Status start(Handlers handlers) = 0;
    // Events up to this up-time are the program's own synthetic ones: they move the modifier
    // state but are not reported.
    virtual void ignoreUntil(double uptime) = 0;
    // True once start succeeded.
    virtual bool listening() const = 0;
};

}  // namespace pelix::platform
