#pragma once

#include "core/Error.h"
#include "editor/ProjectStore.h"

#include <QDateTime>
#include <QLocale>
#include <QString>
#include <QUuid>

#include <vector>

// Saved projects as people name them on the command line and read them in `pelix --edit list`.
namespace pelix::studio::projectnames {

// The exit status of a name that fits no saved project, or several.
inline constexpr int kUnclear = 2;
// How many characters of an id the list shows; enough to tell projects apart.
inline constexpr int kShortId = 8;

// The saved project `given` names: its whole id, its name (letter case aside), or the start of
// its id ("1f0c7a2b"). Fails with kUnclear and one sentence naming the candidates when it fits
// several, or saying how projects are named when it fits none.
Result<QUuid> find(const std::vector<editor::ProjectStore::Entry>& saved, const QString& given);

// One row of the list: what a person wants to know of a project.
struct Row {
    QString name{};     // the project's name, or the file's when it cannot be read
    QString clips{};    // "2", or empty for a file that cannot be read
    QString length{};   // the finished video's length, "0:42"
    QString changed{};  // when it was last saved
    QString id{};       // the start of its id, or why the file cannot be read
};

// The rows as a table under a heading line, in columns; names wider than `nameWidth` are cut
// short with "…". A sentence saying how to make one when there are no rows.
QString table(const std::vector<Row>& rows, int nameWidth = 32);

}  // namespace pelix::studio::projectnames
