#pragma once

// Read through a QSocketNotifier, never by polling. Caps Lock's lock follows XKB state events,
// since the lock changes after its key's raw event is delivered. Wheel buttons (4 to 7) are not
// clicks. Known limit: events are told apart from the program's own by time (ignoreUntil), so a
// key the user presses while Pelix is typing (a few milliseconds a burst) is taken for Pelix's
// own; an Escape that lands there does not drop the dictation.

#include "core/Clock.h"
#include "platform/KeySource.h"

#include <memory>

class QSocketNotifier;

namespace pelix::platform {

// Keys and clicks of the whole X11 session from XInput2 raw events on the root window, on a
// connection of its own. Raw events arrive whichever window has the focus, also while another
// client grabs the keyboard.
class X11KeySource final : public KeySource {
public:
    explicit X11KeySource(const core::Clock& clock);
    ~X11KeySource() override;

    Status start(Handlers handlers) override;
    void ignoreUntil(double uptime) override { ignoreUntil_ = uptime; }
    bool listening() const override { return notifier_ != nullptr; }

    // Whether the display (from $DISPLAY) offers what keys and typing need.
    struct Support {
        bool display = false;
        bool xinput2 = false;
        bool xtest = false;
    };
    static Support probe();

private:
    void drain();

    struct Connection;
    const core::Clock& clock_;
    std::unique_ptr<Connection> x_;
    std::unique_ptr<QSocketNotifier> notifier_;
    Handlers handlers_;
    ModTracker tracker_;
    double ignoreUntil_ = 0;
};

}  // namespace pelix::platform
