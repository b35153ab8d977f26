#pragma once

#include <QString>

#include <functional>

namespace pelix::platform {

// The user's login session: its lock, the machine waking from sleep, the machine's name.
class Session {
public:
    virtual ~Session() = default;
    // Whether the screen is locked now.
    virtual bool screenLocked() const = 0;
    // `woke` runs on this thread each time the machine wakes from sleep.
    virtual void onWake(std::function<void()> woke) = 0;
    // The computer's name as the user sees it.
    virtual QString deviceName() const = 0;
};

}  // namespace pelix::platform
