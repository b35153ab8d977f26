#pragma once

#include "app/Shell.h"
#include "core/Clock.h"
#include "core/Timers.h"
#include "platform/KeySource.h"
#include "platform/Microphone.h"
#include "platform/linux/QtClipboard.h"
#include "platform/linux/X11Typist.h"
#include "speech/SpeechEngines.h"
#include "text/EngineRecognizer.h"
#include "text/LiveDictation.h"

#include <optional>

namespace pelix {

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
    LiveDictation live_;
    bool typing_ = false;
};

}  // namespace pelix
