#include "speech/TranscriptionServer.h"

#include "core/PrivateFile.h"
#include "core/Sentences.h"
#include "service/Api.h"
#include "speech/ServerAnswer.h"
#include "speech/SpeechEngine.h"

#include <QEventLoop>
#include <QFile>
#include <QHttpMultiPart>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTimer>

#include <algorithm>
#include <cmath>
#include <memory>

namespace pelix::speech {
namespace {

QHttpPart field(const QByteArray& name, const QByteArray& value) {
    QHttpPart part;
    part.setHeader(QNetworkRequest::ContentDispositionHeader,
                   QByteArray("form-data; name=\"" + name + "\""));
    part.setBody(value);
    return part;
}

QNetworkRequest request(const ServerSettings& settings, double timeoutSeconds) {
    QNetworkRequest r(settings.endpoint);
    r.setTransferTimeout(static_cast<int>(std::lround(timeoutSeconds * 1000)));
    // A redirect is the server's answer, not an address to carry the key to.
    r.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    if (!settings.key.isEmpty()) r.setRawHeader("Authorization", "Bearer " + settings.key.toUtf8());
    return r;
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
    if (!text.contains("://")) text = "http://" + text;
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

template <class Send>
Result<ServerClient::Answer> ServerClient::wait(const Send& send, double timeoutSeconds) {
    // A manager of the calling thread, so that the reply and the loop below share one thread.
    QNetworkAccessManager network;
    QNetworkReply* reply = nullptr;
    {
        std::lock_guard lock(mutex_);
        if (cancelled_) return fail(kSpeechCancelled, core::sentences::kListeningCancelled);
        reply = send(network);
        inFlight_ = reply;
    }
    QEventLoop loop;
    QObject::connect(reply, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    // The request's limit is on silence; this one is on the whole exchange, however slowly the
    // server trickles.
    QTimer limit;
    limit.setSingleShot(true);
    QObject::connect(&limit, &QTimer::timeout, reply, &QNetworkReply::abort);
    limit.start(static_cast<int>(std::lround(std::clamp(timeoutSeconds, 0.0, 86400.0) * 1000)));
    if (!reply->isFinished()) loop.exec();
    {
        std::lock_guard lock(mutex_);
        inFlight_ = nullptr;
    }
    const std::unique_ptr<QNetworkReply> owned(reply);
    if (cancelled_) return fail(kSpeechCancelled, core::sentences::kListeningCancelled);
    const QVariant status = reply->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (!status.isValid()) {
        return fail(server::kUnreachable,
                    server::unreachable(service::Api::transportError(reply).message));
    }
    return Answer{status.toInt(), reply->readAll()};
}

Result<ServerClient::Answer> ServerClient::transcribe(const ServerSettings& settings,
                                                      const Piece& piece) {
    return wait(
        [&](QNetworkAccessManager& network) {
            auto* parts = new QHttpMultiPart(QHttpMultiPart::FormDataType);
            QHttpPart file;
            file.setHeader(
                QNetworkRequest::ContentDispositionHeader,
                "form-data; name=\"file\"; filename=\"" + piece.fileName.toUtf8() + "\"");
            file.setHeader(QNetworkRequest::ContentTypeHeader, piece.type);
            file.setBody(piece.sound);
            parts->append(file);
            parts->append(field("model", settings.model.toUtf8()));
            parts->append(field("response_format", "verbose_json"));
            parts->append(field("timestamp_granularities[]", "word"));
            parts->append(field("timestamp_granularities[]", "segment"));
            if (!piece.language.isEmpty())
                parts->append(field("language", piece.language.toUtf8()));
            if (!piece.prompt.isEmpty()) parts->append(field("prompt", piece.prompt.toUtf8()));
            QNetworkReply* reply = network.post(request(settings, piece.timeoutSeconds), parts);
            parts->setParent(reply);
            return reply;
        },
        piece.timeoutSeconds);
}

bool ServerClient::answers(const ServerSettings& settings, double timeoutSeconds) {
    return wait(
               [&](QNetworkAccessManager& network) {
                   return network.get(request(settings, timeoutSeconds));
               },
               timeoutSeconds)
        .has_value();
}

void ServerClient::cancel() {
    std::lock_guard lock(mutex_);
    cancelled_ = true;
    // The reply lives on the waiting thread: it is aborted there.
    if (inFlight_)
        QMetaObject::invokeMethod(inFlight_, &QNetworkReply::abort, Qt::QueuedConnection);
}

}  // namespace pelix::speech
