#pragma once

#include "core/Error.h"
#include "core/Worker.h"
#include "editor/EditProject.h"

#include <QObject>
#include <QString>
#include <QStringList>

#include <stop_token>

namespace pelix::speech {
class SpeechEngines;
}  // namespace pelix::speech
namespace pelix::render {
class Renderer;
}  // namespace pelix::render

namespace pelix::studio {

// The editor's long work, each on a worker of its own with its progress and its end reported on
// the object's thread. Dropping the object stops the work and waits for it to end.

// Media files into a new project: transcription and face finding, clip by clip.
class ClipImport final : public QObject {
    Q_OBJECT
public:
    ClipImport(const speech::SpeechEngines& engines, QStringList files, QString locale,
               QObject* parent = nullptr);
    ~ClipImport() override;
    const QStringList& files() const { return files_; }

Q_SIGNALS:
    void progress(const QString& line);
    void finished(const pelix::Result<pelix::editor::EditProject>& project);

private:
    QStringList files_;
    core::Worker worker_;
};

// A project into a finished video file.
class VideoExport final : public QObject {
    Q_OBJECT
public:
    VideoExport(render::Renderer& renderer, const editor::EditProject& project, QString target,
                QObject* parent = nullptr);
    ~VideoExport() override;
    const QString& target() const { return target_; }
    void cancel() { job_.request_stop(); }

Q_SIGNALS:
    // Whole percent, each once.
    void progress(int percent);
    void finished(const pelix::Status& status);

private:
    QString target_;
    core::Worker worker_;
    std::stop_source job_;
};

}  // namespace pelix::studio
