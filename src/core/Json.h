#pragma once

#include <QByteArray>
#include <QDateTime>
#include <QJsonObject>
#include <QString>

#include <optional>

namespace pelix::core::json {

// Compact serialisation, no spaces or line breaks.
QByteArray compact(const QJsonObject& object);
QByteArray compact(const QJsonArray& array);

// The object in `data`, or none when `data` is not a JSON object.
std::optional<QJsonObject> parseObject(const QByteArray& data);

// ISO 8601 internet date-time with the local offset ("2026-11-21T09:30:00+01:00").
QString isoDate(const QDateTime& time);

}  // namespace pelix::core::json
