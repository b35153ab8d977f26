#pragma once

#include "app/Shell.h"
#include "core/Clock.h"
#include "core/Timers.h"
#include "core/Worker.h"
#include "dictation/EngineRecognizer.h"
#include "dictation/FinishingRecognizer.h"
#include "dictation/LiveDictation.h"
#include "platform/Microphone.h"
#include "platform/Typist.h"
#include "speech/SpeechEngines.h"
#include "speech/TranscriptionServerEngine.h"

#include <optional>

namespace pelix::app {

// The engine for dictating: the one for the user's language, else the one for en-US.
std::optional<speech::SpeechEngines::Choice> dictationEngine(const speech::SpeechEngines& engines);

// Whether speech can be recognised for dictating (a model of the engine is installed).
bool dictationReady(const speech::SpeechEngines& engines);

// Live dictation as the tray application drives it: the window in front when it starts is the
// one typed into (none when it is Pelix's own, and then the text is shown instead), and speech
// comes from the application's microphone. In a session that lets no application type into
// others, the finished text goes to the clipboard and the status line says so. With a
// transcription server set, the server's text of the whole hold is the final one.
class AppDictation final : public Dictation {
public:
    AppDictation(core::Timers& timers, Shell& shell, platform::Microphone& microphone,
                 platform::Typist& typist, platform::Clipboard& clipboard);
    ~AppDictation() override;

    Status start(bool typeIntoApp) override;
    void finish() override;
    void cancel() override;

private:
    std::function<void()> finishOnServer(const QByteArray& pcm,
                                         dictation::FinishingRecognizer::Heard done);

    Shell& shell_;
    speech::SpeechEngines engines_;
    speech::TranscriptionServerEngine server_;
    dictation::EngineRecognizer recognizer_;
    dictation::FinishingRecognizer finishing_;
    platform::Typist& typist_;
    platform::Clipboard& clipboard_;
    dictation::LiveDictation live_;
    core::Worker serverWork_;  // the server's hearing of a whole hold, handed back to `live_`
    bool typing_ = false;
    bool toClipboard_ = false;  // wanted typing where there is none
};

}  // namespace pelix::app
