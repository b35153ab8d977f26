#include "media/Media.h"

#include "core/Paths.h"
#include "media/AacWriter.h"
#include "media/AudioDecoder.h"
#include "media/FFmpeg.h"

#include <QDir>
#include <QFile>
#include <QUuid>

#include <cmath>

namespace pelix::media {
namespace {

// Copies decoded samples [from, to) of the first audio track of `source` into `writer`; `to`
// below zero means to the end.
Status copySamples(AudioDecoder& decoder, AacWriter& writer, int64_t from, int64_t to) {
    std::vector<int16_t> block;
    int64_t at = 0;
    for (;;) {
        Result<bool> more = decoder.read(block);
        if (!more) return std::unexpected(more.error());
        if (!*more) break;
        const int64_t blockEnd = at + static_cast<int64_t>(block.size());
        const int64_t first = std::max(at, from);
        const int64_t last = to < 0 ? blockEnd : std::min(blockEnd, to);
        if (first < last) {
            const std::span<const int16_t> part(block.data() + (first - at),
                                                static_cast<size_t>(last - first));
            if (Status s = writer.write(part); !s) return s;
        }
        at = blockEnd;
        if (to >= 0 && at >= to) break;
    }
    return {};
}

}  // namespace

Result<double> duration(const QString& file) {
    ff::Input input = ff::openInput(file);
    if (!input) return fail(kNotMedia, ff::notMediaMessage(file));
    if (input->duration != AV_NOPTS_VALUE && input->duration > 0) {
        return static_cast<double>(input->duration) / AV_TIME_BASE;
    }
    double longest = 0;
    for (unsigned i = 0; i < input->nb_streams; ++i) {
        const AVStream* stream = input->streams[i];
        if (stream->duration != AV_NOPTS_VALUE) {
            longest = std::max(longest, stream->duration * av_q2d(stream->time_base));
        }
    }
    return longest;
}

std::optional<QDateTime> creationDate(const QString& file) {
    ff::Input input = ff::openInput(file);
    if (!input) return std::nullopt;
    const AVDictionaryEntry* entry = av_dict_get(input->metadata, "creation_time", nullptr, 0);
    if (!entry) return std::nullopt;
    const QDateTime date =
        QDateTime::fromString(QString::fromUtf8(entry->value), Qt::ISODateWithMs);
    if (!date.isValid()) return std::nullopt;
    return date;
}

Result<QString> extractAudio(const QString& file) {
    auto decoder = AudioDecoder::open(file, AacWriter::kSampleRate);
    if (!decoder) return std::unexpected(decoder.error());
    const QString target =
        QDir(paths::tempDir())
            .filePath("pelix-" + QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper() +
                      ".m4a");
    auto writer = AacWriter::open(target);
    if (!writer) {
        return fail(kExportFailed, ff::exportFailedMessage(file, writer.error().message));
    }
    Status copied = copySamples(**decoder, **writer, 0, -1);
    if (copied) copied = (*writer)->finish();
    if (!copied) {
        QFile::remove(target);
        if (copied.error().code == kExportFailed) return std::unexpected(copied.error());
        return fail(kExportFailed, ff::exportFailedMessage(file, copied.error().message));
    }
    return target;
}

Status cut(const QString& source, double start, double end, const QString& target) {
    if (!(start >= 0) || !(end > start)) {
        return fail(kBadRange, "Couldn't cut " + ff::nameOf(source) + ": the stretch is empty.");
    }
    auto decoder = AudioDecoder::open(source, AacWriter::kSampleRate);
    if (!decoder) return std::unexpected(decoder.error());
    auto writer = AacWriter::open(target);
    if (!writer) return std::unexpected(writer.error());
    const auto from = static_cast<int64_t>(std::llround(start * AacWriter::kSampleRate));
    const auto to = static_cast<int64_t>(std::llround(end * AacWriter::kSampleRate));
    if (Status copied = copySamples(**decoder, **writer, from, to); !copied) return copied;
    if ((*writer)->seconds() <= 0) {
        return fail(kBadRange, "Couldn't cut " + ff::nameOf(source) +
                                   ": the stretch starts after the end of the sound.");
    }
    return (*writer)->finish();
}

}  // namespace pelix::media
