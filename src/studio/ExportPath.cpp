#include "studio/ExportPath.h"

#include "core/Paths.h"
#include "core/Sentences.h"

#include <QDir>
#include <QFileInfo>

namespace pelix::studio {

QString defaultExportFolder() {
    return QDir(core::paths::videosDir()).filePath(QStringLiteral("Pelix"));
}

QString exportName(const editor::EditProject& project) {
    QString label;
    switch (project.settings.format) {
        case editor::VideoFormat::reel:
            label = QStringLiteral("Instagram Reel");
            break;
        case editor::VideoFormat::youtubeShort:
            label = QStringLiteral("YouTube Short");
            break;
        case editor::VideoFormat::rednote:
            label = QStringLiteral("RedNote");
            break;
        default:
            label = QStringLiteral("YouTube");
    }
    return QString(project.name).replace('/', '-') + " - " + label + ".mp4";
}

Result<QString> exportPath(const editor::EditProject& project, const QString& folder) {
    if (!QDir().mkpath(folder)) {
        return fail(1, core::sentences::couldntMakeFolderFor(folder));
    }
    const QString name = exportName(project);
    const QString base = name.chopped(4);  // without ".mp4"
    const QDir dir(folder);
    QString path = dir.filePath(name);
    for (int n = 2; QFileInfo::exists(path); ++n) {
        path = dir.filePath(QStringLiteral("%1 %2.mp4").arg(base).arg(n));
    }
    return path;
}

}  // namespace pelix::studio
