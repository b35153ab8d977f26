#include "core/TempFiles.h"

#include "core/Sentences.h"

#include <QFile>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace pelix::core::tempfiles {
namespace {

// Slots a signal handler can read without locks: a slot is free (0), being changed (1) or holds
// a path (2); only a slot that holds a path is read.
struct Slot {
    std::atomic<int> state{0};
    char path[1024] = {};
};
Slot slots[64];

// What each signal did before removeOnSignals: another copy of this code (a loaded module keeps
// its own list) or the program's own handler runs after this one.
struct sigaction before[NSIG];

void onSignal(int signal) {
    for (Slot& slot : slots) {
        if (slot.state.load(std::memory_order_acquire) == 2) ::unlink(slot.path);
    }
    const struct sigaction& next = before[signal];
    if (!(next.sa_flags & SA_SIGINFO) && next.sa_handler != SIG_DFL && next.sa_handler != SIG_IGN) {
        return next.sa_handler(signal);
    }
    struct sigaction standard {};
    standard.sa_handler = SIG_DFL;
    sigemptyset(&standard.sa_mask);
    ::sigaction(signal, &standard, nullptr);
    ::raise(signal);
}

}  // namespace

Status createPrivate(const QString& path) {
    const QByteArray name = QFile::encodeName(path);
    // Tracked before it exists, so that a signal the moment it appears still removes it.
    track(path);
    const int fd =
        ::open(name.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0) {
        const int error = errno;
        untrack(path);
        errno = error;
        return fail(1, core::sentences::couldntMakeTemporaryFile(
                           path, QString::fromLocal8Bit(std::strerror(errno))));
    }
    ::close(fd);
    return {};
}

void track(const QString& path) {
    const QByteArray name = QFile::encodeName(path);
    if (name.size() >= qsizetype(sizeof(Slot::path))) return;
    for (Slot& slot : slots) {
        int free = 0;
        if (!slot.state.compare_exchange_strong(free, 1, std::memory_order_acquire)) continue;
        std::memcpy(slot.path, name.constData(), size_t(name.size()) + 1);
        slot.state.store(2, std::memory_order_release);
        return;
    }
}

void untrack(const QString& path) {
    const QByteArray name = QFile::encodeName(path);
    for (Slot& slot : slots) {
        int held = 2;
        if (!slot.state.compare_exchange_strong(held, 1, std::memory_order_acquire)) continue;
        if (std::strcmp(slot.path, name.constData()) == 0) {
            slot.state.store(0, std::memory_order_release);
            return;
        }
        slot.state.store(2, std::memory_order_release);
    }
}

void remove(const QString& path) {
    untrack(path);
    QFile::remove(path);
}

void removeOnSignals() {
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction current {};
        ::sigaction(signal, nullptr, &current);
        // A signal the process was started to ignore (nohup, a background job) stays ignored;
        // a second call changes nothing.
        if (current.sa_handler == SIG_IGN || current.sa_handler == onSignal) continue;
        before[signal] = current;
        struct sigaction action {};
        action.sa_handler = onSignal;
        sigemptyset(&action.sa_mask);
        ::sigaction(signal, &action, nullptr);
    }
}

}  // namespace pelix::core::tempfiles
