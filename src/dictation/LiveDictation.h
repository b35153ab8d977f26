#pragma once

// How a session types: each text from the recogniser is cleaned (withoutActually), written as
// sentences when `sentences` is on (text::asSentences: capitals and "I" as it comes, the full
// stop once the live text stands), and applied after kDebounceSeconds without a newer one (a
// partial that reads as the latest text is not newer), as the correction from what is typed to
// what is wanted: n BackSpaces in one injection, then a pause of 1.5 ms per character erased (at
// most 60 ms) so that the window catches up, then the new text through Insert::type. A standing
// text (the live text once the sound has ended) is applied at once. The first letter keeps the case
// it was first typed with (text::withFirstLetterOf), so no later text erases the whole dictation
// for a capital. The final text gets a trailing space, once per session. A new `start` drops
// whatever the previous session still had pending, its stop bound too.

#include "core/Error.h"
#include "core/Timers.h"
#include "platform/Microphone.h"
#include "platform/Typist.h"

#include <QObject>
#include <QString>

#include <functional>
#include <memory>
#include <optional>

namespace pelix::dictation {

// Streaming recognition of live audio. Updates arrive on the thread that called `begin`, for
// the recognition begun last only.
class Recognizer {
public:
    struct Update {
        // The whole text so far; none with an error.
        std::optional<QString> text;
        bool isFinal = false;
        std::optional<Error> error;
        // Not final, but the live text in its last form (the sound has ended; a finishing pass
        // may still replace it): typed at once rather than after the debounce.
        bool standing = false;
    };
    using Updates = std::function<void(const Update&)>;

    virtual ~Recognizer() = default;
    // Whether recognition can run: a speech model for the user's language (or en-US) is here.
    virtual bool ready() const = 0;
    // Starts recognising the audio that `append` hands over from now on.
    virtual Status begin(Updates updates) = 0;
    // 16 kHz mono 16-bit samples.
    virtual void append(const QByteArray& pcm) = 0;
    // No more audio: the final text (or an error) follows.
    virtual void endAudio() = 0;
    // Abandons the recognition; nothing more is reported.
    virtual void cancel() = 0;
};

// What typing must do to turn the text typed so far into a new text: erase characters from the
// end, then type the rest. A prefix diff over user-perceived characters.
struct Correction {
    qsizetype erase = 0;
    QString insert;
    bool operator==(const Correction&) const = default;
};
Correction correction(const QString& typed, const QString& wanted);

// Speech from the microphone turned into text while the user holds the dictation gesture. When
// typing, the text goes into the focused window as it is recognised, corrected in place as the
// recogniser revises it; otherwise `onText` sees every text. Main thread only.
class LiveDictation : public QObject {
public:
    static constexpr double kDebounceSeconds = 0.15;
    static constexpr double kStopBoundSeconds = 2.5;

    LiveDictation(Recognizer& recognizer, platform::Microphone& microphone,
                  platform::Typist& typist, core::Timers& timers, QObject* parent = nullptr);
    ~LiveDictation() override;

    // Calls back (later, on this thread) with whether recognition can run.
    static void requestAuthorization(const Recognizer& recognizer,
                                     std::function<void(bool)> answer);

    // Begins a session; `typing` types into the focused window. Fails with code 1 and
    // `core::sentences::kRecognitionUnavailable` when nothing recognises, or with the microphone's
    // error.
    Status start(bool typing);
    // Ends the audio; `finish` gets the final text (trimmed) once the recogniser has it, or
    // after `kStopBoundSeconds` at most. A second stop while one is pending is ignored.
    void stop(std::function<void(const QString&)> finish);
    // Abandons the session without calling back; `erase` removes what it typed.
    void cancel(bool erase);

    // Set before `start` when the text is shown rather than typed.
    std::function<void(const QString&)> onText;
    // Set before `start`: whether texts are written as sentences.
    bool sentences = false;

    const QString& typed() const { return typed_; }
    const QString& latest() const { return latest_; }
    bool ended() const { return ended_; }

private:
    void handle(const Recognizer::Update& update);
    QString shaped(const QString& heard, bool finished) const;
    void scheduleApply();
    void applyLatest();
    void complete();
    void correctTo(const QString& wanted);
    void backspace(qsizetype count);
    void stopListening();

    Recognizer& recognizer_;
    platform::Microphone& microphone_;
    platform::Typist& typist_;
    core::Timers& timers_;

    QString typed_;
    QString latest_;
    std::unique_ptr<core::PendingTimer> apply_;
    std::unique_ptr<core::PendingTimer> bound_;
    std::function<void(const QString&)> finish_;
    bool typesIntoApp_ = false;
    bool ended_ = true;
    bool listening_ = false;
};

}  // namespace pelix::dictation
