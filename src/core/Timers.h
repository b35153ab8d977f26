#pragma once

#include <functional>
#include <memory>

namespace pelix::core {

// A pending one-shot timer; dropping it cancels it.
class PendingTimer {
public:
    virtual ~PendingTimer() = default;
};

// Where timers come from, so that tests can fire them by hand.
class Timers {
public:
    virtual ~Timers() = default;
    // Runs `fire` once on this thread after `seconds`, unless the handle is dropped first.
    virtual std::unique_ptr<PendingTimer> after(double seconds, std::function<void()> fire) = 0;
};

// Timers of the Qt event loop.
class QtTimers final : public Timers {
public:
    std::unique_ptr<PendingTimer> after(double seconds, std::function<void()> fire) override;
};

}  // namespace pelix::core
