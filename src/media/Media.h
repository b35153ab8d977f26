#pragma once

// Everything that reads or writes sound goes through FFmpeg's libraries (libavformat,
// libavcodec, libavutil, libswresample); nothing here knows about speech. Every file this layer
// writes starts as a hidden file beside its target, made with O_EXCL and mode 0600 before FFmpeg
// opens it (so it is private from its first byte and no planted file or link is written through)
// and tracked by core/TempFiles until it is moved into place, so an interrupted run leaves none.
// `cut` decodes, trims and encodes again: a stream copy would land on 1024-sample AAC packets.

#include "core/Error.h"

#include <QDateTime>
#include <QString>

#include <optional>

namespace pelix::media {

// Error codes of the media layer.
enum : int {
    kNotMedia = 1001,      // the file could not be opened as audio or video
    kNoSound = 1002,       // the file has no audio track
    kExportFailed = 1003,  // decoding or encoding went wrong half-way
    kWriteFailed = 1004,   // the output file could not be made
    kBadRange = 1005,      // a cut outside the file or of no length
};

// The length of an audio or video file in seconds.
Result<double> duration(const QString& file);

// The date the media says it was made (its "creation_time" metadata), when it carries one.
std::optional<QDateTime> creationDate(const QString& file);

// The first audio track of `file` as a new M4A file (AAC-LC, 44.1 kHz, mono, 64 kbit/s) in the
// temporary folder, named "pelix-" + a new UUID + ".m4a". The caller removes it. Fails, leaving
// no file behind, with one of three sentences: the file is not media, it has no sound, or the
// export went wrong.
Result<QString> extractAudio(const QString& file);

// The stretch [start, end) seconds of the first audio track of `source` as a new M4A file at
// `target` (AAC-LC, 44.1 kHz, mono, 64 kbit/s), exact to the sample at 44.1 kHz. `end` past the
// file's end stops at the end. `target` appears only when the whole cut succeeded.
Status cut(const QString& source, double start, double end, const QString& target);

}  // namespace pelix::media
