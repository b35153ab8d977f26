#include "memos/VoiceMemoLibrary.h"

#include "MemoTestSupport.h"

namespace pelix::memos {
namespace {

using testing::makeDatabase;
using testing::writeFile;

// Seconds after the reference date of the rows below.
constexpr double kDayOne = 700000000;

// One memo as "file title date seconds": the title "dated" when it is the text of its date, the
// date as seconds after kDayOne, "zero" for the reference date itself or "born" for the file's
// birth time.
QString described(const VoiceMemo& memo) {
    const QFileInfo file(memo.url.toLocalFile());
    const QDateTime day = VoiceMemoLibrary::referenceDate();
    const QString date = memo.date == file.birthTime() ? "born"
                         : memo.date == day            ? "zero"
                                            : QString::number(day.secsTo(memo.date) - kDayOne);
    const QString title =
        memo.title == VoiceMemoLibrary::dateTitle(memo.date) ? "dated" : memo.title;
    return QStringList{file.fileName(), title, date, QString::number(memo.seconds)}.join(' ');
}

struct Shape {
    const char* name;
    QByteArray sql;     // when it does not start with "CREATE": the file's bytes as they are
    QStringList memos;  // newest first
};
void PrintTo(const Shape& c, std::ostream* out) {
    *out << c.name;
}

const QByteArray kAllColumns =
    "CREATE TABLE ZCLOUDRECORDING (Z_PK INTEGER PRIMARY KEY, ZPATH TEXT, ZENCRYPTEDTITLE TEXT, "
    "ZCUSTOMLABELFORSORTING TEXT, ZCUSTOMLABEL TEXT, ZDATE REAL, ZDURATION REAL);";
const QStringList kFilesAlone{"c.m4a c born 0", "b.m4a b born 0", "a.m4a a born 0"};

class LibraryShapes : public ::testing::TestWithParam<Shape> {};

TEST_P(LibraryShapes, ListsEveryRecordingWithTheColumnsItHas) {
    const Shape& shape = GetParam();
    QTemporaryDir folder;
    // Apart in time, so that files the database does not know list in birth order.
    for (const char* name : {"a.m4a", "b.m4a", "c.m4a"}) {
        testing::writeFile(folder.path(), name);
        QThread::msleep(5);
    }
    const QString database = QDir(folder.path()).filePath("CloudRecordings.db");
    if (shape.sql.startsWith("CREATE")) {
        makeDatabase(database, shape.sql);
    } else {
        testing::writeFile(folder.path(), "CloudRecordings.db", shape.sql);
    }
    const auto memos = VoiceMemoLibrary::memos(folder.path());
    ASSERT_TRUE(memos);
    QStringList listed;
    for (const VoiceMemo& memo : *memos) listed << described(memo);
    EXPECT_EQ(listed, shape.memos);
}

INSTANTIATE_TEST_SUITE_P(
    Shapes, LibraryShapes,
    ::testing::Values(
        // The first non-empty name wins; only the stored path's last component is matched.
        Shape{"AllTitleColumns",
              kAllColumns +
                  "INSERT INTO ZCLOUDRECORDING VALUES (1, '/x/Recordings/a.m4a', '', NULL, "
                  "'Walk home', 700000300, 61.5);"
                  "INSERT INTO ZCLOUDRECORDING VALUES (2, 'b.m4a', 'Secret', 'Sort', 'Label', "
                  "700000200, 12);"
                  "INSERT INTO ZCLOUDRECORDING VALUES (3, 'c.m4a', '', '', NULL, 700000100, 3);"
                  "INSERT INTO ZCLOUDRECORDING VALUES (4, NULL, 'gone', '', '', 700000400, 3);",
              {"a.m4a Walk home 300 61.5", "b.m4a Secret 200 12", "c.m4a dated 100 3"}},
        Shape{"NoTitleColumns",
              "CREATE TABLE ZCLOUDRECORDING (ZPATH TEXT, ZDATE REAL, ZDURATION REAL);"
              "INSERT INTO ZCLOUDRECORDING VALUES ('a.m4a', 700000300, 1);"
              "INSERT INTO ZCLOUDRECORDING VALUES ('b.m4a', 700000200, 2);"
              "INSERT INTO ZCLOUDRECORDING VALUES ('c.m4a', 700000100, 3);",
              {"a.m4a dated 300 1", "b.m4a dated 200 2", "c.m4a dated 100 3"}},
        // c.m4a is not in the database yet: its own birth time, which is newer.
        Shape{"OnlyCustomLabel",
              "CREATE TABLE ZCLOUDRECORDING (ZPATH TEXT, ZCUSTOMLABEL TEXT, ZDATE REAL, "
              "ZDURATION REAL);"
              "INSERT INTO ZCLOUDRECORDING VALUES ('a.m4a', 'Idea', 700000300, 1);"
              "INSERT INTO ZCLOUDRECORDING VALUES ('b.m4a', NULL, 700000200, 2);",
              {"c.m4a c born 0", "a.m4a Idea 300 1", "b.m4a dated 200 2"}},
        // Without a date column every row is dated at the reference date itself.
        Shape{"NoDate",
              "CREATE TABLE ZCLOUDRECORDING (ZPATH TEXT, ZCUSTOMLABEL TEXT, ZDURATION REAL);"
              "INSERT INTO ZCLOUDRECORDING VALUES ('a.m4a', 'A', 5);",
              {"c.m4a c born 0", "b.m4a b born 0", "a.m4a A zero 5"}},
        Shape{"NoDuration",
              "CREATE TABLE ZCLOUDRECORDING (ZPATH TEXT, ZCUSTOMLABEL TEXT, ZDATE REAL);"
              "INSERT INTO ZCLOUDRECORDING VALUES ('a.m4a', 'A', 700000300);",
              {"c.m4a c born 0", "b.m4a b born 0", "a.m4a A 300 0"}},
        Shape{"NoPath",
              "CREATE TABLE ZCLOUDRECORDING (ZCUSTOMLABEL TEXT, ZDATE REAL);"
              "INSERT INTO ZCLOUDRECORDING VALUES ('A', 700000300);",
              kFilesAlone},
        Shape{"NoTable", "CREATE TABLE OTHER (ZPATH TEXT);", kFilesAlone},
        Shape{"NotSqlite", "this is not a database\n", kFilesAlone}),
    [](const ::testing::TestParamInfo<Shape>& info) { return std::string(info.param.name); });

TEST(Library, KeepsOnlyRecordingsByExtensionInAnyCase) {
    QTemporaryDir folder;
    for (const char* name : {"a.m4a", "b.M4A", "c.qta", "d.Mp4", "e.wav", "f.caf", "g", "m4a"}) {
        testing::writeFile(folder.path(), name);
    }
    makeDatabase(QDir(folder.path()).filePath("CloudRecordings.db"), kAllColumns);
    QDir(folder.path()).mkdir("sub.m4a");

    const auto memos = VoiceMemoLibrary::memos(folder.path());
    ASSERT_TRUE(memos);
    QStringList names;
    for (const VoiceMemo& memo : *memos) names << QFileInfo(memo.url.toLocalFile()).fileName();
    names.sort();
    EXPECT_EQ(names, QStringList({"a.m4a", "b.M4A", "c.qta", "d.Mp4"}));
}

TEST(Library, EqualDatesKeepTheFolderOrder) {
    QTemporaryDir folder;
    QByteArray sql = kAllColumns;
    for (int i = 0; i < 12; ++i) {
        const QString name = QString("memo-%1.m4a").arg(i);
        testing::writeFile(folder.path(), name);
        sql += QString("INSERT INTO ZCLOUDRECORDING (ZPATH, ZDATE) VALUES ('%1', %2);")
                   .arg(name)
                   .arg(i == 5 ? 700000999 : 700000000)
                   .toUtf8();
    }
    makeDatabase(QDir(folder.path()).filePath("CloudRecordings.db"), sql);

    QStringList folderOrder;
    for (const QString& name :
         QDir(folder.path()).entryList({"*.m4a"}, QDir::Files, QDir::Unsorted)) {
        if (name != "memo-5.m4a") folderOrder << name;
    }
    const auto memos = VoiceMemoLibrary::memos(folder.path());
    ASSERT_TRUE(memos);
    QStringList listed;
    for (const VoiceMemo& memo : *memos) listed << QFileInfo(memo.url.toLocalFile()).fileName();
    EXPECT_EQ(listed.takeFirst(), "memo-5.m4a");
    EXPECT_EQ(listed, folderOrder);
}

// Recordings copied in together are born at the same moment: each is told by its name, and
// dated by the time it was recorded, which the copy kept as its modification time.
TEST(Library, CopiedFilesAreTitledByNameAndDatedByTheirModificationTime) {
    QTemporaryDir folder;
    const QDateTime recorded = QDateTime::currentDateTimeUtc().addDays(-40);
    const struct {
        const char* name;
        int daysAfter;
    } copies[] = {{"Call with Sam.m4a", 0}, {"Lecture 3.part two.M4A", 2}, {".m4a", 1}};
    for (const auto& copy : copies) {
        testing::writeFile(folder.path(), copy.name, "x", recorded.addDays(copy.daysAfter));
    }
    const auto memos = VoiceMemoLibrary::memos(folder.path());
    ASSERT_TRUE(memos);
    QStringList listed;
    for (const VoiceMemo& memo : *memos) {
        listed << memo.title + " " + QString::number(recorded.daysTo(memo.date));
    }
    EXPECT_EQ(listed, QStringList({"Lecture 3.part two 2", ".m4a 1", "Call with Sam 0"}));
}

// While the recorder holds its database locked, the listing falls back to the files at once.
TEST(Library, ALockedDatabaseListsTheFilesAlone) {
    QTemporaryDir folder;
    testing::writeFile(folder.path(), "a.m4a");
    const QString path = QDir(folder.path()).filePath("CloudRecordings.db");
    makeDatabase(path, kAllColumns +
                           "INSERT INTO ZCLOUDRECORDING (ZPATH, ZCUSTOMLABEL, ZDURATION) "
                           "VALUES ('a.m4a', 'Named', 9);");
    sqlite3* writer = nullptr;
    ASSERT_EQ(sqlite3_open(QFile::encodeName(path).constData(), &writer), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(writer, "BEGIN EXCLUSIVE;", nullptr, nullptr, nullptr), SQLITE_OK);

    const auto memos = VoiceMemoLibrary::memos(folder.path());
    sqlite3_close(writer);
    ASSERT_TRUE(memos);
    ASSERT_EQ(memos->size(), 1);
    EXPECT_EQ(memos->at(0).seconds, 0);
    EXPECT_NE(memos->at(0).title, "Named");
}

TEST(Library, AFolderThatCannotBeListedGivesNoListAtAll) {
    QTemporaryDir home;
    EXPECT_FALSE(VoiceMemoLibrary::memos(home.path() + "/missing"));
    EXPECT_FALSE(VoiceMemoLibrary::canRead(home.path() + "/missing"));
    const QString file = testing::writeFile(home.path(), "plain.m4a");
    EXPECT_FALSE(VoiceMemoLibrary::memos(file));

    // An empty folder is a library with nothing in it, not a closed one.
    ASSERT_TRUE(QDir(home.path()).mkdir("empty"));
    const auto empty = VoiceMemoLibrary::memos(home.path() + "/empty");
    ASSERT_TRUE(empty);
    EXPECT_TRUE(empty->isEmpty());
}

}  // namespace
}  // namespace pelix::memos
