#include "braindump/Braindump.h"

#include "core/Json.h"

#include <QFile>
#include <QFileInfo>

namespace pelix {

Result<QByteArray> braindumpBody(const QString& path, const QJsonObject& context) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return fail(1, braindump::kUnreadable);
    const QByteArray audio = file.readAll();
    if (file.error() != QFileDevice::NoError) return fail(1, braindump::kUnreadable);
    return json::compact(QJsonObject{
        {"audio_base64", QString::fromLatin1(audio.toBase64())},
        {"filename", QFileInfo(path).fileName()},
        {"context", context},
    });
}

QString uploadLine(const RawAnswer& answer) {
    // The token went between the start of the recording and its upload.
    if (answer.noToken) return braindump::kUnreadable;
    if (answer.transport) return braindump::kUnreachable + answer.transport->message;
    if (const auto object = json::parseObject(answer.body)) {
        const QJsonValue error = object->value("error");
        if (error.isString()) return error.toString();
    }
    if (answer.status == 200) return braindump::kFiled;
    return QStringLiteral("Pelix answered %1.").arg(answer.status);
}

}  // namespace pelix
