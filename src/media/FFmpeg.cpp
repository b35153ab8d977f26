#include "media/FFmpeg.h"

#include "core/Sentences.h"
#include "core/TempFiles.h"

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
    if (sentence.isEmpty()) sentence = sentences::kUnknownError;
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

Result<QString> createPartial(const QString& target) {
    const QFileInfo info(target);
    const QString partial = info.absolutePath() + "/.part-" +
                            QUuid::createUuid().toString(QUuid::Id128).left(12) + "-" +
                            info.fileName();
    if (Status made = tempfiles::createPrivate(partial); !made) {
        return std::unexpected(made.error());
    }
    return partial;
}

bool moveIntoPlace(const QString& partial, const QString& target) {
    if (std::rename(QFile::encodeName(partial).constData(),
                    QFile::encodeName(target).constData()) != 0) {
        return false;
    }
    tempfiles::untrack(partial);
    return true;
}

QString nameOf(const QString& file) {
    return QFileInfo(file).fileName();
}

QString notMediaMessage(const QString& file) {
    const QFileInfo info(file);
    using sentences::Unopened;
    const Unopened why = !info.exists()       ? Unopened::missing
                         : info.isDir()       ? Unopened::folder
                         : !info.isReadable() ? Unopened::forbidden
                                              : Unopened::notMedia;
    return sentences::couldntOpenMedia(nameOf(file), why);
}

QString noSoundMessage(const QString& file) {
    return sentences::noSoundIn(nameOf(file));
}

QString exportFailedMessage(const QString& file, const QString& reason) {
    return sentences::couldntGetSound(nameOf(file), reason);
}

}  // namespace pelix::media::ff
