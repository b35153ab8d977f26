#include "speech/TranscriptionServerEngine.h"

#include "core/Console.h"
#include "core/Log.h"
#include "core/Sentences.h"
#include "speech/AudioPieces.h"
#include "speech/ServerAnswer.h"
#include "speech/SpeechEngines.h"

#include <QFile>
#include <QSet>

#include <algorithm>
#include <vector>

namespace pelix::speech {
namespace {

// The languages of the Whisper models, by ISO 639 code (Javanese and Norwegian Bokmål are
// told to the server under the models' own codes).
const QStringList& whisperLanguages() {
    static const QStringList codes{
        "af", "am", "ar", "as", "az", "ba", "be", "bg", "bn", "bo",  "br", "bs", "ca", "cs", "cy",
        "da", "de", "el", "en", "es", "et", "eu", "fa", "fi", "fo",  "fr", "gl", "gu", "ha", "haw",
        "he", "hi", "hr", "ht", "hu", "hy", "id", "is", "it", "ja",  "jv", "ka", "kk", "km", "kn",
        "ko", "la", "lb", "ln", "lo", "lt", "lv", "mg", "mi", "mk",  "ml", "mn", "mr", "ms", "mt",
        "my", "nb", "ne", "nl", "nn", "no", "oc", "pa", "pl", "ps",  "pt", "ro", "ru", "sa", "sd",
        "si", "sk", "sl", "sn", "so", "sq", "sr", "su", "sv", "sw",  "ta", "te", "tg", "th", "tk",
        "tl", "tr", "tt", "uk", "ur", "uz", "vi", "yi", "yo", "yue", "zh"};
    return codes;
}

constexpr int kRate = kSpeechSampleRate;
// Room in a request for the multipart frame and its text fields.
constexpr qint64 kFrameBytes = 16 * 1024;
// A piece the server finds too large is sent again in two; below this many seconds it is not.
constexpr double kSmallestPiece = 5;
constexpr qsizetype kPromptLimit = 800;

Error cancelled() {
    return Error::pelix(kSpeechCancelled, core::sentences::kListeningCancelled);
}

// The stretches of a piece from the server's answer, or the sentence of its refusal, without
// the key.
Result<QList<SpeechResult>> heard(const ServerClient::Answer& answer,
                                  const ServerSettings& settings, double offset, double seconds) {
    if (answer.status < 200 || answer.status > 299) {
        return fail(answer.status,
                    server::refusal(answer.status, answer.body, settings.endpoint, settings.key));
    }
    Result<QList<SpeechResult>> stretches = server::readAnswer(answer.body, offset, seconds);
    if (!stretches) {
        return fail(stretches.error().code,
                    core::console::withoutSecret(stretches.error().message, settings.key));
    }
    return stretches;
}

class ServerSession final : public SpeechSession {
public:
    ServerSession(ServerSettings settings, QString language, QString prompt, SessionEvents events)
        : settings_(std::move(settings)),
          language_(std::move(language)),
          prompt_(std::move(prompt)),
          events_(std::move(events)) {
        const qint64 room = settings_.uploadLimit - kFrameBytes - server::kWavHeader;
        limit_ = std::max<qsizetype>(kRate, static_cast<qsizetype>(room / 2));
    }

    Status feed(std::span<const int16_t> samples) override {
        if (client_.cancelled()) return std::unexpected(cancelled());
        buffer_.insert(buffer_.end(), samples.begin(), samples.end());
        while (static_cast<qsizetype>(buffer_.size()) > limit_) {
            const qsizetype length = server::pieceLength(buffer_, limit_, kRate);
            if (Status sent = send(std::span(buffer_).first(static_cast<size_t>(length))); !sent) {
                return sent;
            }
            buffer_.erase(buffer_.begin(), buffer_.begin() + length);
        }
        return {};
    }

    Result<QString> finish() override {
        if (client_.cancelled()) return std::unexpected(cancelled());
        if (!buffer_.empty()) {
            if (Status sent = send(buffer_); !sent) return std::unexpected(sent.error());
            buffer_.clear();
        }
        return finals_.join(' ');
    }

    void cancel() override { client_.cancel(); }

private:
    Status send(std::span<const int16_t> piece) {
        const double seconds = double(piece.size()) / kRate;
        const ServerClient::Piece request{.sound = server::wavFile(piece, kRate),
                                          .language = language_,
                                          .prompt = prompt_,
                                          .timeoutSeconds = 60 + 2 * seconds};
        Result<ServerClient::Answer> answer = client_.transcribe(settings_, request);
        if (!answer) return std::unexpected(answer.error());
        if (answer->status == 413 && seconds > 2 * kSmallestPiece) {
            // The server takes less than it was said to: two pieces, cut at a pause near the
            // middle, and smaller pieces from now on.
            const auto size = static_cast<qsizetype>(piece.size());
            limit_ = std::min(limit_, size * 5 / 8);
            const auto first = static_cast<size_t>(server::pieceLength(piece, limit_, kRate));
            if (Status sent = send(piece.first(first)); !sent) return sent;
            return send(piece.subspan(first));
        }
        const Result<QList<SpeechResult>> stretches = heard(*answer, settings_, offset_, seconds);
        if (!stretches) return std::unexpected(stretches.error());
        offset_ += seconds;
        for (const SpeechResult& stretch : *stretches) {
            if (client_.cancelled()) return std::unexpected(cancelled());
            finals_ << stretch.text;
            if (events_.final) events_.final(stretch);
        }
        return {};
    }

