#include "media/FFmpeg.h"

#include "core/Log.h"
#include "core/Sentences.h"
#include "core/TempFiles.h"
#include "media/Media.h"

#include <QFile>
#include <QFileInfo>
#include <QUuid>

#include <sys/stat.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>

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

namespace {

void toLog(void* object, int level, const char* format, va_list args) {
    if (!core::debugging() || level > av_log_get_level()) return;
    // Libraries log blank lines as separators; those are left out.
    va_list copy;
    va_copy(copy, args);
    char message[1024];
    std::vsnprintf(message, sizeof message, format, copy);
    va_end(copy);
    if (QByteArray(message).trimmed().isEmpty()) return;
    char line[1024];
    int prefix = 1;
    av_log_format_line2(object, level, format, args, line, sizeof line, &prefix);
    const QString text = QString::fromUtf8(line).trimmed();
    if (!text.isEmpty()) core::debugLine("ffmpeg", text);
}

}  // namespace

void quiet() {
    static std::once_flag once;
    std::call_once(once, [] {
        av_log_set_level(core::debugging() ? AV_LOG_VERBOSE : AV_LOG_QUIET);
        av_log_set_callback(&toLog);
    });
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
    const QString folder = info.absolutePath();
    if (!QFileInfo(folder).isDir()) {
        return fail(1, core::sentences::temporaryFolderMissing(folder));
    }
    // Short whatever the target's name, so a long name still leaves room for it; the suffix
    // (up to a few letters) tells the muxer the kind of file.
    const QString suffix = info.suffix().left(8);
    const QString partial = folder + "/.part-" +
                            QUuid::createUuid().toString(QUuid::Id128).left(12) +
                            (suffix.isEmpty() ? QString() : "." + suffix);
    if (Status made = core::tempfiles::createPrivate(partial); !made) {
        // createPrivate leaves errno as open(2) set it.
        return fail(1, core::sentences::temporaryNotMadeIn(
                           folder, QString::fromLocal8Bit(std::strerror(errno)).toLower()));
    }
    return partial;
}

unsigned documentMode() {
    // /proc says it without changing it; umask(2) itself can only be read by setting it, which
    // another thread making a file at that moment would see.
    QFile status(QStringLiteral("/proc/self/status"));
    if (status.open(QIODevice::ReadOnly)) {
        for (QByteArray line = status.readLine(); !line.isEmpty(); line = status.readLine()) {
            if (!line.startsWith("Umask:")) continue;
            bool ok = false;
            const unsigned mask = line.mid(6).trimmed().toUInt(&ok, 8);
            if (ok) return 0666u & ~mask;
        }
    }
    return 0644;
}

bool moveIntoPlace(const QString& partial, const QString& target, Keep keep) {
    const QByteArray from = QFile::encodeName(partial);
    if (keep == Keep::asDocument && ::chmod(from.constData(), mode_t(documentMode())) != 0) {
        return false;
    }
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
