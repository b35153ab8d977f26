#pragma once

#include "app/AppDelegate.h"
#include "app/Recorder.h"
#include "app/Shell.h"
#include "core/Timers.h"
#include "core/Clock.h"

#include <QFile>
#include <QStringList>

#include <algorithm>
#include <memory>
#include <vector>

namespace pelix::fakes {

// A clock that moves only when told.
class ManualClock final : public Clock {
public:
    double uptime() const override { return uptime_; }
    QDateTime now() const override { return wall_.addMSecs(static_cast<qint64>(uptime_ * 1000)); }
    void set(double uptime) { uptime_ = uptime; }

private:
    double uptime_ = 100;
    QDateTime wall_ = QDateTime::fromSecsSinceEpoch(1'790'000'000);
};

// Timers fired by moving the clock with `advanceTo`.
class ManualTimers final : public Timers {
public:
    explicit ManualTimers(ManualClock& clock) : clock_(clock) {}

    std::unique_ptr<PendingTimer> after(double seconds, std::function<void()> fire) override {
        auto entry = std::make_shared<Entry>(Entry{clock_.uptime() + seconds, std::move(fire)});
        entries_.push_back(entry);
        return std::make_unique<Handle>(entry);
    }

    // Moves the clock to `uptime`, firing every timer that falls due on the way, in order.
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
    struct Handle final : PendingTimer {
        explicit Handle(std::shared_ptr<Entry> e) : entry(std::move(e)) {}
        ~Handle() override { entry->cancelled = true; }
        std::shared_ptr<Entry> entry;
    };

    ManualClock& clock_;
    std::vector<std::shared_ptr<Entry>> entries_;
};

// A recorder that writes a small file and measures with the clock.
class FakeRecorder final : public Recorder {
public:
    FakeRecorder(const Clock& clock, QString folder) : clock_(clock), folder_(std::move(folder)) {}

    Status start() override {
        if (failWith) return std::unexpected(*failWith);
        path = recordingPath(folder_, clock_.now());
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly)) return fail(1, "no file");
        file.write(content);
        startedAt_ = clock_.uptime();
        running = true;
        ++starts;
        return {};
    }
    std::optional<Recording> stop() override {
        if (!running) return std::nullopt;
        running = false;
        return Recording{path, clock_.uptime() - startedAt_};
    }
    void cancel() override {
        if (!running) return;
        running = false;
        QFile::remove(path);
        ++cancels;
    }

    std::optional<Error> failWith;
    QByteArray content = QByteArray("fake m4a \x00\x01\xff", 12);
    QString path;
    bool running = false;
    int starts = 0, cancels = 0;

private:
    const Clock& clock_;
    QString folder_;
    double startedAt_ = 0;
};

class FakeShell final : public Shell {
public:
    void show(const QString& line) override { lines << line; }
    void setLook(ui::TrayLook l) override { look = l; }
    void play(ui::Sound sound) override { sounds.push_back(sound); }

    QStringList lines;
    ui::TrayLook look = ui::TrayLook::idle;
    std::vector<ui::Sound> sounds;
};

class FakeDictation final : public Dictation {
public:
    Status start(bool) override {
        ++starts;
        return {};
    }
    void finish() override { ++finishes; }
    void cancel() override { ++cancels; }
    int starts = 0, finishes = 0, cancels = 0;
};

}  // namespace pelix::fakes
