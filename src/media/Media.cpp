#include "media/Media.h"

#include "core/Paths.h"
#include "core/Sentences.h"
#include "core/TempFiles.h"
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

struct OutputCloser {
    void operator()(AVFormatContext* c) const {
        if (c->pb) avio_closep(&c->pb);
        avformat_free_context(c);
    }
};

// The audio track of `input` if it is AAC, which is copied as it is; else none.
std::optional<int> aacTrack(AVFormatContext* input) {
    const int index = av_find_best_stream(input, AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
    if (index < 0 || input->streams[index]->codecpar->codec_id != AV_CODEC_ID_AAC) {
        return std::nullopt;
    }
    return index;
}

// Copies the AAC track `index` into a new M4A as it is: no encoding time and no second lossy
// generation.
Status copyAacTrack(const ff::Input& input, int index, const QString& file, const QString& target) {
    const AVStream* source = input->streams[index];
    const Result<QString> created = ff::createPartial(target);
    if (!created) {
        return fail(kExportFailed,
                    ff::exportFailedMessage(file, core::sentences::kTemporarySoundNotMade));
    }
    const QString partial = *created;
    const QByteArray path = QFile::encodeName(partial);
    auto failed = [&](int code) -> Status {
        core::tempfiles::remove(partial);
        return fail(kExportFailed, ff::exportFailedMessage(file, ff::describe(code)));
    };

    AVFormatContext* made = nullptr;
    int rc = avformat_alloc_output_context2(&made, nullptr, "ipod", path.constData());
    if (rc < 0) return failed(rc);
    std::unique_ptr<AVFormatContext, OutputCloser> output(made);
    AVStream* copy = avformat_new_stream(made, nullptr);
    if (!copy) return failed(AVERROR(ENOMEM));
    rc = avcodec_parameters_copy(copy->codecpar, source->codecpar);
    if (rc < 0) return failed(rc);
    copy->codecpar->codec_tag = 0;
    copy->time_base = source->time_base;
    rc = avio_open(&made->pb, path.constData(), AVIO_FLAG_WRITE);
    if (rc >= 0) rc = avformat_write_header(made, nullptr);
    if (rc < 0) return failed(rc);
    ff::Packet packet(av_packet_alloc());
    while ((rc = av_read_frame(input.get(), packet.get())) >= 0) {
        if (packet->stream_index == index) {
            av_packet_rescale_ts(packet.get(), source->time_base, copy->time_base);
            packet->stream_index = copy->index;
            packet->pos = -1;
            rc = av_interleaved_write_frame(made, packet.get());
        }
        av_packet_unref(packet.get());
        if (rc < 0) return failed(rc);
    }
    if (rc != AVERROR_EOF) return failed(rc);
    rc = av_write_trailer(made);
    if (rc >= 0) rc = avio_closep(&made->pb);
    if (rc < 0) return failed(rc);
    if (!ff::moveIntoPlace(partial, target)) return failed(AVERROR(EIO));
    return Status{};
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
    const QString target =
        QDir(core::paths::tempDir())
            .filePath("pelix-" + QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper() +
                      ".m4a");
    // One opening of the file serves the look at its tracks and the copy or the decoding.
    ff::Input input = ff::openInput(file);
    if (!input) return fail(kNotMedia, ff::notMediaMessage(file));
    if (const std::optional<int> aac = aacTrack(input.get())) {
        if (Status copied = copyAacTrack(input, *aac, file, target); !copied) {
            return std::unexpected(copied.error());
        }
        core::tempfiles::track(target);
        return target;
    }
    auto decoder = AudioDecoder::open(std::move(input), file, AacWriter::kSampleRate);
    if (!decoder) return std::unexpected(decoder.error());
    auto writer = AacWriter::open(target);
    Status copied = writer ? copySamples(**decoder, **writer, 0, -1) : Status{};
    if (writer && copied) copied = (*writer)->finish();
    if (!writer || !copied) {
        core::tempfiles::remove(target);
        // Decoding failures already say so; writing ones name the temporary file, which means
        // nothing to the person who chose the video.
        if (writer && copied.error().code == kExportFailed) return std::unexpected(copied.error());
        return fail(kExportFailed,
                    ff::exportFailedMessage(file, core::sentences::kTemporarySoundNotWritten));
    }
    core::tempfiles::track(target);
    return target;
}

Status cut(const QString& source, double start, double end, const QString& target) {
    if (!(start >= 0) || !(end > start)) {
        return fail(kBadRange, core::sentences::stretchEmpty(ff::nameOf(source)));
    }
    auto decoder = AudioDecoder::open(source, AacWriter::kSampleRate);
    if (!decoder) return std::unexpected(decoder.error());
    auto writer = AacWriter::open(target);
    if (!writer) return std::unexpected(writer.error());
    const auto from = static_cast<int64_t>(std::llround(start * AacWriter::kSampleRate));
    const auto to = static_cast<int64_t>(std::llround(end * AacWriter::kSampleRate));
    if (Status copied = copySamples(**decoder, **writer, from, to); !copied) return copied;
    if ((*writer)->seconds() <= 0) {
        return fail(kBadRange, core::sentences::stretchAfterTheEnd(ff::nameOf(source)));
    }
    return (*writer)->finish();
}

}  // namespace pelix::media
