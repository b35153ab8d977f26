#include "studio/EditorJobs.h"

#include "studio/NewVideo.h"
#include "render/Renderer.h"

#include <QDateTime>
#include <QFileInfo>
#include <QMetaObject>

#include <atomic>
#include <cmath>

namespace pelix {

ClipImport::ClipImport(const SpeechEngines& engines, QStringList files, QString locale,
                       QObject* parent)
    : QObject(parent), files_(std::move(files)) {
    NewVideoOptions options;
    options.files = files_;
    options.name = QFileInfo(files_.value(0)).completeBaseName();
    options.locale = std::move(locale);
    options.progress = [this](const QString& line) {
        QMetaObject::invokeMethod(
            this, [this, line] { Q_EMIT progress(line); }, Qt::QueuedConnection);
    };
    worker_ = std::jthread([this, &engines,
                            options = std::move(options)](std::stop_token stop) mutable {
        options.stop = stop;
        Result<EditProject> made = newVideo(engines, options, QDateTime::currentDateTimeUtc());
        if (stop.stop_requested()) return;
        QMetaObject::invokeMethod(
            this, [this, made = std::move(made)] { Q_EMIT finished(made); }, Qt::QueuedConnection);
    });
}

ClipImport::~ClipImport() = default;

VideoExport::VideoExport(render::Renderer& renderer, const EditProject& project, QString target,
                         QObject* parent)
    : QObject(parent), target_(std::move(target)) {
    worker_ = std::jthread([this, &renderer, project](std::stop_token stop) {
        render::RenderOptions options;
        options.stop = stop;
        int shown = -1;
        options.progress = [this, &shown](double done) {
            const int percent = int(std::floor(done * 100));
            if (percent == shown) return;
            shown = percent;
            QMetaObject::invokeMethod(
                this, [this, percent] { Q_EMIT progress(percent); }, Qt::QueuedConnection);
        };
        Status status = renderer.exportVideo(project, target_, options);
        QMetaObject::invokeMethod(
            this, [this, status = std::move(status)] { Q_EMIT finished(status); },
            Qt::QueuedConnection);
    });
}

VideoExport::~VideoExport() = default;

}  // namespace pelix
