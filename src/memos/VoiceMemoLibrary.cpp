#include "memos/VoiceMemoLibrary.h"

#include "core/Prefs.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QHash>
#include <QSet>
#include <QStandardPaths>

#include <sqlite3.h>
#include <unicode/datefmt.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cmath>
#include <memory>

namespace pelix::memos::VoiceMemoLibrary {
namespace {

// Seconds from 1970 to the recorder's reference date.
constexpr qint64 kReferenceEpochMs = 978307200000;
// 0001-01-01 00:00:00 UTC: the date of a file whose file system gives none.
constexpr qint64 kDistantPastMs = -62135596800000;

struct CloseDatabase {
    void operator()(sqlite3* db) const { sqlite3_close_v2(db); }
};
struct FinalizeStatement {
    void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Database = std::unique_ptr<sqlite3, CloseDatabase>;
using Statement = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

Statement prepare(sqlite3* db, const QByteArray& sql) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(db, sql.constData(), -1, &statement, nullptr) != SQLITE_OK) {
        sqlite3_finalize(statement);
        return nullptr;
    }
    return Statement(statement);
}

QString text(sqlite3_stmt* statement, int column) {
    const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
    return bytes ? QString::fromUtf8(bytes, sqlite3_column_bytes(statement, column)) : QString();
}

// The title expression: the first non-empty of the name columns the table has.
QByteArray titleExpression(const QSet<QByteArray>& columns) {
    QByteArrayList kept;
    for (const char* column : {"ZENCRYPTEDTITLE", "ZCUSTOMLABELFORSORTING", "ZCUSTOMLABEL"}) {
        if (columns.contains(column)) kept << "NULLIF(" + QByteArray(column) + ", '')";
    }
    if (kept.isEmpty()) return "''";
    return "COALESCE(" + kept.join(", ") + ", '')";
}

// Formats stand-in titles; made once per listing, since making an ICU formatter is slow.
class DateTitles {
public:
    DateTitles()
        : format_(icu::DateFormat::createDateTimeInstance(icu::DateFormat::kMedium,
                                                          icu::DateFormat::kShort)) {}

    QString operator()(const QDateTime& date) const {
        if (!format_) return date.toLocalTime().toString(Qt::TextDate);
        icu::UnicodeString out;
        format_->format(static_cast<UDate>(date.toMSecsSinceEpoch()), out);
        return QString(reinterpret_cast<const QChar*>(out.getBuffer()), out.length());
    }

private:
    std::unique_ptr<icu::DateFormat> format_;
};

}  // namespace

QDateTime referenceDate() {
    return QDateTime::fromMSecsSinceEpoch(kReferenceEpochMs, Qt::UTC);
}

QString folder(const core::Prefs& prefs) {
    for (const char* key : {kFolderKey, kOldFolderKey}) {
        if (auto chosen = prefs.string(key); chosen && !chosen->isEmpty()) return *chosen;
    }
    QString music = QStandardPaths::writableLocation(QStandardPaths::MusicLocation);
    if (music.isEmpty()) music = QDir::homePath() + "/Music";
    return music + "/Recordings";
}

void setFolder(core::Prefs& prefs, const QString& folder) {
    prefs.setValue(kFolderKey, folder);
    prefs.remove(kOldFolderKey);
}

bool chosen(const core::Prefs& prefs) {
    for (const char* key : {kFolderKey, kOldFolderKey}) {
        if (auto set = prefs.string(key); set && !set->isEmpty()) return true;
    }
    return false;
}

QString prepare(const core::Prefs& prefs) {
    const QString path = folder(prefs);
    if (!chosen(prefs) && !QFileInfo::exists(path)) QDir().mkpath(path);
    return path;
}

bool closed(const core::Prefs& prefs) {
    const QString path = folder(prefs);
    if (canRead(path)) return false;
    return chosen(prefs) || QFileInfo::exists(path);
}

bool canRead(const QString& folder) {
    const QFileInfo info(folder);
    return info.isDir() && info.isReadable() && info.isExecutable();
}

bool isRecording(const QString& name) {
    const qsizetype dot = name.lastIndexOf('.');
    if (dot < 0) return false;
    const QStringView extension = QStringView(name).mid(dot + 1);
    for (const char* known : {"m4a", "qta", "mp4"}) {
        if (extension.compare(QLatin1String(known), Qt::CaseInsensitive) == 0) return true;
    }
    return false;
}

