#include "speech/TranscriptionServer.h"

#include "core/PrivateFile.h"
#include "core/Sentences.h"
#include "service/Api.h"
#include "service/HttpExchange.h"
#include "speech/ServerAnswer.h"
#include "speech/SpeechEngine.h"

#include <QEventLoop>
#include <QFile>
#include <QUuid>

#include <algorithm>
#include <cmath>
#include <memory>

namespace pelix::speech {
namespace {

// One multipart/form-data part.
QByteArray part(const QByteArray& boundary, const QByteArray& name, const QByteArray& value,
                const QByteArray& fileName = {}, const QByteArray& type = {}) {
    QByteArray out = "--" + boundary + "\r\nContent-Disposition: form-data; name=\"" + name + '"';
    if (!fileName.isEmpty()) out += "; filename=\"" + fileName + '"';
    out += "\r\n";
    if (!type.isEmpty()) out += "Content-Type: " + type + "\r\n";
    return out + "\r\n" + value + "\r\n";
}

// A file name as the quoted filename of a part's header may carry it.
QByteArray quotable(const QString& text) {
    QByteArray out = text.toUtf8();
    out.replace('"', "%22").replace('\r', "").replace('\n', "");
    return out;
}

}  // namespace

QString SpeechKeyStore::file() const {
    return folder_ + "/speech-key";
}

std::optional<QString> SpeechKeyStore::read() const {
    QFile f(file());
    if (!f.open(QIODevice::ReadOnly)) return std::nullopt;
    const QString key = QString::fromUtf8(f.readAll()).trimmed();
    if (key.isEmpty() || !isKey(key)) return std::nullopt;
    return key;
}

bool SpeechKeyStore::isKey(QStringView key) {
    return !key.isEmpty() && std::ranges::all_of(key, [](QChar c) {
        return c.unicode() > 0x20 && c.unicode() < 0x7f;
    });
}

Status SpeechKeyStore::write(const QString& key) const {
    const QString trimmed = key.trimmed();
    if (trimmed.isEmpty()) {
        if (QFile::exists(file()) && !QFile::remove(file())) {
            return fail(kSpeechEngineFailed, core::sentences::kCouldntRemoveServerKey);
        }
        return {};
    }
    if (!isKey(trimmed)) {
        return fail(kSpeechEngineFailed, core::sentences::kServerKeyRefused);
    }
    return core::writePrivateFile(file(), trimmed.toUtf8());
}

QUrl transcriptionsEndpoint(const QString& base) {
    QString text = base.trimmed();
    if (!text.contains("://")) text = "https://" + text;
    QUrl url(text);
    QString path = url.path();
    while (path.endsWith('/')) path.chop(1);
    if (!path.endsWith("/audio/transcriptions")) {
        path += path.endsWith("/v1") ? "/audio/transcriptions" : "/v1/audio/transcriptions";
    }
    url.setPath(path);
    return url;
}

std::optional<ServerSettings> ServerSettings::read(const core::Prefs& prefs,
                                                   const SpeechKeyStore& keys) {
    const QString base = prefs.string(kServerPref).value_or(QString()).trimmed();
    if (base.isEmpty()) return std::nullopt;
    ServerSettings settings;
    settings.endpoint = transcriptionsEndpoint(base);
    if (!settings.endpoint.isValid()) return std::nullopt;
    const QString model = prefs.string(kModelPref).value_or(QString()).trimmed();
    if (!model.isEmpty()) settings.model = model;
    bool number = false;
    const double megabytes = prefs.value(kLimitPref).toDouble(&number);
    if (number && megabytes > 0) {
        settings.uploadLimit = static_cast<qint64>(megabytes * 1000 * 1000);
    }
    settings.key = keys.read().value_or(QString());
    return settings;
}

Result<ServerClient::Answer> ServerClient::exchange(const ServerSettings& settings,
                                                    const QByteArray& method,
                                                    const QByteArray& contentType,
                                                    const QByteArray& body, double timeoutSeconds,
                                                    double silenceSeconds) {
    if (const auto unsafe = service::Api::unsafeBase(settings.endpoint)) {
        return fail(server::kUnreachable, server::unreachable(*unsafe));
    }
    service::HttpExchange::Request request;
    request.method = method;
    request.url = settings.endpoint;
    request.headers = {{"Accept", "application/json"}};
    if (!contentType.isEmpty()) request.headers.append({"Content-Type", contentType});
    if (!settings.key.isEmpty()) {
        request.headers.append({"Authorization", "Bearer " + settings.key.toUtf8()});
    }
    request.body = body;
    request.timeoutSeconds = timeoutSeconds;
    request.silenceSeconds = silenceSeconds;
    request.answerLimit = kAnswerLimit;

    QEventLoop loop;
    QObject canceller;
    std::optional<service::HttpExchange::Answer> answer;
    auto* exchange = new service::HttpExchange(
        std::move(request),
        [&](service::HttpExchange::Answer a) {
            answer = std::move(a);
            loop.quit();
        },
        &canceller);
    {
        std::lock_guard lock(mutex_);
        if (cancelled_) return fail(kSpeechCancelled, core::sentences::kListeningCancelled);
        inFlight_ = &canceller;
    }
    exchange->start();
    if (!answer) loop.exec();
    {
        std::lock_guard lock(mutex_);
        inFlight_ = nullptr;
    }
    if (cancelled_) return fail(kSpeechCancelled, core::sentences::kListeningCancelled);
    if (answer->failure) {
        return fail(server::kUnreachable, server::unreachable(answer->failure->message));
    }
    return Answer{answer->status, std::move(answer->body)};
}

Result<ServerClient::Answer> ServerClient::transcribe(const ServerSettings& settings,
                                                      const Piece& piece) {
    const QByteArray boundary = "pelix-" + QUuid::createUuid().toByteArray(QUuid::WithoutBraces);
    QByteArray body = part(boundary, "file", piece.sound, quotable(piece.fileName), piece.type);
    body += part(boundary, "model", settings.model.toUtf8());
    body += part(boundary, "response_format", "verbose_json");
    body += part(boundary, "timestamp_granularities[]", "word");
    body += part(boundary, "timestamp_granularities[]", "segment");
    if (!piece.language.isEmpty()) body += part(boundary, "language", piece.language.toUtf8());
    if (!piece.prompt.isEmpty()) body += part(boundary, "prompt", piece.prompt.toUtf8());
    body += "--" + boundary + "--\r\n";
    return exchange(settings, "POST", "multipart/form-data; boundary=" + boundary, body,
                    piece.timeoutSeconds, piece.silenceSeconds);
}

bool ServerClient::answers(const ServerSettings& settings, double timeoutSeconds) {
    // Any answer will do, a refusal of the GET included.
    return exchange(settings, "GET", {}, {}, timeoutSeconds, timeoutSeconds).has_value();
}

void ServerClient::cancel() {
    std::lock_guard lock(mutex_);
    cancelled_ = true;
    // The exchange lives on the waiting thread: it is cancelled there, if it is still going.
    if (inFlight_) {
        QMetaObject::invokeMethod(
            inFlight_,
            [canceller = inFlight_] {
                for (auto* exchange : canceller->findChildren<service::HttpExchange*>()) {
                    exchange->cancel();
                }
            },
            Qt::QueuedConnection);
    }
}

}  // namespace pelix::speech
