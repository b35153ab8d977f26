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
// date as seconds after kDayOne or "born" for the file's birth time.
QString described(const VoiceMemo& memo) {
    const QDateTime day = VoiceMemoLibrary::referenceDate();
    const QString date = memo.date == QFileInfo(memo.url.toLocalFile()).birthTime()
                             ? "born"
                             : QString::number(day.secsTo(memo.date) - kDayOne);
    const QString title =
        memo.title == VoiceMemoLibrary::dateTitle(memo.date) ? "dated" : memo.title;
    return QStringList{fileName(memo), title, date, QString::number(memo.seconds)}.join(' ');
}

const QByteArray kAllColumns =
    "CREATE TABLE ZCLOUDRECORDING (Z_PK INTEGER PRIMARY KEY, ZPATH TEXT, ZENCRYPTEDTITLE TEXT, "
    "ZCUSTOMLABELFORSORTING TEXT, ZCUSTOMLABEL TEXT, ZDATE REAL, ZDURATION REAL);";

TEST(Library, ListsEveryRecordingWithTheColumnsItHas) {
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
        // Without title columns, and c.m4a not in the database yet: its own birth time, newer.
        {"only a path and a date",
         "CREATE TABLE ZCLOUDRECORDING (ZPATH TEXT, ZDATE REAL);"
         "INSERT INTO ZCLOUDRECORDING VALUES ('a.m4a', 700000300), ('b.m4a', 700000200);",
         {"c.m4a c born 0", "a.m4a dated 300 0", "b.m4a dated 200 0"}},
        {"not SQLite",
         "this is not a database\n",
         {"c.m4a c born 0", "b.m4a b born 0", "a.m4a a born 0"}},
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

}  // namespace
}  // namespace pelix::memos
