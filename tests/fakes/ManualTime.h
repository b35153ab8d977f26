#pragma once

#include "core/Clock.h"
#include "core/Timers.h"

#include <QDateTime>

#include <algorithm>
#include <functional>
#include <memory>
#include <vector>

namespace pelix::fakes {

// A clock that moves only when told.
class ManualClock final : public core::Clock {
public:
    double uptime() const override { return uptime_; }
    QDateTime now() const override { return wall_.addMSecs(static_cast<qint64>(uptime_ * 1000)); }
    void set(double uptime) { uptime_ = uptime; }
    // The wall clock says `t` now, and moves on with the up-time.
    void setNow(const QDateTime& t) { wall_ = t.addMSecs(-static_cast<qint64>(uptime_ * 1000)); }

private:
    double uptime_ = 100;
    QDateTime wall_ = QDateTime::fromSecsSinceEpoch(1'790'000'000);
};

// Timers fired by moving the clock with `advanceTo`.
class ManualTimers final : public core::Timers {
public:
    explicit ManualTimers(ManualClock& clock) : clock_(clock) {}

    std::unique_ptr<core::PendingTimer> after(double seconds, std::function<void()> fire) override {
        auto entry = std::make_shared<Entry>(Entry{clock_.uptime() + seconds, std::move(fire)});
        entries_.push_back(entry);
        return std::make_unique<Handle>(entry);
    }

    // Moves the clock to `uptime`, firing every timer due on the way, in order.
    void advanceTo(double uptime) {
        for (;;) {
            std::erase_if(entries_, [](const auto& e) { return e->cancelled; });
            auto next =
                std::min_element(entries_.begin(), entries_.end(),
                                 [](const auto& a, const auto& b) { return a->due < b->due; });
            if (next == entries_.end() || (*next)->due > uptime) break;
            auto entry = *next;
            entries_.erase(next);
            clock_.set(entry->due);
            entry->cancelled = true;
            entry->fire();
        }
        clock_.set(uptime);
    }
    void advance(double seconds) { advanceTo(clock_.uptime() + seconds); }

    int pending() const {
        return static_cast<int>(std::count_if(entries_.begin(), entries_.end(),
                                              [](const auto& e) { return !e->cancelled; }));
    }

private:
    struct Entry {
        double due;
        std::function<void()> fire;
        bool cancelled = false;
    };
    struct Handle final : core::PendingTimer {
        explicit Handle(std::shared_ptr<Entry> e) : entry(std::move(e)) {}
        ~Handle() override { entry->cancelled = true; }
        std::shared_ptr<Entry> entry;
    };

    ManualClock& clock_;
    std::vector<std::shared_ptr<Entry>> entries_;
};

}  // namespace pelix::fakes
