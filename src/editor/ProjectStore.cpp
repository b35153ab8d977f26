#include "editor/ProjectStore.h"

#include "core/Json.h"
#include "core/Paths.h"
#include "core/PrivateFile.h"
#include "core/Sentences.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>

#include <algorithm>

namespace pelix::editor::ProjectStore {

QString folder() {
    const QString dir = qEnvironmentVariable("PELIX_EDITOR_DIR");
    return dir.isEmpty() ? core::paths::dataDir() + QStringLiteral("/Editor") : dir;
}

QString fileFor(const QUuid& id) {
    return QDir(folder()).filePath(upperUuid(id) + ".json");
}

namespace {

// The file's bytes, checked with the reader first: a project that would not open again is
// not written, so a bad value never replaces a good file.
Result<QByteArray> encoded(const EditProject& project) {
    const QJsonObject json = toJson(project);
    if (auto readable = projectFromJson(json); !readable) {
        return fail(1, core::sentences::projectNotSaved(readable.error().message));
    }
    return QJsonDocument(json).toJson(QJsonDocument::Indented);
}

}  // namespace

Status saveAs(const EditProject& project, const QString& path) {
    const auto bytes = encoded(project);
    if (!bytes) return std::unexpected(bytes.error());
    return core::writeFileAtomically(path, *bytes);
}

Status save(const EditProject& project) {
    const QString path = fileFor(project.id);
    // A file of that name that is not a project is someone's data: it is never replaced.
    if (QFileInfo::exists(path) && !openFile(path)) {
        return fail(1, core::sentences::projectInTheWay(QFileInfo(path).fileName()));
    }
    const auto bytes = encoded(project);
    if (!bytes) return std::unexpected(bytes.error());
    return core::writePrivateFile(path, *bytes);
}

Result<EditProject> openFile(const QString& path) {
    const QString name = QFileInfo(path).fileName();
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return fail(1, core::sentences::couldntOpenProject(name, file.errorString()));
    }
    const QByteArray bytes = file.readAll();
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError) {
        // Where, as a person finds it in an editor: line and column (in bytes) from 1.
        const QByteArray before = bytes.left(error.offset);
        const qsizetype line = before.count('\n') + 1;
        const qsizetype column = before.size() - (before.lastIndexOf('\n') + 1) + 1;
        return fail(1, core::sentences::projectNotJson(name, error.errorString(), line, column));
    }
    if (!document.isObject()) {
        return fail(1, core::sentences::projectNotAnObject(name));
    }
    auto project = projectFromJson(document.object());
    if (!project) {
        return fail(1, core::sentences::couldntReadProject(name, project.error().message));
    }
    return project;
}

Result<EditProject> open(const QUuid& id) {
    return openFile(fileFor(id));
}

std::vector<Entry> list() {
    std::vector<Entry> entries;
    const QDir dir(folder());
    for (const QFileInfo& info : dir.entryInfoList({QStringLiteral("*.json")}, QDir::Files)) {
        Entry entry;
        entry.file = info.fileName();
        entry.modified = info.lastModified();
        auto project = openFile(info.filePath());
        if (!project) {
            entry.error = project.error().message;
        } else {
            entry.id = project->id;
            entry.name = project->name;
            entry.mediaMissing =
                std::any_of(project->clips.begin(), project->clips.end(),
                            [](const SourceClip& c) { return !QFileInfo(c.path).isFile(); });
        }
        entries.push_back(std::move(entry));
    }
    std::stable_sort(entries.begin(), entries.end(),
                     [](const Entry& a, const Entry& b) { return a.modified > b.modified; });
    return entries;
}

}  // namespace pelix::editor::ProjectStore
