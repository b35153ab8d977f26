#include "core/Clock.h"

#include <time.h>

namespace pelix::core {

double SystemClock::uptime() const {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<double>(ts.tv_sec) + static_cast<double>(ts.tv_nsec) / 1e9;
}

}  // namespace pelix::core
