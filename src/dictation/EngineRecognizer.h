#pragma once

#include "core/Worker.h"
#include "dictation/LiveDictation.h"
#include "speech/SpeechEngines.h"

#include <functional>
#include <memory>
#include <optional>

namespace pelix::dictation {

// Recognition by a `SpeechEngine` on a thread of its own: loading the model and decoding never
// hold up the main thread. Audio is decoded in the order it was appended; texts come back to the
// thread the recognizer was made on. Sessions are live ones (`SessionOptions::live`): when the
// audio ends, the live text comes as a standing update, then the accurate passes' text as the
// final one.
class EngineRecognizer final : public Recognizer {
public:
    // The engine and locale to use now (the user's language, else en-US); none when no engine
    // serves either.
    using Choose = std::function<std::optional<speech::SpeechEngines::Choice>()>;

    explicit EngineRecognizer(Choose choose);
    ~EngineRecognizer() override;

    // Loads the engine's model ahead, on the recogniser's thread, so that the first hold does
    // not wait for it.
    void prepare();

    bool ready() const override;
    Status begin(Updates updates) override;
    void append(const QByteArray& pcm) override;
    void endAudio() override;
    void cancel() override;

private:
    struct Run;

    Choose choose_;
    std::shared_ptr<Run> run_;
    // Serial: audio is decoded in the order it came. Last, so that it ends before the rest goes.
    core::Worker worker_;
};

}  // namespace pelix::dictation