std::optional<QList<FolderFile>> listFolder(const QString& folder) {
    if (!canRead(folder)) return std::nullopt;
    QList<FolderFile> files;
    QDirIterator it(folder, QDir::Files | QDir::Hidden | QDir::System);
    while (it.hasNext()) {
        it.next();
        const QFileInfo info = it.fileInfo();
        const QDateTime modified = info.lastModified();
        const QDateTime born = info.birthTime();
        files.push_back(FolderFile{info.filePath(), info.fileName(),
                                   born.isValid() ? born : modified, modified});
    }
    return files;
}

QList<Row> rows(const QString& path) {
    sqlite3* raw = nullptr;
    const int opened =
        sqlite3_open_v2(QFile::encodeName(path).constData(), &raw, SQLITE_OPEN_READONLY, nullptr);
    Database db(raw);
    if (opened != SQLITE_OK || !db) return {};

    QSet<QByteArray> columns;
    {
        Statement info = prepare(db.get(), "PRAGMA table_info(ZCLOUDRECORDING)");
        if (!info) return {};
        while (sqlite3_step(info.get()) == SQLITE_ROW) {
            columns.insert(reinterpret_cast<const char*>(sqlite3_column_text(info.get(), 1)));
        }
    }
    if (!columns.contains("ZPATH")) return {};

    const QByteArray sql = "SELECT ZPATH, " + titleExpression(columns) + ", " +
                           (columns.contains("ZDATE") ? "ZDATE" : "0") + ", " +
                           (columns.contains("ZDURATION") ? "ZDURATION" : "0") +
                           " FROM ZCLOUDRECORDING WHERE ZPATH IS NOT NULL";
    Statement select = prepare(db.get(), sql);
    if (!select) return {};

    QList<Row> out;
    int step = SQLITE_ROW;
    while ((step = sqlite3_step(select.get())) == SQLITE_ROW) {
        if (sqlite3_column_type(select.get(), 0) == SQLITE_NULL) continue;
        const QString stored = text(select.get(), 0);
        const double since = sqlite3_column_double(select.get(), 2);
        out.push_back(Row{
            stored.mid(stored.lastIndexOf('/') + 1), text(select.get(), 1),
            QDateTime::fromMSecsSinceEpoch(kReferenceEpochMs + std::llround(since * 1000), Qt::UTC),
            sqlite3_column_double(select.get(), 3)});
    }
    // A database that breaks off half-way (locked, corrupt) gives nothing rather than a part.
    if (step != SQLITE_DONE) return {};
    return out;
}

std::optional<QList<VoiceMemo>> memos(const QString& folder) {
    const auto files = listFolder(folder);
    if (!files) return std::nullopt;

    QHash<QString, Row> known;
    const QList<Row> stored = rows(QDir(folder).filePath(kDatabaseName));
    known.reserve(stored.size());
    for (const Row& row : stored) known.insert(row.file, row);

    const DateTitles titles;
    QList<VoiceMemo> out;
    out.reserve(files->size());
    for (const FolderFile& file : *files) {
        if (!isRecording(file.name)) continue;
        const QUrl url = QUrl::fromLocalFile(file.path);
        if (auto row = known.constFind(file.name); row != known.cend()) {
            out.push_back(VoiceMemo{url, row->title.isEmpty() ? titles(row->date) : row->title,
                                    row->date, row->seconds});
        } else {
            QDateTime date =
                file.created.isValid() && (!file.modified.isValid() || file.created < file.modified)
                    ? file.created
                    : file.modified;
            if (!date.isValid()) date = QDateTime::fromMSecsSinceEpoch(kDistantPastMs, Qt::UTC);
            const QString stem = QFileInfo(file.name).completeBaseName();
            out.push_back(VoiceMemo{url, stem.isEmpty() ? file.name : stem, date, 0});
        }
    }
    std::stable_sort(out.begin(), out.end(),
                     [](const VoiceMemo& a, const VoiceMemo& b) { return a.date > b.date; });
    return out;
}

QString dateTitle(const QDateTime& date) {
    return DateTitles()(date);
}

}  // namespace pelix::memos::VoiceMemoLibrary
