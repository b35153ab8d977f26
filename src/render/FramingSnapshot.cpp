#include "render/FramingSnapshot.h"

#include "core/Console.h"
#include "editor/ProjectStore.h"
#include "render/FaceFinder.h"
#include "render/RenderPlan.h"
#include "render/Renderer.h"

#include <QDir>
#include <QFileInfo>
#include <QSet>

#include <optional>

namespace pelix::render {
namespace {

struct Subject {
    QString file;
    std::optional<Framing> byHand;
};

// The clips of the saved projects, each once.
std::vector<Subject> savedClips() {
    std::vector<Subject> subjects;
    QSet<QString> seen;
    for (const ProjectStore::Entry& entry : ProjectStore::list()) {
        if (entry.error) continue;
        const auto project = ProjectStore::open(entry.id);
        if (!project) continue;
        for (const SourceClip& clip : project->clips) {
            if (seen.contains(clip.path)) continue;
            seen.insert(clip.path);
            subjects.push_back({clip.path, clip.framing});
        }
    }
    return subjects;
}

}  // namespace

int runFramingSnapshot(const QString& dir, const QStringList& clips) {
    std::vector<Subject> subjects;
    for (const QString& clip : clips) subjects.push_back({QFileInfo(clip).absoluteFilePath(), {}});
    if (subjects.empty()) subjects = savedClips();
    if (subjects.empty()) {
        console::err(
            QStringLiteral("Couldn't draw the framing: name video files after --framing "
                           "or make a project first."));
        return 1;
    }
    if (!QDir().mkpath(dir)) {
        console::err("Couldn't draw the framing: the folder " + dir + " could not be made.");
        return 1;
    }

    int framed = 0;
    bool pictured = false;
    for (const Subject& subject : subjects) {
        SourceClip clip;
        QString how;
        if (subject.byHand) {
            clip.framing = subject.byHand;
            how = QStringLiteral("set by hand");
        } else {
            const auto found = findFace(subject.file);
            if (!found) {
                console::out("framing: " + subject.file + " not framed: " + found.error().message);
                continue;
            }
            clip.faceX = found->x;
            how = found->x ? QStringLiteral("face in %1 of %2 pictures")
                                 .arg(found->found)
                                 .arg(found->sampled)
                           : QStringLiteral("no face in %1 pictures, centred").arg(found->sampled);
        }
        const ClipFraming framing = framingOf(clip);
        const QString position =
            clip.faceX || clip.framing ? QString::number(framing.centre.x(), 'f', 3) : "centre";
        console::out("framing: " + subject.file + " " + position + " (" + how + ")");
        ++framed;
        if (pictured) continue;
        const auto info = probeClip(subject.file);
        const double middle = info ? info->duration / 2 : 0;
        const auto picture = framedPicture(
            subject.file, middle, scaledSize(formatSize(VideoFormat::reel, {}), 0.5), framing);
        if (!picture) {
            console::err(picture.error().message);
            continue;
        }
        if (!picture->save(QDir(dir).filePath("frame-after.png"))) {
            console::err("Couldn't write frame-after.png into " + dir + ".");
            return 1;
        }
        pictured = true;
    }
    console::out(QStringLiteral("videos: %1").arg(framed));
    return pictured ? 0 : 1;
}

}  // namespace pelix::render
