#include "render/FramingSnapshot.h"

#include "core/Console.h"
#include "core/Counted.h"
#include "core/Sentences.h"
#include "render/FaceFinder.h"
#include "render/RenderPlan.h"
#include "render/Renderer.h"

#include <QDir>
#include <QFileInfo>

namespace pelix::render {

int runFramingSnapshot(const QString& dir, const QStringList& clips) {
    if (clips.isEmpty()) {  // nothing to frame, and nothing that differs between machines
        core::console::out(QStringLiteral("videos: 0"));
        return 0;
    }
    if (!QDir().mkpath(dir)) {
        core::console::err(core::sentences::framingFolderNotMade(dir));
        return 1;
    }

    int framed = 0;
    bool pictured = false;
    for (const QString& clip : clips) {
        const QString file = QFileInfo(clip).absoluteFilePath();
        const auto found = findFace(file);
        if (!found) {
            core::console::out("framing: " + file + " not framed: " + found.error().message);
            continue;
        }
        const QString position = found->x ? QString::number(*found->x, 'f', 3) : "centre";
        const QString how =
            found->x ? QStringLiteral("face in %1 of %2")
                           .arg(found->found)
                           .arg(core::counted(found->sampled, u"picture"))
                     : "no face in " + core::counted(found->sampled, u"picture") + ", centred";
        core::console::out("framing: " + file + " " + position + " (" + how + ")");
        ++framed;
        if (pictured) continue;

        editor::SourceClip framedClip;
        framedClip.faceX = found->x;
        const auto info = probeClip(file);
        const double middle = info ? info->duration / 2 : 0;
        const auto picture =
            framedPicture(file, middle, scaledSize(formatSize(editor::VideoFormat::reel, {}), 0.5),
                          framingOf(framedClip));
        if (!picture) {
            core::console::err(picture.error().message);
            continue;
        }
        if (!picture->save(QDir(dir).filePath("frame-after.png"))) {
            core::console::err(
                core::sentences::couldntWriteInto(QStringLiteral("frame-after.png"), dir));
            return 1;
        }
        pictured = true;
    }
    core::console::out(QStringLiteral("videos: %1").arg(framed));
    return pictured ? 0 : 1;
}

}  // namespace pelix::render
