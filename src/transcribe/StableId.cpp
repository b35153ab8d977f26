#include "transcribe/StableId.h"

#include "media/Media.h"

#include <QCryptographicHash>
#include <QFileInfo>

#include <charconv>

namespace pelix {

QString stableId(const QString& name, qint64 size, std::optional<double> createdSeconds) {
    // The shortest decimal that reads back as the same double, always with a digit after the
    // point: 1700000000.25, 1700000000.0, 0.0.
    char digits[64] = {};
    const double seconds = createdSeconds.value_or(0.0);
    const auto written = std::to_chars(digits, digits + sizeof digits - 3, seconds);
    QString created = QString::fromLatin1(digits, written.ptr - digits);
    if (!created.contains('.') && !created.contains('e') && !created.contains("inf") &&
        !created.contains("nan")) {
        created += ".0";
    }
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

}  // namespace pelix
