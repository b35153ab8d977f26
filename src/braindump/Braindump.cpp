#include "braindump/Braindump.h"

#include "core/Json.h"
#include "core/Sentences.h"

#include <QFile>
#include <QFileInfo>

namespace pelix {

Result<QByteArray> braindumpBody(const QString& path, const QJsonObject& context) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) return fail(1, sentences::kRecordingUnreadable);
    const QByteArray audio = file.readAll();
    if (file.error() != QFileDevice::NoError) return fail(1, sentences::kRecordingUnreadable);
    return json::compact(QJsonObject{
        {"audio_base64", QString::fromLatin1(audio.toBase64())},
        {"filename", QFileInfo(path).fileName()},
        {"context", context},
    });
}

QString uploadLine(const RawAnswer& answer) {
    // The token went between the start of the recording and its upload.
    if (answer.noToken) return sentences::kRecordingUnreadable;
    if (answer.transport) return Api::describe(*answer.transport);
    if (const auto object = json::parseObject(answer.body)) {
        const QJsonValue error = object->value("error");
        if (error.isString()) return error.toString();
    }
    if (answer.status == 200) return sentences::kInPelix;
    return sentences::pelixAnswered(answer.status);
}

}  // namespace pelix
