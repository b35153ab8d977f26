#include "memos/MemoChooserModel.h"

#include "MemoTestSupport.h"
#include "core/Prefs.h"

namespace pelix::memos {
namespace {

class ChooserTest : public ::testing::Test {
protected:
    void SetUp() override { prefs.setValue("voiceMemos.folder", folder.path()); }

    // `count` recordings "memo-<n>.m4a" titled "Memo <n>", the higher n the newer.
    void makeMemos(int count) {
        QByteArray sql =
            "CREATE TABLE ZCLOUDRECORDING (Z_PK INTEGER PRIMARY KEY, ZPATH TEXT, "
            "ZCUSTOMLABEL TEXT, ZDATE REAL, ZDURATION REAL);";
        for (int n = 1; n <= count; ++n) {
            testing::writeFile(folder.path(), QString("memo-%1.m4a").arg(n));
            sql += QString(
                       "INSERT INTO ZCLOUDRECORDING (ZPATH, ZCUSTOMLABEL, ZDATE, ZDURATION) "
                       "VALUES ('Recordings/memo-%1.m4a', 'Memo %1', %2, 30);")
                       .arg(n)
                       .arg(700000000 + n * 60)
                       .toUtf8();
        }
        testing::makeDatabase(folder.path() + "/CloudRecordings.db", sql);
    }
    void load() {
        model.load();
        ASSERT_TRUE(testing::waitUntil([&] { return !model.loading(); }));
    }
    // Each memo's state as "<n>:<state>", "-" for none.
    QString states() const {
        QStringList out;
        for (int n = 1; n <= model.memos().size(); ++n) {
            const auto state = model.state(QString("memo-%1.m4a").arg(n));
            out << QString("%1:%2").arg(n).arg(
                state ? QStringList{"waiting", "sending", "sent", "failed"}[int(*state)] : "-");
        }
        return out.join(' ');
    }
    // Answers the one send in flight: there is never more than one.
    void answer(bool ok) {
        ASSERT_EQ(pending.size(), 1);
        pending.takeFirst()(ok);
    }

    testing::IsolatedHome home;
    QTemporaryDir folder;
    core::Prefs prefs{home.configDir() + "/Pelix.conf"};
    // What was sent, as "file title"; the sends answer only when the test says.
    QStringList sends;
    QList<std::function<void(bool)>> pending;
    MemoChooserModel model{prefs,
                           [this](const QString& file, const std::optional<QString>& title,
                                  std::function<void(bool)> done) {
                               sends << QFileInfo(file).fileName() + " " + title.value_or("-");
                               pending << std::move(done);
                           },
                           [](bool) {}};
};

TEST_F(ChooserTest, TickedMemosGoNewestFirstOneAtATimeAndAFailureDoesNotStopTheRest) {
    makeMemos(5);
    // A memo the watcher sent is in Pelix, and ticking it sends it no more.
    prefs.setValue("voiceMemos.sent", QStringList{"memo-5.m4a"});
    load();
    for (const char* name : {"memo-1.m4a", "memo-2.m4a", "memo-4.m4a", "memo-5.m4a"}) {
        model.setPicked(name, true);
    }
    model.sendPicked();
    EXPECT_EQ(sends, QStringList{"memo-4.m4a Memo 4"});
    EXPECT_EQ(states(), "1:waiting 2:waiting 3:- 4:sending 5:sent");

    answer(true);
    answer(false);
    answer(true);
    EXPECT_EQ(sends, (QStringList{"memo-4.m4a Memo 4", "memo-2.m4a Memo 2", "memo-1.m4a Memo 1"}));
    EXPECT_FALSE(model.sending());
    EXPECT_EQ(model.status(), "2 of 3 sent. Tick the other to try again.");
    // Only what reached the account is remembered as sent; reopening keeps the window's states.
    EXPECT_EQ(prefs.value("voiceMemos.sent").toStringList(),
              (QStringList{"memo-5.m4a", "memo-4.m4a", "memo-1.m4a"}));
    load();
    EXPECT_EQ(states(), "1:sent 2:failed 3:- 4:sent 5:sent");
}

}  // namespace
}  // namespace pelix::memos
