#pragma once

// Pieces go as 16 kHz WAV: every server reads WAV, and whisper.cpp's reads nothing else without
// ffmpeg. A piece is sent as soon as more than a piece's worth has come, so memory holds one piece
// and a file's pieces go while it is still being decoded. A 413 answer sends the piece again in
// two, cut at a pause near its middle, and later pieces smaller. Each request may take 60 s plus
// twice the piece's length.

#include "core/Prefs.h"
#include "speech/SpeechEngine.h"
#include "speech/TranscriptionServer.h"

#include <atomic>

namespace pelix::speech {

// Recognition by any OpenAI-compatible transcription server (a whisper.cpp server, speaches,
// LocalAI, a hosted service), named by the preference "speech.server". It is configured while
// that preference holds an address, and then serves every language the Whisper models know.
// A session gathers the sound it is fed and sends it in pieces that end in pauses and stay under
// the server's size limit; each piece's answer becomes final stretches on the stream's axis. The
// settings and the key are read when a session starts, so changes apply to the next one.
class TranscriptionServerEngine final : public SpeechEngine {
public:
    static constexpr double kProbeSeconds = 2;

    TranscriptionServerEngine(core::Prefs prefs, SpeechKeyStore keys);

    std::optional<ServerSettings> settings() const;

    QString name() const override { return QStringLiteral("transcription server"); }
    // Language codes only ("de"): a server serves every region of a language.
    QStringList supportedLocales() const override;
    std::optional<QString> supportedLocale(const QString& requested) const override;
    bool installed(const QString& locale) const override;
    QString installHint(const QString& locale) const override;
    bool live() const override { return false; }
    // Asks the server (at most kProbeSeconds): call it off the main thread.
    bool reachable() const override;
    Result<std::unique_ptr<SpeechSession>> start(const QString& locale,
                                                 const SessionOptions& options,
                                                 SessionEvents events) override;
    // Sends the M4A itself, when it is under the upload limit: a quarter of the WAV's bytes and
    // no decoding here. A server that can't read it (whisper.cpp's, without ffmpeg) is sent WAV
    // from then on.
    std::optional<Result<QList<SpeechResult>>> hearFile(const QString& file, double seconds,
                                                        const QString& locale,
                                                        const SessionOptions& options,
                                                        const SessionEvents& events,
                                                        std::stop_token stop) override;

    // The language code a server is told for a locale ("en-US" → "en"), empty when the Whisper
    // models do not know it.
    static QString serverLanguage(const QString& locale);
    // The prompt made of names and terms to expect: joined by commas, at most about 200 words'
    // worth of characters.
    static QString prompt(const QStringList& words);

private:
    core::Prefs prefs_;
    SpeechKeyStore keys_;
    // The server refused a compressed file once.
    std::atomic<bool> wavOnly_ = false;
};

// A session on the server of `settings` (for trying settings before they are kept).
std::unique_ptr<SpeechSession> serverSession(ServerSettings settings, const QString& locale,
                                             const SessionOptions& options, SessionEvents events);

}  // namespace pelix::speech
