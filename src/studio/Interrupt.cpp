#include "studio/Interrupt.h"

namespace pelix {
namespace {

// A signal handler may only post a semaphore; a thread of the guard waits on it.
sem_t signalled;

void onSignal(int) {
    sem_post(&signalled);
}

}  // namespace

InterruptStop::InterruptStop() {
    sem_init(&signalled, 0, 0);
    watcher_ = std::jthread([this] {
        for (;;) {
            while (sem_wait(&signalled) != 0) {
            }
            if (closing_) return;
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
    closing_ = true;
    sem_post(&signalled);
    watcher_.join();
    sem_destroy(&signalled);
}

}  // namespace pelix
