#include "memos/VoiceMemoLibrary.h"

#include "MemoTestSupport.h"

#include <gtest/gtest.h>
#include <QDir>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QThread>

namespace pelix {
namespace {

using testing::makeDatabase;
using testing::writeFile;

// Seconds after the reference date of the rows below.
constexpr double kDayOne = 700000000;

QDateTime at(double sinceReference) {
    return VoiceMemoLibrary::referenceDate().addMSecs(static_cast<qint64>(sinceReference * 1000));
}

struct Expected {
    QString file;
    QString title;  // empty: the date-and-time text of `date`
    QDateTime date;
    double seconds = 0;
};

struct Shape {
    const char* name;
    QByteArray sql;         // when it does not start with "CREATE": the file's bytes as they are
    QList<Expected> memos;  // newest first
};
void PrintTo(const Shape& c, std::ostream* out) {
    *out << c.name;
}

const QByteArray kAllColumns =
    "CREATE TABLE ZCLOUDRECORDING (Z_PK INTEGER PRIMARY KEY, ZPATH TEXT, ZENCRYPTEDTITLE TEXT, "
    "ZCUSTOMLABELFORSORTING TEXT, ZCUSTOMLABEL TEXT, ZDATE REAL, ZDURATION REAL);";

class LibraryShapes : public ::testing::TestWithParam<Shape> {};

TEST_P(LibraryShapes, ListsEveryRecordingWithTheColumnsItHas) {
    const Shape& shape = GetParam();
    QTemporaryDir folder;
    // Apart in time, so that files the database does not know list in birth order.
    for (const char* name : {"a.m4a", "b.m4a", "c.m4a"}) {
        writeFile(folder.path(), name);
        QThread::msleep(5);
    }
    const QString database = QDir(folder.path()).filePath("CloudRecordings.db");
    if (shape.sql.startsWith("CREATE")) {
        makeDatabase(database, shape.sql);
    } else {
        writeFile(folder.path(), "CloudRecordings.db", shape.sql);
    }

    const auto memos = VoiceMemoLibrary::memos(folder.path());
    ASSERT_TRUE(memos);
    ASSERT_EQ(memos->size(), shape.memos.size());
    for (qsizetype i = 0; i < memos->size(); ++i) {
        const VoiceMemo& memo = memos->at(i);
        const Expected& want = shape.memos.at(i);
        const QString path = QDir(folder.path()).filePath(want.file);
        const QDateTime date = want.date.isValid() ? want.date : QFileInfo(path).birthTime();
        EXPECT_EQ(memo.url, QUrl::fromLocalFile(path)) << i;
        EXPECT_EQ(memo.date, date) << want.file.toStdString();
        EXPECT_EQ(memo.title, want.title.isEmpty() ? VoiceMemoLibrary::dateTitle(date) : want.title)
            << want.file.toStdString();
        EXPECT_EQ(memo.seconds, want.seconds) << want.file.toStdString();
    }
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
              {{"a.m4a", "Walk home", at(kDayOne + 300), 61.5},
               {"b.m4a", "Secret", at(kDayOne + 200), 12},
               {"c.m4a", "", at(kDayOne + 100), 3}}},
        Shape{"NoTitleColumns",
              "CREATE TABLE ZCLOUDRECORDING (ZPATH TEXT, ZDATE REAL, ZDURATION REAL);"
              "INSERT INTO ZCLOUDRECORDING VALUES ('a.m4a', 700000300, 1);"
              "INSERT INTO ZCLOUDRECORDING VALUES ('b.m4a', 700000200, 2);"
              "INSERT INTO ZCLOUDRECORDING VALUES ('c.m4a', 700000100, 3);",
              {{"a.m4a", "", at(kDayOne + 300), 1},
               {"b.m4a", "", at(kDayOne + 200), 2},
               {"c.m4a", "", at(kDayOne + 100), 3}}},
        Shape{"OnlyCustomLabel",
              "CREATE TABLE ZCLOUDRECORDING (ZPATH TEXT, ZCUSTOMLABEL TEXT, ZDATE REAL, "
              "ZDURATION REAL);"
              "INSERT INTO ZCLOUDRECORDING VALUES ('a.m4a', 'Idea', 700000300, 1);"
              "INSERT INTO ZCLOUDRECORDING VALUES ('b.m4a', NULL, 700000200, 2);",
              // c.m4a is not in the database yet: its own birth time, which is newer.
              {{"c.m4a", "", {}, 0},
               {"a.m4a", "Idea", at(kDayOne + 300), 1},
               {"b.m4a", "", at(kDayOne + 200), 2}}},
        // Without a date column every row is dated at the reference date itself.
        Shape{"NoDate",
              "CREATE TABLE ZCLOUDRECORDING (ZPATH TEXT, ZCUSTOMLABEL TEXT, ZDURATION REAL);"
              "INSERT INTO ZCLOUDRECORDING VALUES ('a.m4a', 'A', 5);",
              {{"c.m4a", "", {}, 0}, {"b.m4a", "", {}, 0}, {"a.m4a", "A", at(0), 5}}},
        Shape{"NoDuration",
              "CREATE TABLE ZCLOUDRECORDING (ZPATH TEXT, ZCUSTOMLABEL TEXT, ZDATE REAL);"
              "INSERT INTO ZCLOUDRECORDING VALUES ('a.m4a', 'A', 700000300);",
              {{"c.m4a", "", {}, 0}, {"b.m4a", "", {}, 0}, {"a.m4a", "A", at(kDayOne + 300), 0}}},
        Shape{"NoPath",
              "CREATE TABLE ZCLOUDRECORDING (ZCUSTOMLABEL TEXT, ZDATE REAL);"
              "INSERT INTO ZCLOUDRECORDING VALUES ('A', 700000300);",
              {{"c.m4a", "", {}, 0}, {"b.m4a", "", {}, 0}, {"a.m4a", "", {}, 0}}},
        Shape{"NoTable",
              "CREATE TABLE OTHER (ZPATH TEXT);",
              {{"c.m4a", "", {}, 0}, {"b.m4a", "", {}, 0}, {"a.m4a", "", {}, 0}}},
        Shape{"NotSqlite",
              "this is not a database\n",
              {{"c.m4a", "", {}, 0}, {"b.m4a", "", {}, 0}, {"a.m4a", "", {}, 0}}}),
    [](const ::testing::TestParamInfo<Shape>& info) { return std::string(info.param.name); });

TEST(Library, KeepsOnlyRecordingsByExtensionInAnyCase) {
    QTemporaryDir folder;
    for (const char* name : {"a.m4a", "b.M4A", "c.qta", "d.Mp4", "e.wav", "f.caf", "g", "m4a"}) {
        writeFile(folder.path(), name);
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
        writeFile(folder.path(), name);
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

// While the recorder holds its database locked, the listing falls back to the files at once.
TEST(Library, ALockedDatabaseListsTheFilesAlone) {
    QTemporaryDir folder;
    writeFile(folder.path(), "a.m4a");
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
    const QString file = writeFile(home.path(), "plain.m4a");
    EXPECT_FALSE(VoiceMemoLibrary::memos(file));

    // An empty folder is a library with nothing in it, not a closed one.
    ASSERT_TRUE(QDir(home.path()).mkdir("empty"));
    const auto empty = VoiceMemoLibrary::memos(home.path() + "/empty");
    ASSERT_TRUE(empty);
    EXPECT_TRUE(empty->isEmpty());
}

}  // namespace
}  // namespace pelix