    ServerSettings settings_;
    QString language_;
    QString prompt_;
    SessionEvents events_;
    ServerClient client_;
    qsizetype limit_ = 0;  // samples per piece
    std::vector<int16_t> buffer_;
    double offset_ = 0;  // seconds of the stream already sent
    QStringList finals_;
};

}  // namespace

TranscriptionServerEngine::TranscriptionServerEngine(core::Prefs prefs, SpeechKeyStore keys)
    : prefs_(std::move(prefs)), keys_(std::move(keys)) {}

std::optional<ServerSettings> TranscriptionServerEngine::settings() const {
    return ServerSettings::read(prefs_, keys_);
}

QStringList TranscriptionServerEngine::supportedLocales() const {
    return settings() ? whisperLanguages() : QStringList();
}

std::optional<QString> TranscriptionServerEngine::supportedLocale(const QString& requested) const {
    if (serverLanguage(requested).isEmpty() || !settings()) return std::nullopt;
    return normalizedLocale(requested);
}

bool TranscriptionServerEngine::installed(const QString&) const {
    return settings().has_value();
}

QString TranscriptionServerEngine::installHint(const QString&) const {
    return core::sentences::kServerNeedsAddress;
}

bool TranscriptionServerEngine::reachable() const {
    const std::optional<ServerSettings> found = settings();
    if (!found) return false;
    ServerClient client;
    return client.answers(*found, kProbeSeconds);
}

Result<std::unique_ptr<SpeechSession>> TranscriptionServerEngine::start(
    const QString& locale, const SessionOptions& options, SessionEvents events) {
    std::optional<ServerSettings> found = settings();
    if (!found) return fail(kSpeechNoModel, installHint(locale));
    return serverSession(std::move(*found), locale, options, std::move(events));
}

std::optional<Result<QList<SpeechResult>>> TranscriptionServerEngine::hearFile(
    const QString& file, double seconds, const QString& locale, const SessionOptions& options,
    const SessionEvents& events, std::stop_token stop) {
    const std::optional<ServerSettings> found = settings();
    QFile sound(file);
    if (wavOnly_ || !found || sound.size() + kFrameBytes > found->uploadLimit ||
        !sound.open(QIODevice::ReadOnly)) {
        return std::nullopt;
    }
    ServerClient client;
    const std::stop_callback onStop(stop, [&client] { client.cancel(); });
    const ServerClient::Piece piece{.sound = sound.readAll(),
                                    .language = serverLanguage(locale),
                                    .prompt = prompt(options.words),
                                    .timeoutSeconds = 60 + 2 * seconds,
                                    .fileName = QStringLiteral("sound.m4a"),
                                    .type = "audio/mp4"};
    const Result<ServerClient::Answer> answer = client.transcribe(*found, piece);
    if (!answer) return std::unexpected(answer.error());
    const int status = answer->status;
    if (status == 401 || status == 403 || status == 404 || status == 429) {
        return heard(*answer, *found, 0, seconds);  // WAV would be refused the same way
    }
    if (status < 200 || status > 299) {
        // Only a refusal of the format says the server never reads M4A; a failure on its side
        // (5xx) or a redirect says nothing about it, and this file alone goes as WAV.
        const bool format = status == 400 || status == 415 || status == 422;
        if (format) wavOnly_ = true;
        if (status != 413) {
            core::logLine("speech",
                          QStringLiteral("the transcription server did not take M4A (%1); %2")
                              .arg(status)
                              .arg(format ? "sending it WAV from now on" : "sending this one WAV"));
        }
        return std::nullopt;
    }
    Result<QList<SpeechResult>> stretches = heard(*answer, *found, 0, seconds);
    if (stretches && events.final) {
        for (const SpeechResult& stretch : *stretches) events.final(stretch);
    }
    return stretches;
}

std::unique_ptr<SpeechSession> serverSession(ServerSettings settings, const QString& locale,
                                             const SessionOptions& options, SessionEvents events) {
    return std::make_unique<ServerSession>(
        std::move(settings), TranscriptionServerEngine::serverLanguage(locale),
        TranscriptionServerEngine::prompt(options.words), std::move(events));
}

QString TranscriptionServerEngine::serverLanguage(const QString& locale) {
    const QString language = normalizedLocale(locale).section('-', 0, 0);
    if (!whisperLanguages().contains(language)) return {};
    if (language == "jv") return QStringLiteral("jw");
    if (language == "nb") return QStringLiteral("no");
    return language;
}

QString TranscriptionServerEngine::prompt(const QStringList& words) {
    QStringList kept;
    QSet<QString> seen;
    qsizetype length = 0;
    for (const QString& word : words) {
        const QString trimmed = word.simplified();
        if (trimmed.isEmpty() || seen.contains(trimmed)) continue;
        if (length + trimmed.size() + 2 > kPromptLimit) break;
        seen.insert(trimmed);
        kept << trimmed;
        length += trimmed.size() + 2;
    }
    return kept.join(QStringLiteral(", "));
}

}  // namespace pelix::speech
