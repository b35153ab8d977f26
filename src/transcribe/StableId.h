#pragma once

#include <QDateTime>
#include <QString>

#include <optional>

namespace pelix::transcribe {

// The identifier a file keeps when it is opened again: "video:" and the first 32 hex digits of
// the SHA-256 of "name|size|creation seconds" (the seconds as the shortest decimal that reads
// back the same, always with a digit after the point; 0.0 when unknown).
QString stableId(const QString& file);

// The same from the parts, for files that are not at hand.
QString stableId(const QString& name, qint64 size, std::optional<double> createdSeconds);

// When the file was made: the media's own creation date when it carries one, else the file
// system's birth time, else none.
std::optional<QDateTime> madeOn(const QString& file);

}  // namespace pelix::transcribe
