#pragma once

#include "core/Error.h"
#include "service/Api.h"

#include <QByteArray>
#include <QJsonObject>
#include <QString>

namespace pelix {

// The limits of a braindump; what the user reads on its road is in core/Sentences.h.
namespace braindump {
inline constexpr double kMinimumSeconds = 0.8;
inline constexpr double kLimitSeconds = 300;
inline constexpr double kUploadTimeout = 120;
}  // namespace braindump

// The body of one "braindump" request: the file whole in base64, its name, and the context.
Result<QByteArray> braindumpBody(const QString& path, const QJsonObject& context);

// The one line that tells the user how an upload went: `sentences::kInPelix`, the backend's
// own words, or its failure as `Api::describe` says it.
QString uploadLine(const RawAnswer& answer);

}  // namespace pelix
