#include "studio/Interrupt.h"

namespace pelix::studio {
namespace {

// A signal handler may only post a semaphore; a job of the guard's worker waits on it.
sem_t signalled;

void onSignal(int) {
    sem_post(&signalled);
}

}  // namespace

InterruptStop::InterruptStop() : watcher_(nullptr, 1) {
    sem_init(&signalled, 0, 0);
    watcher_.run([this](std::stop_token stop) {
        // The guard's end wakes the wait, and the loop ends.
        const std::stop_callback wake(stop, [] { sem_post(&signalled); });
        for (;;) {
            while (sem_wait(&signalled) != 0) {
            }
            if (stop.stop_requested()) return;
            source_.request_stop();
        }
    });
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, &oldInt_);
    sigaction(SIGTERM, &action, &oldTerm_);
}

InterruptStop::~InterruptStop() {
    sigaction(SIGINT, &oldInt_, nullptr);
    sigaction(SIGTERM, &oldTerm_, nullptr);
    watcher_.stop();
    sem_destroy(&signalled);
}

}  // namespace pelix::studio
