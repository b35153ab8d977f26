#pragma once

#include "app/AppRouter.h"
#include "app/Shell.h"
#include "braindump/Recorder.h"
#include "fakes/ManualTime.h"

#include <QFile>
#include <QStringList>

#include <algorithm>
#include <memory>
#include <vector>

namespace pelix::fakes {

// A recorder that writes a small file and measures with the clock.
class FakeRecorder final : public braindump::Recorder {
public:
    FakeRecorder(const core::Clock& clock, QString folder)
        : clock_(clock), folder_(std::move(folder)) {}

    Status start() override {
        if (failWith) return std::unexpected(*failWith);
        path = braindump::recordingPath(folder_, clock_.now());
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly)) return fail(1, "no file");
        file.write(content);
        startedAt_ = clock_.uptime();
        running = true;
        ++starts;
        return {};
    }
    std::optional<braindump::Recording> stop() override {
        if (!running) return std::nullopt;
        running = false;
        return braindump::Recording{path, clock_.uptime() - startedAt_};
    }
    void cancel() override {
        if (!running) return;
        running = false;
        QFile::remove(path);
    }

    std::optional<Error> failWith;
    QByteArray content = QByteArray("fake m4a \x00\x01\xff", 12);
    QString path;
    bool running = false;
    int starts = 0;

private:
    const core::Clock& clock_;
    QString folder_;
    double startedAt_ = 0;
};

// A shell that records what it shows; dialogs wait until the test answers them.
class FakeShell final : public app::Shell {
public:
    void show(const QString& line) override { lines << line; }
    void setLook(ui::TrayLook l) override { look = l; }
    void play(ui::Sound sound) override { sounds.push_back(sound); }
    void ask(const app::Prompt& prompt, std::function<void(app::PromptAnswer)> answered) override {
        prompts.push_back(prompt);
        answerPrompt = std::move(answered);
    }
    void askForSecret(const QString& label, std::function<void(QString)> entered) override {
        secretLabels << label;
        enterSecret = std::move(entered);
    }
    void report(const QString&, const QStringList&) override {}
    void chooseFile(const QString&, const QString&, std::function<void(QString)> c) override {
        choose = std::move(c);
    }
    void chooseFolder(const QString&, const QString&, std::function<void(QString)> c) override {
        choose = std::move(c);
    }
    void editSpeech() override {}

    QStringList lines;
    ui::TrayLook look = ui::TrayLook::idle;
    std::vector<ui::Sound> sounds;
    std::vector<app::Prompt> prompts;
    std::function<void(app::PromptAnswer)> answerPrompt;
    QStringList secretLabels;
    std::function<void(QString)> enterSecret;
    std::function<void(QString)> choose;  // answers the last file or folder chooser
};

// Opening at login as a switch, with a failure to order.
class FakeAutostart final : public platform::Autostart {
public:
    bool enabled() const override { return on; }
    Status enable(const QString&) override {
        if (failWith) return std::unexpected(*failWith);
        on = true;
        return {};
    }
    Status disable() override {
        if (failWith) return std::unexpected(*failWith);
        on = false;
        return {};
    }
    bool on = false;
    std::optional<Error> failWith;
};

class FakeDictation final : public app::Dictation {
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
