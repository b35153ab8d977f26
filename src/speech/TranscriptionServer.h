#pragma once

#include "core/Error.h"
#include "core/Prefs.h"

#include <QByteArray>
#include <QString>
#include <QUrl>

#include <atomic>
#include <mutex>
#include <optional>

class QObject;

namespace pelix::speech {

// The key of the transcription server, in the private file "speech-key" of the Pelix data
// folder (0600 in a 0700 folder). Read anew on every use; it never goes into a log or a message.
class SpeechKeyStore {
public:
    explicit SpeechKeyStore(QString folder) : folder_(std::move(folder)) {}

    // The key with white space trimmed, or none (also when the file holds something that is
    // not a key).
    std::optional<QString> read() const;
    // Stores the key; an empty one removes the file. A key is one word of printable ASCII:
    // anything else (a line break would add headers to the request) is refused with a sentence.
    Status write(const QString& key) const;
    static bool isKey(QStringView key);

private:
    QString file() const;
    QString folder_;
};

// Where and how to reach an OpenAI-compatible transcription server.
struct ServerSettings {
    static constexpr auto kServerPref = "speech.server";
    static constexpr auto kModelPref = "speech.model";
    static constexpr auto kLimitPref = "speech.uploadLimitMB";
    static constexpr auto kDefaultModel = "whisper-1";
    static constexpr double kDefaultLimitMB = 25;

    // The transcriptions address ("…/v1/audio/transcriptions").
    QUrl endpoint;
    QString model = kDefaultModel;
    // Sent as "Authorization: Bearer …" when not empty.
    QString key;
    // The most bytes one request may carry.
    qint64 uploadLimit = static_cast<qint64>(kDefaultLimitMB * 1000 * 1000);

    // The settings of "speech.server" (none when it is unset or blank), "speech.model" and
    // "speech.uploadLimitMB", with the stored key.
    static std::optional<ServerSettings> read(const core::Prefs& prefs, const SpeechKeyStore& keys);
};

// The transcriptions address of a server named by its base address: "http://localhost:8080",
// "api.example.com/v1" (https) and "https://api.example.com/v1" all work; an address that
// already ends in "/audio/transcriptions" stands as it is.
QUrl transcriptionsEndpoint(const QString& base);

// Requests to a transcription server, over the backend client's own HTTP exchange and under its
// rules: https, or plain http only to this computer (the key is never sent in clear); answers
// read within a limit, a time limit on the whole exchange and one on silence; redirects are
// answers. Each is waited for on the calling thread with an event loop of its own, so call it
// from a worker thread, never the main thread. `cancel` may come from any thread: the request
// in flight is abandoned and later ones are not sent.
class ServerClient {
public:
    struct Answer {
        int status = 0;
        QByteArray body;
    };
    struct Piece {
        QByteArray sound = {};
        QString language = {};  // ISO 639-1; empty lets the server tell
        QString prompt = {};    // names and terms to expect; empty for none
        double timeoutSeconds = 60;
        // A server that sends nothing for this long is given up on, however long the whole may
        // take.
        double silenceSeconds = 90;
        // The form's file name and type: WAV unless a compressed file is sent as it is.
        QString fileName = QStringLiteral("speech.wav");
        QByteArray type = "audio/wav";
    };

    // Posts one piece of sound (multipart: the sound file, the model, verbose_json with word and
    // segment times, the language and prompt when given). Any HTTP answer is handed back; no
    // whole answer (none at all, too large, cut off, too slow, or an address that would send the
    // key in clear) fails with server::kUnreachable and the sentence that says so.
    Result<Answer> transcribe(const ServerSettings& settings, const Piece& piece);
    // Whether the server answers at all within `timeoutSeconds` (any HTTP status counts).
    bool answers(const ServerSettings& settings, double timeoutSeconds);

    void cancel();
    bool cancelled() const { return cancelled_; }

    // The most bytes of an answer that are read.
    static constexpr qint64 kAnswerLimit = 32 * 1024 * 1024;

private:
    Result<Answer> exchange(const ServerSettings& settings, const QByteArray& method,
                            const QByteArray& contentType, const QByteArray& body,
                            double timeoutSeconds, double silenceSeconds);

    std::mutex mutex_;
    // The waiting thread's object through which `cancel` reaches the exchange in flight.
    QObject* inFlight_ = nullptr;
    std::atomic<bool> cancelled_ = false;
};

}  // namespace pelix::speech
