#pragma once

#include "core/Error.h"
#include "editor/EditProject.h"

#include <QString>

namespace pelix::studio {

// Where an exported video goes, for the --edit command line and the editor window alike.

// "Pelix" in the user's videos folder, where exports go unless told otherwise.
QString defaultExportFolder();
// The exported file's name without a folder: the project's name with "/" made "-", " - ",
// the format's label ("Instagram Reel", "YouTube Short", "RedNote", else "YouTube"), ".mp4".
QString exportName(const editor::EditProject& project);
// The file to export to in `folder` (created with its parents): the name above, or with " 2",
// " 3"… before ".mp4" when taken. Fails when the folder cannot be made.
Result<QString> exportPath(const editor::EditProject& project, const QString& folder);

// Whether `target` may take an export of `project`, read from `projectFile` (empty when it was
// not read from a file). Never when it is one of the export's inputs, the project file or a
// clip, by identity (another name or a link for the same file counts); never when its folder is
// missing or its name is longer than the file system allows. A file there already is replaced
// only with `replace`.
Status checkExportTarget(const editor::EditProject& project, const QString& projectFile,
                         const QString& target, bool replace);

}  // namespace pelix::studio
