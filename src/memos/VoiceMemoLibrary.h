#pragma once

// The database is the recorder's table ZCLOUDRECORDING, read with SQLite opened
// SQLITE_OPEN_READONLY: its columns are found with PRAGMA table_info, the title is a COALESCE
// over the name columns the table has, and dates count from referenceDate(). Any failure, a
// database that breaks off half-way included, gives no rows rather than some; a missing, locked,
// corrupt or foreign database never fails the listing. Birth times come from statx through
// QFileInfo::birthTime, the modification time where the file system keeps none.

#include <QDateTime>
#include <QHash>
#include <QList>
#include <QString>
#include <QUrl>

#include <optional>

namespace pelix::core {
class Prefs;
}  // namespace pelix::core

namespace pelix::memos {

// One recording of the recordings folder. Its identity is its file.
struct VoiceMemo {
    QUrl url;
    // The name given in the recorder; a file the recorder's database does not name is titled by
    // its file name without the extension.
    QString title;
    QDateTime date;
    double seconds = 0;

    bool operator==(const VoiceMemo&) const = default;
};

inline size_t qHash(const VoiceMemo& memo, size_t seed = 0) {
    return qHash(memo.url, seed);
}

// One file of the recordings folder with the dates the watcher needs.
struct FolderFile {
    QString path;
    QString name;
    // The file system's birth time; the modification time where it keeps none.
    QDateTime created;
    QDateTime modified;
};

// Reads the recordings folder and its "CloudRecordings.db" without ever writing to either.
namespace VoiceMemoLibrary {

inline constexpr auto kDatabaseName = "CloudRecordings.db";

// The log line of callers that find the folder closed; what they say to the user is
// `core::sentences::kLetPelixRead`.
inline constexpr auto kFolderClosedLog = "voice memos: folder closed (it cannot be read)";

// One row of the database: the stored path's last component, the name (maybe empty), the
// recording date and the length.
struct Row {
    QString file;
    QString title;
    QDateTime date;
    double seconds = 0;
};

// The preference that names the recordings folder, and the name older versions gave it (read
// while the new one is absent, removed when a folder is chosen).
inline constexpr auto kFolderKey = "voiceMemos.folder";
inline constexpr auto kOldFolderKey = "voiceMemos.testFolder";
// The recordings folder: the preference "voiceMemos.folder" when set, else "Recordings" in the
// user's music folder (XDG_MUSIC_DIR, else ~/Music), where a phone's sync tool can put them.
QString folder(const core::Prefs& prefs);
// Keeps `folder` as the recordings folder.
void setFolder(core::Prefs& prefs, const QString& folder);
// Whether the user chose the folder (or an older version kept one), rather than it being the
// default.
bool chosen(const core::Prefs& prefs);
// The folder, the default one made when it is missing (a chosen folder is never made: it may be
// a disk that is not plugged in). Returns the folder either way.
QString prepare(const core::Prefs& prefs);
// Whether the folder is there, or ought to be, and cannot be listed: a chosen folder that cannot
// be read, or a default one that exists and cannot. A default folder not made yet is not closed:
// it is made on first use.
bool closed(const core::Prefs& prefs);

// Whether the folder can be listed now.
bool canRead(const QString& folder);

// The folder's direct contents, in the order the file system lists them; none when the folder
// cannot be listed.
std::optional<QList<FolderFile>> listFolder(const QString& folder);

// Whether a file name has one of the recorder's extensions (m4a, qta, mp4, in any case).
bool isRecording(const QString& name);

// The rows of the database at `path`, in database order; empty when anything about it fails.
QList<Row> rows(const QString& path);

// The recordings, newest first (equal dates keep folder order); none when the folder cannot be
// listed. Files the database does not know are listed under their file name without the
// extension, dated by the older of their birth and modification times (a copy is born when it
// is copied, but keeps the time it was recorded as its modification time), with length 0.
std::optional<QList<VoiceMemo>> memos(const QString& folder);

// The date-and-time text that stands in for a missing name: medium date, short time, in the
// user's locale.
QString dateTitle(const QDateTime& date);

// The recorder's reference date, 2001-01-01 00:00:00 UTC.
QDateTime referenceDate();

}  // namespace VoiceMemoLibrary
}  // namespace pelix::memos
