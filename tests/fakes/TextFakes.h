#pragma once

// Stand-ins for the desktop and the recogniser, for typing and live dictation without a display.
#include "dictation/LiveDictation.h"
#include "fakes/ManualTime.h"

#include <QStringList>

#include <algorithm>
#include <memory>
#include <vector>

namespace pelix::fakes {

// Records what would be typed: "type <text>", "backspace <n>", "ctrl+v", "enter", "pause <µs>".
// With `losing`, every press counts as undelivered.
class FakeTypist final : public platform::Typist {
public:
    std::optional<platform::FrontWindow> front;
    QStringList log;
    bool losing = false;
    std::function<void(const QString&)> pressed;

    std::optional<platform::FrontWindow> frontWindow() const override { return front; }
    void type(const QString& text) override { log << "type " + text; }
    void press(platform::Key key, bool control, int times) override {
        const QString name = key == platform::Key::backspace ? "backspace"
                             : key == platform::Key::enter   ? "enter"
                                                             : "v";
        log << (control ? "ctrl+" : "") + name + (times > 1 ? " " + QString::number(times) : "");
        if (losing) ++lost_;
        if (pressed) pressed(log.back());
    }
    void pause(std::chrono::microseconds d) override {
        log << "pause " + QString::number(d.count());
    }
    platform::Pacing pacing() const override { return {}; }
    quint64 undelivered() const override { return lost_; }

    // The text the window would hold.
    QString screen() const {
        QString text;
        for (const QString& line : log) {
            if (line.startsWith("type ")) text += line.mid(5);
            if (line.startsWith("backspace")) {
                const int n = line == "backspace" ? 1 : line.mid(10).toInt();
                text.chop(n);  // the tests erase plain characters only
            }
        }
        return text;
    }

private:
    quint64 lost_ = 0;
};

class FakeRecognizer final : public dictation::Recognizer {
public:
    int ended = 0, cancelled = 0;
    QByteArray audio;
    Updates updates;

    bool ready() const override { return true; }
    Status begin(Updates u) override {
        updates = std::move(u);
        return {};
    }
    void append(const QByteArray& pcm) override { audio += pcm; }
    void endAudio() override { ++ended; }
    void cancel() override { ++cancelled; }

    void partial(const QString& text) { updates({text, false, std::nullopt}); }
    void final(const QString& text) { updates({text, true, std::nullopt}); }
    void standing(const QString& text) { updates({text, false, std::nullopt, true}); }
    void error() { updates({std::nullopt, false, Error{"pelix", 9, "lost"}}); }
};

class FakeMicrophone final : public platform::Microphone {
public:
    bool running = false;
    Samples samples;

    Status start(int, Samples s) override {
        running = true;
        samples = std::move(s);
        return {};
    }
    void stop() override {
        if (running && samples) samples(QByteArray("tail"));
        running = false;
    }
};

}  // namespace pelix::fakes
