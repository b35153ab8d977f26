#include "studio/ExportPath.h"

#include "core/Paths.h"
#include "core/Sentences.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <filesystem>

namespace pelix::studio {
namespace {

// The longest file name most Linux file systems take, in bytes.
constexpr qsizetype kLongestName = 255;

bool sameFile(const QString& a, const QString& b) {
    std::error_code error;
    return std::filesystem::equivalent(QFile::encodeName(a).toStdString(),
                                       QFile::encodeName(b).toStdString(), error) &&
           !error;
}

}  // namespace

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
    const QString tail = " - " + label + ".mp4";
    // A character takes a byte at least: longer names never fit.
    QString name = project.name.left(kLongestName).replace('/', '-');
    // Room for the tail and a count (" 99") within the longest name a file system takes, cut
    // between whole characters.
    while (!name.isEmpty() && QFile::encodeName(name + tail).size() > kLongestName - 8) {
        name.chop(name.size() >= 2 && name.back().isLowSurrogate() ? 2 : 1);
    }
    return name + tail;
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

Status checkExportTarget(const editor::EditProject& project, const QString& projectFile,
                         const QString& target, bool replace) {
    const QFileInfo info(target);
    const QString name = info.fileName();
    if (!info.dir().exists()) {
        return fail(1, core::sentences::exportFolderMissing(info.absolutePath()));
    }
    if (QFile::encodeName(name).size() > kLongestName) {
        return fail(1, core::sentences::exportNameTooLong(name));
    }
    if (!info.exists()) return {};
    if (!projectFile.isEmpty() && sameFile(target, projectFile)) {
        return fail(1, core::sentences::exportOverInput(name));
    }
    for (const editor::SourceClip& clip : project.clips) {
        if (sameFile(target, clip.path)) return fail(1, core::sentences::exportOverInput(name));
    }
    if (info.isDir()) return fail(1, core::sentences::exportOverFolder(name));
    if (!replace) return fail(1, core::sentences::exportWouldReplace(name));
    return {};
}

}  // namespace pelix::studio
