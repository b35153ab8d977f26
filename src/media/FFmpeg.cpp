#include "media/FFmpeg.h"

#include "core/Sentences.h"
#include "core/TempFiles.h"
#include "media/Media.h"

#include <QFile>
#include <QFileInfo>
#include <QUuid>

#include <cstdio>

#include <mutex>

namespace pelix::media::ff {

QString describe(int code) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    QString sentence = QString::fromUtf8(text).trimmed();
    if (sentence.isEmpty()) sentence = core::sentences::kUnknownError;
    sentence[0] = sentence[0].toUpper();
    if (!sentence.endsWith('.')) sentence += '.';
    return sentence;
}

void quiet() {
    static std::once_flag once;
    std::call_once(once, [] { av_log_set_level(AV_LOG_FATAL); });
}

Input openInput(const QString& file) {
    quiet();
    AVFormatContext* context = nullptr;
    const QByteArray path = QFile::encodeName(file);
    if (avformat_open_input(&context, path.constData(), nullptr, nullptr) < 0) return nullptr;
    Input input(context);
    if (avformat_find_stream_info(context, nullptr) < 0) return nullptr;
    // A file FFmpeg reads but that has neither sound nor pictures (a text file, say) is not media.
    for (unsigned i = 0; i < context->nb_streams; ++i) {
        const AVMediaType type = context->streams[i]->codecpar->codec_type;
        if (type == AVMEDIA_TYPE_AUDIO || type == AVMEDIA_TYPE_VIDEO) return input;
    }
    return nullptr;
}

Result<Input> openMedia(const QString& file) {
    Input input = openInput(file);
    if (!input) return fail(kNotMedia, notMediaMessage(file));
    return input;
}

std::expected<Decoding, int> openStream(AVFormatContext* input, AVMediaType type, bool threads) {
    const AVCodec* decoder = nullptr;
    const int stream = av_find_best_stream(input, type, -1, -1, &decoder, 0);
    if (stream < 0) return std::unexpected(stream);
    if (!decoder) return std::unexpected(AVERROR_DECODER_NOT_FOUND);
    const AVStream* chosen = input->streams[stream];
    if (type == AVMEDIA_TYPE_VIDEO && (chosen->disposition & AV_DISPOSITION_ATTACHED_PIC)) {
        return std::unexpected(AVERROR_STREAM_NOT_FOUND);
    }
    for (unsigned i = 0; i < input->nb_streams; ++i) {
        if (int(i) != stream) input->streams[i]->discard = AVDISCARD_ALL;
    }
    Codec codec(avcodec_alloc_context3(decoder));
    if (!codec) return std::unexpected(AVERROR(ENOMEM));
    int rc = avcodec_parameters_to_context(codec.get(), chosen->codecpar);
    if (threads) codec->thread_count = 0;  // as many as the machine has
    if (rc >= 0) rc = avcodec_open2(codec.get(), decoder, nullptr);
    if (rc < 0) return std::unexpected(rc);
    return Decoding{stream, std::move(codec)};
}

bool noStream(int code) {
    return code == AVERROR_STREAM_NOT_FOUND || code == AVERROR_DECODER_NOT_FOUND;
}

std::expected<bool, int> nextFrame(AVFormatContext* input, int stream, AVCodecContext* codec,
                                   AVPacket* packet, AVFrame* frame, bool& draining) {
    for (;;) {
        const int got = avcodec_receive_frame(codec, frame);
        if (got == 0) return true;
        if (got == AVERROR_EOF) return false;
        if (got != AVERROR(EAGAIN)) return std::unexpected(got);
        if (draining) return false;
        const int read = av_read_frame(input, packet);
        if (read == AVERROR_EOF || (read == AVERROR(EIO) && avio_feof(input->pb))) {
            avcodec_send_packet(codec, nullptr);
            draining = true;
            continue;
        }
        if (read < 0) return std::unexpected(read);
        if (packet->stream_index == stream) {
            const int sent = avcodec_send_packet(codec, packet);
            if (sent < 0 && sent != AVERROR_INVALIDDATA && sent != AVERROR(EAGAIN)) {
                av_packet_unref(packet);
                return std::unexpected(sent);
            }
        }
        av_packet_unref(packet);
    }
}

Result<QString> createPartial(const QString& target) {
    const QFileInfo info(target);
    const QString partial = info.absolutePath() + "/.part-" +
                            QUuid::createUuid().toString(QUuid::Id128).left(12) + "-" +
                            info.fileName();
    if (Status made = core::tempfiles::createPrivate(partial); !made) {
        return std::unexpected(made.error());
    }
    return partial;
}

bool moveIntoPlace(const QString& partial, const QString& target) {
    if (std::rename(QFile::encodeName(partial).constData(),
                    QFile::encodeName(target).constData()) != 0) {
        return false;
    }
    core::tempfiles::untrack(partial);
    return true;
}

QString nameOf(const QString& file) {
    return QFileInfo(file).fileName();
}

QString notMediaMessage(const QString& file) {
    const QFileInfo info(file);
    using core::sentences::Unopened;
    const Unopened why = !info.exists()       ? Unopened::missing
                         : info.isDir()       ? Unopened::folder
                         : !info.isReadable() ? Unopened::forbidden
                                              : Unopened::notMedia;
    return core::sentences::couldntOpenMedia(nameOf(file), why);
}

QString noSoundMessage(const QString& file) {
    return core::sentences::noSoundIn(nameOf(file));
}

QString exportFailedMessage(const QString& file, const QString& reason) {
    return core::sentences::couldntGetSound(nameOf(file), reason);
}

}  // namespace pelix::media::ff
