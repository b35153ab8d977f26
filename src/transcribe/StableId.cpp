#include "transcribe/StableId.h"

#include "media/Media.h"

#include <QCryptographicHash>
#include <QFileInfo>

#include <charconv>
#include <cmath>

namespace pelix::transcribe {
namespace {

// The shortest decimal that reads back as the same double, written in full with at least one
// digit after the point (1700000000.0, 1700000000.25, 0.0); beyond 2^53 and below 1e-4 in
// exponent form (1e+16).
QString shortestDecimal(double value) {
    char digits[400] = {};
    const double size = std::fabs(value);
    const bool plain = size == 0 || (size >= 1e-4 && size < 9007199254740992.0);
    const auto written =
        std::to_chars(digits, digits + sizeof digits, value,
                      plain ? std::chars_format::fixed : std::chars_format::scientific);
    QString text = QString::fromLatin1(digits, written.ptr - digits);
    if (plain && !text.contains('.')) text += ".0";
    return text;
}

}  // namespace

QString stableId(const QString& name, qint64 size, std::optional<double> createdSeconds) {
    const QString created = shortestDecimal(createdSeconds.value_or(0.0));
    const QByteArray text = (name + "|" + QString::number(size) + "|" + created).toUtf8();
    const QByteArray digest = QCryptographicHash::hash(text, QCryptographicHash::Sha256).toHex();
    return "video:" + QString::fromLatin1(digest.left(32));
}

QString stableId(const QString& file) {
    const QFileInfo info(file);
    const QDateTime born = info.birthTime();
    std::optional<double> created;
    if (born.isValid()) created = static_cast<double>(born.toMSecsSinceEpoch()) / 1000.0;
    return stableId(info.fileName(), info.size(), created);
}

std::optional<QDateTime> madeOn(const QString& file) {
    if (std::optional<QDateTime> date = media::creationDate(file)) return date;
    const QDateTime born = QFileInfo(file).birthTime();
    if (born.isValid()) return born;
    return std::nullopt;
}

}  // namespace pelix::transcribe
