#pragma once

#include "core/Error.h"
#include "core/Word.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <stop_token>

namespace pelix::speech {

// Sample format every engine is fed: signed 16-bit, mono, this rate.
inline constexpr int kSpeechSampleRate = 16000;

// Error codes of the speech layer.
enum : int {
    kSpeechNoModel = 2001,       // the locale's model is not on this machine
    kSpeechEngineFailed = 2002,  // the recogniser could not start or decode
    kSpeechCancelled = 2003,     // the session was cancelled
};

// One final stretch of speech: its time range and the time range of each word, in seconds from
// the start of the stream.
struct SpeechResult {
    double start = 0;
    double end = 0;
    QString text;
    QList<core::Word> words;

    bool operator==(const SpeechResult&) const = default;
};

struct SessionOptions {
    // Report partial texts (live dictation). File runs leave it off.
    bool partials = false;
    // Names and terms to expect. Words the engine cannot use are ignored (and logged).
    QStringList words;
    // Hear the sound as it comes, quickly: small steps with a partial text after each and only
    // the fast search while the sound comes. `finish` then reports the text as heard live
    // (`SessionEvents::heard`) and makes the slower, more accurate passes once over the whole
    // stream; their text is what it returns. The word times of a live session are rough (the
    // whole stream is one stretch): file runs, which need them, leave it off.
    bool live = false;
};

// What a session reports. Each runs on the thread that calls `feed` or `finish`, in order.
struct SessionEvents {
    // The whole text of the session so far, final stretches and the one being heard; only
    // when asked for, and only when it changed. Later texts may revise earlier ones.
    std::function<void(const QString&)> partial;
    // Each stretch as soon as it is final.
    std::function<void(const SpeechResult&)> final;
    // Live sessions only, from `finish`: the whole text as heard live, before the accurate
    // passes; what `finish` returns may differ from it.
    std::function<void(const QString&)> heard = nullptr;
};

// One recognition over a stream of 16 kHz mono PCM: live from a microphone or a whole file.
class SpeechSession {
public:
    virtual ~SpeechSession() = default;
    // Hands over the next samples; decodes them on the calling thread.
    virtual Status feed(std::span<const int16_t> samples) = 0;
    // Ends the stream: the last stretch becomes final. Returns the whole final text (the final
    // stretches joined by spaces). Fails with kSpeechCancelled after `cancel`.
    virtual Result<QString> finish() = 0;
    // Stops the session: nothing more is reported and later calls fail with kSpeechCancelled.
    // Safe to call from any thread.
    virtual void cancel() = 0;
};

// A speech recogniser for some locales. Locales are BCP 47 identifiers ("en-US").
class SpeechEngine {
public:
    virtual ~SpeechEngine() = default;

    // A short name for logs ("pocketsphinx").
    virtual QString name() const = 0;
    // Every locale the engine can serve, installed or not.
    virtual QStringList supportedLocales() const = 0;
    // The supported locale that serves `requested` ("en", "en_US" and "en-GB" may all be served
    // by "en-US"), or none.
    virtual std::optional<QString> supportedLocale(const QString& requested) const = 0;
    // Whether the model of a supported locale is on this machine.
    virtual bool installed(const QString& locale) const = 0;
    // When not installed: one sentence saying what to install.
    virtual QString installHint(const QString& locale) const = 0;
    // Whether it hears as the sound comes, with partial texts while someone speaks (what live
    // dictation needs), rather than only once the sound has ended.
    virtual bool live() const { return true; }
    // Whether it can serve right now. An engine on another machine asks it, which may take a
    // moment: call it off the main thread.
    virtual bool reachable() const { return true; }
    // Gets ready for a `start` with these options, so that it is quick (a model loaded ahead).
    // May take seconds: call it off the main thread.
    virtual void prepare(const QString& /*locale*/, const SessionOptions& /*options*/) {}
    // Starts a session in a supported, installed locale. Takes a noticeable moment (the model is
    // loaded, unless `prepare` or an earlier session left one ready): call it off the main
    // thread.
    virtual Result<std::unique_ptr<SpeechSession>> start(const QString& locale,
                                                         const SessionOptions& options,
                                                         SessionEvents events) = 0;
    // Hears a whole M4A sound file of `seconds` as it is, without decoding it here, when the
    // engine can: the final stretches (also handed to `events.final`), or its failure. None when
    // it can't take this file whole; the caller then feeds a session. Blocks; `stop` ends it
    // with kSpeechCancelled.
    virtual std::optional<Result<QList<SpeechResult>>> hearFile(const QString& /*file*/,
                                                                double /*seconds*/,
                                                                const QString& /*locale*/,
                                                                const SessionOptions& /*options*/,
                                                                const SessionEvents& /*events*/,
                                                                std::stop_token /*stop*/) {
        return std::nullopt;
    }
};

}  // namespace pelix::speech
