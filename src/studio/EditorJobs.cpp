#include "studio/EditorJobs.h"

#include "render/Renderer.h"
#include "studio/NewVideo.h"

#include <QDateTime>
#include <QFileInfo>
#include <cmath>

namespace pelix::studio {

ClipImport::ClipImport(const speech::SpeechEngines& engines, QStringList files, QString locale,
                       QObject* parent)
    : QObject(parent), files_(std::move(files)), worker_(this, 1) {
    NewVideoOptions options;
    options.files = files_;
    options.name = QFileInfo(files_.value(0)).completeBaseName();
    options.locale = std::move(locale);
    options.progress = [this](const QString& line) {
        worker_.post([this, line] { Q_EMIT progress(line); });
    };
    // Stopped only as the object goes, and then nothing comes back.
    worker_.run(
        [&engines, options = std::move(options)](std::stop_token stop) mutable {
            options.stop = stop;
            return newVideo(engines, options, QDateTime::currentDateTimeUtc());
        },
        [this](const Result<editor::EditProject>& made) { Q_EMIT finished(made); });
}

ClipImport::~ClipImport() = default;

VideoExport::VideoExport(render::Renderer& renderer, const editor::EditProject& project,
                         QString target, QObject* parent)
    : QObject(parent), target_(std::move(target)), worker_(this, 1) {
    job_ = worker_.run(
        [this, &renderer, project](std::stop_token stop) {
            render::RenderOptions options;
            options.stop = stop;
            int shown = -1;
            options.progress = [this, &shown](double done) {
                const int percent = int(std::floor(done * 100));
                if (percent == shown) return;
                shown = percent;
                worker_.post([this, percent] { Q_EMIT progress(percent); });
            };
            return renderer.exportVideo(project, target_, options);
        },
        [this](const Status& status) { Q_EMIT finished(status); });
}

VideoExport::~VideoExport() = default;

}  // namespace pelix::studio
