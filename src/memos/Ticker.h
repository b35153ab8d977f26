#pragma once

#include <QTimer>

#include <functional>

namespace pelix::memos {

// A repeating timer, handed to whoever owns a periodic job so tests can tick it by hand.
class Ticker {
public:
    virtual ~Ticker() = default;
    // Calls `tick` every `seconds` until stopped; a second start replaces the first.
    virtual void start(double seconds, std::function<void()> tick) = 0;
    virtual void stop() = 0;
};

// The Qt timer of the thread that owns it.
class QtTicker final : public Ticker {
public:
    void start(double seconds, std::function<void()> tick) override {
        QObject::disconnect(&timer_, nullptr, nullptr, nullptr);
        QObject::connect(&timer_, &QTimer::timeout, &timer_, std::move(tick));
        timer_.start(static_cast<int>(seconds * 1000));
    }
    void stop() override { timer_.stop(); }

private:
    QTimer timer_;
};

}  // namespace pelix::memos
