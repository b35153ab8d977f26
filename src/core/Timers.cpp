#include "core/Timers.h"

#include <QTimer>

#include <cmath>

namespace pelix::core {
namespace {

class QtPendingTimer final : public PendingTimer {
public:
    QtPendingTimer(double seconds, std::function<void()> fire) : timer_(new QTimer) {
        timer_->setSingleShot(true);
        timer_->setTimerType(Qt::PreciseTimer);
        QObject::connect(timer_, &QTimer::timeout, [fire = std::move(fire)] { fire(); });
        timer_->start(static_cast<int>(std::lround(seconds * 1000)));
    }
    // The owner may drop the handle from inside `fire`: the timer goes once the signal is done.
    ~QtPendingTimer() override {
        timer_->stop();
        timer_->deleteLater();
    }

private:
    QTimer* timer_;
};

}  // namespace

std::unique_ptr<PendingTimer> QtTimers::after(double seconds, std::function<void()> fire) {
    return std::make_unique<QtPendingTimer>(seconds, std::move(fire));
}

}  // namespace pelix::core
