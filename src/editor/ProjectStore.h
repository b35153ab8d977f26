#pragma once

#include "core/Error.h"
#include "editor/EditProject.h"

#include <QDateTime>
#include <QString>

#include <optional>
#include <vector>

namespace pelix::editor {

// The saved projects: one JSON file per project, named by its upper-case id, in one folder.
namespace ProjectStore {

// $PELIX_EDITOR_DIR as it stands when set, else $XDG_DATA_HOME/Pelix/Editor.
QString folder();

// The file a project is saved in.
QString fileFor(const QUuid& id);

// Writes the project to its file in the folder, atomically, replacing the earlier version. The
// folder is created on first save; it is kept private (0700) and the file too (0600). A file of
// that name that does not decode is left alone and the save fails.
Status save(const EditProject& project);
// Writes the project atomically to `path`, a file of the user's outside the folder (its mode
// and its folder's are left as they are).
Status saveAs(const EditProject& project, const QString& path);

// Reads the project with this id from the folder.
Result<EditProject> open(const QUuid& id);
// Reads a project file.
Result<EditProject> openFile(const QString& path);

struct Entry {
    QString file;  // the file's name in the folder
    QDateTime modified;
    // For a file that decodes:
    QUuid id;
    QString name;
    bool mediaMissing = false;  // a clip's media file is not there
    // For one that does not: why. Such files are listed and left as they are.
    std::optional<QString> error;
};

// The ".json" files of the folder, most recently changed first.
std::vector<Entry> list();

}  // namespace ProjectStore
}  // namespace pelix::editor
