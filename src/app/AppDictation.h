#pragma once

#include "app/Shell.h"
#include "app/Timers.h"
#include "core/Clock.h"
#include "platform/KeySource.h"
#include "platform/Microphone.h"
#include "platform/linux/QtClipboard.h"
#include "platform/linux/X11Typist.h"
#include "speech/SpeechEngines.h"
#include "text/EngineRecognizer.h"
#include "text/LiveDictation.h"

#include <optional>

namespace pelix {

// The application's timers, as live dictation asks for them.
class SchedulerOnTimers final : public Scheduler {
public:
    explicit SchedulerOnTimers(Timers& timers) : timers_(timers) {}
    std::unique_ptr<Pending> after(double seconds, std::function<void()> fire) override;

private:
    Timers& timers_;
};

// The engine for dictating: the one for the user's language, else the one for en-US.
std::optional<SpeechEngines::Choice> dictationEngine(const SpeechEngines& engines);

// Live dictation as the tray application drives it: the window in front when it starts is the
// one typed into (none when it is Pelix's own, and then the text is shown instead), speech comes
// from the application's microphone, and the key source is told which key events are typing.
class AppDictation final : public Dictation {
public:
    AppDictation(const Clock& clock, Timers& timers, Shell& shell, platform::Microphone& microphone,
                 platform::KeySource& keys);
    ~AppDictation() override;

    Status start(bool typeIntoApp) override;
    void finish() override;
    void cancel() override;

    platform::Typist& typist() { return typist_; }
    platform::Clipboard& clipboard() { return clipboard_; }

private:
    Shell& shell_;
    SpeechEngines engines_;
    EngineRecognizer recognizer_;
    platform::X11Typist typist_;
    platform::QtClipboard clipboard_;
    SchedulerOnTimers scheduler_;
    LiveDictation live_;
    bool typing_ = false;
};

}  // namespace pelix
