#include "relay/RelayBanner.h"

#include "core/Sentences.h"

#include <QPointer>

#include <utility>

namespace pelix::relay {

RelayBanner::RelayBanner(core::Timers& timers, QObject* parent)
    : QObject(parent), timers_(timers) {}

RelayBanner::~RelayBanner() = default;

QString RelayBanner::line(const QString& label, int left) {
    return core::sentences::sendingTo(label, left);
}

void RelayBanner::show(const QString& label, int seconds, std::function<void()> onCancel,
                       std::function<void()> onFire) {
    label_ = label;
    left_ = seconds;
    onCancel_ = std::move(onCancel);
    onFire_ = std::move(onFire);
    visible_ = true;
    QPointer<RelayBanner> self(this);
    tick_ = timers_.after(1.0, [self] {
        if (self) self->tick();
    });
    Q_EMIT changed();
}

void RelayBanner::tick() {
    --left_;
    if (left_ < 1) {
        close();
        onCancel_ = nullptr;
        if (auto fire = std::exchange(onFire_, nullptr)) fire();
        return;
    }
    QPointer<RelayBanner> self(this);
    tick_ = timers_.after(1.0, [self] {
        if (self) self->tick();
    });
    Q_EMIT changed();
}

void RelayBanner::cancel() {
    if (!visible_) return;
    close();
    onFire_ = nullptr;
    if (auto cancelled = std::exchange(onCancel_, nullptr)) cancelled();
}

void RelayBanner::close() {
    tick_.reset();
    visible_ = false;
    Q_EMIT changed();
}

}  // namespace pelix::relay
