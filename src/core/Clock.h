#pragma once

#include <QDateTime>

namespace pelix::core {

// Time as the rules see it. Production code uses SystemClock; tests hand in a clock they move.
class Clock {
public:
    virtual ~Clock() = default;
    // Seconds of monotonic up-time (CLOCK_MONOTONIC, the clock X11 server times follow).
    virtual double uptime() const = 0;
    // The wall-clock time, for dates sent to the backend.
    virtual QDateTime now() const = 0;
};

class SystemClock final : public Clock {
public:
    double uptime() const override;
    QDateTime now() const override { return QDateTime::currentDateTime(); }
};

}  // namespace pelix::core
