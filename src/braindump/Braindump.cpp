#include "braindump/Braindump.h"

#include "braindump/Outbox.h"

#include "core/Json.h"
#include "core/Log.h"
#include "core/Sentences.h"
#include "core/Worker.h"

#include <QFile>
#include <QFileInfo>
#include <QPointer>

#include <memory>

namespace pelix::braindump {

Result<QByteArray> braindumpBody(const QString& path, const QJsonObject& context) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return fail(1, core::sentences::kRecordingUnreadable);
    const QByteArray audio = file.readAll();
    if (file.error() != QFileDevice::NoError) return fail(1, core::sentences::kRecordingUnreadable);
    return core::json::compact(QJsonObject{
        {"audio_base64", QString::fromLatin1(audio.toBase64())},
        {"filename", QFileInfo(path).fileName()},
        {"context", context},
    });
}

QString uploadLine(const service::RawAnswer& answer) {
    // The token went between the start of the recording and its upload.
    if (answer.noToken) return core::sentences::kRecordingUnreadable;
    if (answer.transport) return service::Api::describe(*answer.transport);
    if (const auto object = core::json::parseObject(answer.body)) {
        const QJsonValue error = object->value("error");
        if (error.isString()) return error.toString();
    }
    if (answer.status == 200) return core::sentences::kInPelix;
    return core::sentences::pelixAnswered(answer.status);
}

BraindumpSender::BraindumpSender(service::Api& api, Outbox* outbox, QObject* parent)
    : QObject(parent), api_(api), outbox_(outbox), worker_(this) {}

void BraindumpSender::send(const QString& path, double seconds,
                           std::function<void(Result<QString>)> done) {
    // Reading and encoding the file takes tens of milliseconds for a long recording: the worker
    // does it, and the request goes out from here once it is done.
    auto read = [path, context = api_.context("voice", seconds)] {
        return braindumpBody(path, context);
    };
    worker_.run(std::move(read), [this, path, seconds,
                                  done = std::move(done)](const Result<QByteArray>& body) mutable {
        if (!body) return done(std::unexpected(body.error()));
        core::logLine("braindump", QStringLiteral("sending %1 (%2 s)")
                                       .arg(QFileInfo(path).fileName())
                                       .arg(seconds, 0, 'f', 1));
        QPointer<BraindumpSender> self(this);
        QPointer<Outbox> outbox(outbox_);
        api_.post("braindump", *body, std::nullopt, braindump::kUploadTimeout,
                  [self, outbox, path, sent = *body,
                   done = std::move(done)](service::RawAnswer answer) mutable {
                      const QString line = uploadLine(answer);
                      if (!outbox || !outbox->enabled() || !outbox::unreached(answer)) {
                          QFile::remove(path);
                          if (self) done(line);
                          return;
                      }
                      // The recording goes only once its words are safely in the outbox.
                      outbox->keep(sent, [self, path, line, done = std::move(done)](Status kept) {
                          QFile::remove(path);
                          if (self) done(kept ? QString(core::sentences::kSavedForLater) : line);
                      });
                  });
    });
}

}  // namespace pelix::braindump
