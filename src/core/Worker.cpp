#include "core/Worker.h"

#include <QThread>

#include <algorithm>

namespace pelix::core {

Worker::Worker(QObject* owner, int threads)
    : owner_(owner), owned_(owner != nullptr), home_(std::make_unique<QObject>()) {
    Q_ASSERT(!owner || owner->thread() == QThread::currentThread());
    if (threads > 0) pool_.setMaxThreadCount(threads);
    // A serial worker keeps its one thread, so that its jobs all run on the same one.
    if (threads == 1) pool_.setExpiryTimeout(-1);
}

Worker::~Worker() {
    stop();
}

std::stop_source Worker::start(std::function<void(std::stop_token)> job) {
    std::stop_source source;
    {
        std::lock_guard lock(mutex_);
        jobs_.push_back(source);
    }
    pool_.start([this, source, job = std::move(job)] {
        job(source.get_token());
        std::lock_guard lock(mutex_);
        jobs_.erase(std::ranges::find(jobs_, source));
    });
    return source;
}

void Worker::deliver(std::function<void()> call) const {
    QMetaObject::invokeMethod(
        home_.get(),
        [this, call = std::move(call)] {
            if (owned_ && !owner_) return;
            call();
        },
        Qt::QueuedConnection);
}

void Worker::stop() {
    {
        std::lock_guard lock(mutex_);
        for (std::stop_source& job : jobs_) job.request_stop();
    }
    pool_.waitForDone();
}

}  // namespace pelix::core
