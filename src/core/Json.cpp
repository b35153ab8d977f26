#include "core/Json.h"

#include <QJsonArray>
#include <QJsonDocument>

namespace pelix::core::json {

QByteArray compact(const QJsonObject& object) {
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QByteArray compact(const QJsonArray& array) {
    return QJsonDocument(array).toJson(QJsonDocument::Compact);
}

std::optional<QJsonObject> parseObject(const QByteArray& data) {
    QJsonParseError error{};
    const QJsonDocument doc = QJsonDocument::fromJson(data, &error);
    if (error.error != QJsonParseError::NoError || !doc.isObject()) return std::nullopt;
    return doc.object();
}

QString isoDate(const QDateTime& time) {
    return time.toOffsetFromUtc(time.offsetFromUtc()).toString(Qt::ISODate);
}

}  // namespace pelix::core::json
