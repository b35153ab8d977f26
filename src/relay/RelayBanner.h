#pragma once

#include "core/Timers.h"

#include <QObject>
#include <QString>

#include <functional>
#include <memory>

namespace pelix::relay {

// The countdown before a prompt is delivered: "Sending to <label> in 5…", one second less each
// tick; at the end the banner closes and `onFire` runs once; its Cancel closes it and runs
// `onCancel` once. One banner, reused. The window that shows it (RelayBannerWindow) follows
// `changed`.
class RelayBanner : public QObject {
    Q_OBJECT
public:
    explicit RelayBanner(core::Timers& timers, QObject* parent = nullptr);
    ~RelayBanner() override;

    // Shows the countdown for `label` from `seconds`, dropping any earlier callbacks and tick.
    void show(const QString& label, int seconds, std::function<void()> onCancel,
              std::function<void()> onFire);
    // The Cancel button.
    void cancel();

    bool visible() const { return visible_; }
    int left() const { return left_; }
    const QString& label() const { return label_; }
    // The line on show.
    QString text() const { return line(label_, left_); }
    static QString line(const QString& label, int left);

Q_SIGNALS:
    // Shown, ticked or closed.
    void changed();

private:
    void tick();
    void close();

    core::Timers& timers_;
    std::unique_ptr<core::PendingTimer> tick_;
    QString label_;
    int left_ = 0;
    bool visible_ = false;
    std::function<void()> onCancel_;
    std::function<void()> onFire_;
};

}  // namespace pelix::relay
