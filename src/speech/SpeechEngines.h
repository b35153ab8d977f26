#pragma once

#include "core/Worker.h"
#include "speech/SpeechEngine.h"

#include <QObject>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace pelix::speech {

// The speech engines of the process, in order of preference. Callers ask it for the engine of a
// locale, so another engine can sit beside PocketSphinx without any caller changing.
class SpeechEngines {
public:
    SpeechEngines() = default;
    SpeechEngines(SpeechEngines&&) = default;
    SpeechEngines& operator=(SpeechEngines&&) = default;

    enum class Kind { all, local, server };
    // The engines of this machine: the transcription server of the preferences (which serves
    // only while "speech.server" names one), then PocketSphinx with the system model and the
    // user's models. `kind` keeps only the local engine or only the server.
    static SpeechEngines standard(Kind kind = Kind::all);

    void add(std::unique_ptr<SpeechEngine> engine);

    struct Choice {
        QString locale;
        SpeechEngine* engine = nullptr;
    };
    // The first engine, in order, with a locale equivalent to `requested`. Asks no server.
    std::optional<Choice> resolve(const QString& requested) const;
    // The engine for transcribing a file: the first, in order, that serves `requested`, has its
    // model and is reachable (a server is asked only when no engine before it is ready); else
    // what `resolve` gives, whose failure then says what is wrong. May take a moment.
    std::optional<Choice> forFiles(const QString& requested) const;
    // The engine for live dictation: the first live engine that serves `requested`.
    std::optional<Choice> forDictation(const QString& requested) const;
    // The supported locales of every engine in order (duplicates left in).
    QStringList locales() const;

    const std::vector<std::unique_ptr<SpeechEngine>>& engines() const { return engines_; }

private:
    std::vector<std::unique_ptr<SpeechEngine>> engines_;
};

// Runs `session` over the whole of `pcm` (16 kHz mono 16-bit) on `worker` and calls `done` with
// its text on the worker's owner's thread. The returned function, called on that same thread,
// stops the work: the session is cancelled and `done` is not called.
std::function<void()> hearInBackground(core::Worker& worker, std::unique_ptr<SpeechSession> session,
                                       QByteArray pcm, std::function<void(Result<QString>)> done);

// "en_us", "EN-us" → "en-US": the spelling locales are compared in.
QString normalizedLocale(const QString& identifier);

// The name of a locale for people, in the user's language ("English (United States)"); the
// identifier itself when there is no such name.
QString localeDisplayName(const QString& identifier);

}  // namespace pelix::speech
