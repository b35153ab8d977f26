#pragma once

#include "core/Worker.h"

#include <semaphore.h>
#include <signal.h>

#include <stop_token>

namespace pelix::studio {

// While it lives, Ctrl+C (SIGINT) and SIGTERM ask the long work of a command-line mode to stop
// instead of ending the process, so that the work can clean up after itself. The handlers the
// process had come back when it goes. One at a time.
class InterruptStop {
public:
    InterruptStop();
    ~InterruptStop();
    InterruptStop(const InterruptStop&) = delete;
    InterruptStop& operator=(const InterruptStop&) = delete;

    std::stop_token token() const { return source_.get_token(); }
    bool interrupted() const { return source_.stop_requested(); }

private:
    std::stop_source source_;
    core::Worker watcher_;
    struct sigaction oldInt_ {};
    struct sigaction oldTerm_ {};
};

}  // namespace pelix::studio
