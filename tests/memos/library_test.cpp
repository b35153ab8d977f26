#include "memos/VoiceMemoLibrary.h"

#include "MemoTestSupport.h"

namespace pelix::memos {
namespace {

using testing::makeDatabase;
using testing::writeFile;

// Seconds after the reference date of the rows below.
constexpr double kDayOne = 700000000;

// The memos of `folder` as `show` puts each, newest first; none when the folder can't be listed.
QStringList listed(const QString& folder, const std::function<QString(const VoiceMemo&)>& show) {
    const auto memos = VoiceMemoLibrary::memos(folder);
    EXPECT_TRUE(memos);
    QStringList out;
    for (const VoiceMemo& memo : memos.value_or(QList<VoiceMemo>{})) out << show(memo);
    return out;
}
QString fileName(const VoiceMemo& memo) {
    return QFileInfo(memo.url.toLocalFile()).fileName();
}

// One memo as "file title date seconds": the title "dated" when it is the text of its date, the
// date as seconds after kDayOne, "zero" for the reference date itself or "born" for the file's
// birth time.
QString described(const VoiceMemo& memo) {
    const QDateTime day = VoiceMemoLibrary::referenceDate();
    const QString date = memo.date == QFileInfo(memo.url.toLocalFile()).birthTime() ? "born"
                         : memo.date == day                                         ? "zero"
                                            : QString::number(day.secsTo(memo.date) - kDayOne);
    const QString title =
        memo.title == VoiceMemoLibrary::dateTitle(memo.date) ? "dated" : memo.title;
    return QStringList{fileName(memo), title, date, QString::number(memo.seconds)}.join(' ');
}

const QByteArray kAllColumns =
    "CREATE TABLE ZCLOUDRECORDING (Z_PK INTEGER PRIMARY KEY, ZPATH TEXT, ZENCRYPTEDTITLE TEXT, "
    "ZCUSTOMLABELFORSORTING TEXT, ZCUSTOMLABEL TEXT, ZDATE REAL, ZDURATION REAL);";

TEST(Library, ListsEveryRecordingWithTheColumnsItHas) {
    const QStringList filesAlone{"c.m4a c born 0", "b.m4a b born 0", "a.m4a a born 0"};
    const struct {
        const char* what;
        QByteArray sql;  // when it does not start with "CREATE": the file's bytes as they are
        QStringList memos;
    } shapes[] = {
        // The first non-empty name wins; only the stored path's last component is matched.
        {"all title columns",
         kAllColumns +
             "INSERT INTO ZCLOUDRECORDING VALUES "
             "(1, '/x/Recordings/a.m4a', '', NULL, 'Walk home', 700000300, 61.5), "
             "(2, 'b.m4a', 'Secret', 'Sort', 'Label', 700000200, 12), "
             "(3, 'c.m4a', '', '', NULL, 700000100, 3), (4, NULL, 'gone', '', '', 700000400, 3);",
         {"a.m4a Walk home 300 61.5", "b.m4a Secret 200 12", "c.m4a dated 100 3"}},
        {"no title columns",
         "CREATE TABLE ZCLOUDRECORDING (ZPATH TEXT, ZDATE REAL, ZDURATION REAL);"
         "INSERT INTO ZCLOUDRECORDING VALUES ('a.m4a', 700000300, 1), ('b.m4a', 700000200, 2), "
         "('c.m4a', 700000100, 3);",
         {"a.m4a dated 300 1", "b.m4a dated 200 2", "c.m4a dated 100 3"}},
        // c.m4a is not in the database yet: its own birth time, which is newer.
        {"only the custom label",
         "CREATE TABLE ZCLOUDRECORDING (ZPATH TEXT, ZCUSTOMLABEL TEXT, ZDATE REAL, "
         "ZDURATION REAL);"
         "INSERT INTO ZCLOUDRECORDING VALUES ('a.m4a', 'Idea', 700000300, 1), "
         "('b.m4a', NULL, 700000200, 2);",
         {"c.m4a c born 0", "a.m4a Idea 300 1", "b.m4a dated 200 2"}},
        // Without a date column every row is dated at the reference date itself.
        {"no date",
         "CREATE TABLE ZCLOUDRECORDING (ZPATH TEXT, ZCUSTOMLABEL TEXT, ZDURATION REAL);"
         "INSERT INTO ZCLOUDRECORDING VALUES ('a.m4a', 'A', 5);",
         {"c.m4a c born 0", "b.m4a b born 0", "a.m4a A zero 5"}},
        {"no duration",
         "CREATE TABLE ZCLOUDRECORDING (ZPATH TEXT, ZCUSTOMLABEL TEXT, ZDATE REAL);"
         "INSERT INTO ZCLOUDRECORDING VALUES ('a.m4a', 'A', 700000300);",
         {"c.m4a c born 0", "b.m4a b born 0", "a.m4a A 300 0"}},
        {"no path",
         "CREATE TABLE ZCLOUDRECORDING (ZCUSTOMLABEL TEXT, ZDATE REAL);"
         "INSERT INTO ZCLOUDRECORDING VALUES ('A', 700000300);",
         filesAlone},
        {"no table", "CREATE TABLE OTHER (ZPATH TEXT);", filesAlone},
        {"not SQLite", "this is not a database\n", filesAlone},
    };
    for (const auto& shape : shapes) {
        SCOPED_TRACE(shape.what);
        QTemporaryDir folder;
        // Apart in time, so that files the database does not know list in birth order.
        for (const char* name : {"a.m4a", "b.m4a", "c.m4a"}) {
            writeFile(folder.path(), name);
            QThread::msleep(5);
        }
        if (shape.sql.startsWith("CREATE")) {
            makeDatabase(folder.path() + "/CloudRecordings.db", shape.sql);
        } else {
            writeFile(folder.path(), "CloudRecordings.db", shape.sql);
        }
        EXPECT_EQ(listed(folder.path(), described), shape.memos);
    }
}

TEST(Library, KeepsOnlyRecordingsByExtensionInAnyCase) {
    QTemporaryDir folder;
    for (const char* name : {"a.m4a", "b.M4A", "c.qta", "d.Mp4", "e.wav", "f.caf", "g", "m4a"}) {
        writeFile(folder.path(), name);
    }
    makeDatabase(folder.path() + "/CloudRecordings.db", kAllColumns);
    QDir(folder.path()).mkdir("sub.m4a");
    QStringList names = listed(folder.path(), fileName);
    names.sort();
    EXPECT_EQ(names, QStringList({"a.m4a", "b.M4A", "c.qta", "d.Mp4"}));
}

TEST(Library, EqualDatesKeepTheFolderOrder) {
    QTemporaryDir folder;
    QByteArray sql = kAllColumns;
    for (int i = 0; i < 12; ++i) {
        const QString name = QString("memo-%1.m4a").arg(i);
        writeFile(folder.path(), name);
        sql += QString("INSERT INTO ZCLOUDRECORDING (ZPATH, ZDATE) VALUES ('%1', %2);")
                   .arg(name)
                   .arg(i == 5 ? 700000999 : 700000000)
                   .toUtf8();
    }
    makeDatabase(folder.path() + "/CloudRecordings.db", sql);
    QStringList folderOrder{"memo-5.m4a"};
    for (const QString& name :
         QDir(folder.path()).entryList({"*.m4a"}, QDir::Files, QDir::Unsorted)) {
        if (name != "memo-5.m4a") folderOrder << name;
    }
    EXPECT_EQ(listed(folder.path(), fileName), folderOrder);
}

// Recordings copied in together are born at the same moment: each is told by its name, and
// dated by the time it was recorded, which the copy kept as its modification time.
TEST(Library, CopiedFilesAreTitledByNameAndDatedByTheirModificationTime) {
    QTemporaryDir folder;
    const QDateTime recorded = QDateTime::currentDateTimeUtc().addDays(-40);
    writeFile(folder.path(), "Call with Sam.m4a", "x", recorded);
    writeFile(folder.path(), "Lecture 3.part two.M4A", "x", recorded.addDays(2));
    writeFile(folder.path(), ".m4a", "x", recorded.addDays(1));
    EXPECT_EQ(listed(folder.path(),
                     [&](const VoiceMemo& memo) {
                         return memo.title + " " + QString::number(recorded.daysTo(memo.date));
                     }),
              QStringList({"Lecture 3.part two 2", ".m4a 1", "Call with Sam 0"}));
}

// While the recorder holds its database locked, the listing falls back to the files at once.
TEST(Library, ALockedDatabaseListsTheFilesAlone) {
    QTemporaryDir folder;
    writeFile(folder.path(), "a.m4a");
    const QString path = folder.path() + "/CloudRecordings.db";
    makeDatabase(path, kAllColumns +
                           "INSERT INTO ZCLOUDRECORDING (ZPATH, ZCUSTOMLABEL, ZDURATION) "
                           "VALUES ('a.m4a', 'Named', 9);");
    sqlite3* writer = nullptr;
    ASSERT_EQ(sqlite3_open(QFile::encodeName(path).constData(), &writer), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(writer, "BEGIN EXCLUSIVE;", nullptr, nullptr, nullptr), SQLITE_OK);
    const QStringList memos = listed(folder.path(), described);
    sqlite3_close(writer);
    EXPECT_EQ(memos, QStringList{"a.m4a a born 0"});
}

TEST(Library, AFolderThatCannotBeListedGivesNoListAtAll) {
    QTemporaryDir home;
    EXPECT_FALSE(VoiceMemoLibrary::memos(home.path() + "/missing"));
    EXPECT_FALSE(VoiceMemoLibrary::canRead(home.path() + "/missing"));
    EXPECT_FALSE(VoiceMemoLibrary::memos(writeFile(home.path(), "plain.m4a")));
    // An empty folder is a library with nothing in it, not a closed one.
    ASSERT_TRUE(QDir(home.path()).mkdir("empty"));
    EXPECT_EQ(listed(home.path() + "/empty", fileName), QStringList{});
}

}  // namespace
}  // namespace pelix::memos
