#pragma once

// How plainText (PlainText.cpp) stays linear: its twenty replacements run in order over an
// icu::UnicodeString, each in one pass with exactly the result of the replace-all that defines
// it (detail::plainTextByPatterns; the ICU patterns compiled once in a function-local static).
// Plain replace-alls are quadratic on hostile notes: a tag that never ends is scanned to the end
// from every start. Here the literal parts of a tag pattern ("<script", "</object>"...) are found
// by the engine itself (case-insensitive matching folds some letters outside ASCII onto ASCII
// ones), and the rest is decided from sorted positions with forward-only cursors: an enclosed tag
// ends at the first closing tag after it, <img, <li and the list tags at the first ">", <object>
// at the first closing tag when no line ends before it (what "." without the dot-all flag
// allows), "<...>" at the first ">" when something lies between. Bounded patterns (<br\s*/?>,
// closing tags, numeric references) stay plain replace-alls, which are linear for them; entities
// are replaced in one pass each, and trailing blanks by a scan. A tag rule is skipped when a
// quick scan finds no "<" (or "</") followed by a letter it could start with. A test and the
// plain-text fuzz target compare the two on random input.

#include "core/Error.h"

#include <QJsonObject>
#include <QList>
#include <QString>
#include <QStringList>

#include <atomic>
#include <functional>
#include <memory>
#include <optional>

namespace pelix::service {
class Api;
}  // namespace pelix::service
namespace pelix::core {
class Prefs;
class Worker;
}  // namespace pelix::core

namespace pelix::notes {

// Copies every note of a notes app into the account: same folders, the notes' own dates,
// nothing changed or deleted at the source. Notes come from a source that yields a JSON array
// of `Item`; the backend tells what was new, updated or already there.
namespace NotesImport {

// One note as the source reports it.
struct Item {
    QString id;
    QString name;
    QString body;  // HTML
    QString folder;
    std::optional<QString> created;   // ISO 8601 with milliseconds, UTC
    std::optional<QString> modified;  // same
    bool operator==(const Item&) const = default;
};

inline constexpr int kBatch = 100;
inline constexpr double kBatchLimit = 150;
// Error code of a run stopped between batches.
inline constexpr int kCancelled = 5001;

inline constexpr auto kOsascript = "/usr/bin/osascript";
// How long a program that prints the notes may take, unless the preference "notes.timeLimit"
// (seconds) says otherwise.
inline constexpr double kReadLimit = 600;
// The most a program may print, or a file hold, of notes: far more than the HTML of a large
// library, and little enough to read and parse in memory.
inline constexpr qint64 kOutputLimit = 64 * 1024 * 1024;

// The JavaScript for Automation program that prints every note of Notes as JSON.
QString script();

// Folder names of the Notes trash in the languages Pelix knows; compared exactly.
const QStringList& trashNames();

// Where the notes come from: `read` blocks until they are read and is called on a worker
// thread; `reading` is the first progress line, saying what is read.
struct Source {
    enum class Kind { script, command, file };
    std::function<Result<QList<Item>>()> read;
    QString reading;
    Kind kind = Kind::file;
};

// The time limit of a program that prints the notes: "notes.timeLimit", else kReadLimit.
double readLimit(const core::Prefs& prefs);

// Notes through the export script and "/usr/bin/osascript".
Source scriptSource(double limitSeconds = kReadLimit);
// Notes printed by a shell command (run with /bin/sh -c), for example one that runs the export
// on another machine over ssh.
Source commandSource(const QString& command, double limitSeconds = kReadLimit);
// Notes from a JSON file.
Source fileSource(const QString& path);
// osascript where this machine has it, else the command in the preference "notes.command";
// none when neither exists.
std::optional<Source> defaultSource(const core::Prefs& prefs);

// Runs `program` with `arguments` and decodes what it prints. A failing program's error
// output is turned into one of the messages above. A program still running after
// `limitSeconds` is stopped, with everything it started.
Result<QList<Item>> readFrom(const QString& program, const QStringList& arguments,
                             double limitSeconds = kReadLimit);
// The failure for a reader that exited with `errorOutput`.
Error readError(const QString& errorOutput);
// The JSON array of items; empty output counts as none.
Result<QList<Item>> decode(const QByteArray& json);

// A note's HTML body as plain text. Pure and thread-safe; linear in the length of the HTML.
QString plainText(const QString& html);

namespace detail {
// The same conversion run as the plain sequence of replace-alls that defines it: quadratic on
// some inputs. For checking `plainText`.
QString plainTextByPatterns(const QString& html);
}  // namespace detail

// One note as the backend receives it.
QJsonObject noteJson(const Item& item);

struct Totals {
    int sent = 0;
    int created = 0;
    int updated = 0;
    int unchanged = 0;
    int foldersCreated = 0;
};
// "Brought over 5 pearls: 1 new, 4 already here."
QString finalMessage(const Totals& totals);

using Progress = std::function<void(const QString&)>;
using Done = std::function<void(Result<QString>)>;

// The whole import. Reading and converting run on `worker`, whose owner's thread is the Api's;
// the batches go one after the other, each with the token read afresh. `progress` and `done` are
// called on that thread; `done` exactly once while the worker lives. Setting the returned flag
// stops the run before its next batch; batches already sent stay in the account.
std::shared_ptr<std::atomic_bool> run(core::Worker& worker, service::Api& api, Source source,
                                      Progress progress, Done done);

}  // namespace NotesImport
}  // namespace pelix::notes
