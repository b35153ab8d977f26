#include "memos/MemoChooserModel.h"

#include "MemoTestSupport.h"
#include "core/Prefs.h"

namespace pelix::memos {
namespace {

using State = MemoChooserModel::State;
using testing::makeDatabase;
using testing::waitUntil;
using testing::writeFile;

// A send pipeline that answers only when told, so the test sees what is in flight.
struct HandSend {
    struct Call {
        QString file;
        std::optional<QString> title;
        std::function<void(bool)> done;
    };
    QList<Call> calls;

    MemoChooserModel::Send send() {
        return [this](const QString& file, const std::optional<QString>& title,
                      std::function<void(bool)> done) {
            calls.push_back({QFileInfo(file).fileName(), title, std::move(done)});
        };
    }
    // Answers the oldest unanswered call.
    void answer(bool ok) {
        for (Call& call : calls) {
            if (call.done) {
                auto done = std::exchange(call.done, nullptr);
                done(ok);
                return;
            }
        }
        FAIL() << "no send is waiting";
    }
    int waiting() const {
        return static_cast<int>(
            std::count_if(calls.begin(), calls.end(), [](const Call& c) { return bool(c.done); }));
    }
};

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
        makeDatabase(folder.path() + "/CloudRecordings.db", sql);
    }
    void load() {
        model.load();
        ASSERT_TRUE(testing::waitUntil([&] { return !model.loading(); }));
    }
    QStringList titles() const {
        QStringList out;
        for (const VoiceMemo& memo : model.memos()) out << memo.title;
        return out;
    }

    testing::IsolatedHome home;
    QTemporaryDir folder;
    core::Prefs prefs{home.configDir() + "/Pelix.conf"};
    HandSend hand;
    QList<bool> autoSwitched;
    MemoChooserModel model{prefs, hand.send(), [this](bool on) { autoSwitched << on; }};
};

TEST_F(ChooserTest, ListsTheNewest300) {
    makeMemos(450);
    load();
    ASSERT_TRUE(model.canRead());
    ASSERT_EQ(model.memos().size(), 300);
    EXPECT_EQ(model.memos().first().title, "Memo 450");
    EXPECT_EQ(model.memos().last().title, "Memo 151");
}

TEST_F(ChooserTest, AMemoTheWatcherSentIsInPelixAndIsNotSentAgain) {
    makeMemos(2);
    prefs.setValue("voiceMemos.sent", QStringList{"memo-1.m4a"});
    load();
    EXPECT_EQ(model.state("memo-1.m4a"), State::sent);
    EXPECT_EQ(MemoChooserModel::stateLine(model.state("memo-1.m4a")), "In Pelix");
    EXPECT_EQ(model.state("memo-2.m4a"), std::nullopt);

    model.setPicked("memo-1.m4a", true);
    EXPECT_EQ(model.sendTitle(), "Send 1 to Pelix");
    model.sendPicked();
    EXPECT_TRUE(hand.calls.isEmpty());
    EXPECT_FALSE(model.sending());
}

TEST_F(ChooserTest, TickedMemosGoNewestFirstOneAtATimeAndAFailureDoesNotStopTheRest) {
    makeMemos(4);
    load();
    EXPECT_EQ(model.sendTitle(), "Send to Pelix");
    for (const char* name : {"memo-1.m4a", "memo-2.m4a", "memo-4.m4a"}) {
        model.setPicked(name, true);
    }
    EXPECT_EQ(model.sendTitle(), "Send 3 to Pelix");
    model.sendPicked();

    ASSERT_EQ(hand.calls.size(), 1);
    EXPECT_EQ(hand.calls.at(0).file, "memo-4.m4a");
    EXPECT_EQ(hand.calls.at(0).title, "Memo 4");
    EXPECT_EQ(model.state("memo-4.m4a"), State::sending);
    EXPECT_EQ(model.state("memo-2.m4a"), State::waiting);
    EXPECT_EQ(model.status(), "Sending Memo 4…");
    EXPECT_FALSE(model.canPick("memo-2.m4a"));

    hand.answer(true);
    ASSERT_EQ(hand.calls.size(), 2);
    EXPECT_EQ(hand.waiting(), 1);
    EXPECT_EQ(hand.calls.at(1).file, "memo-2.m4a");
    hand.answer(false);
    ASSERT_EQ(hand.calls.size(), 3);
    EXPECT_EQ(hand.calls.at(2).file, "memo-1.m4a");
    hand.answer(true);

    EXPECT_FALSE(model.sending());
    EXPECT_EQ(model.state("memo-4.m4a"), State::sent);
    EXPECT_EQ(model.state("memo-2.m4a"), State::failed);
    EXPECT_EQ(model.state("memo-1.m4a"), State::sent);
    EXPECT_EQ(model.status(), "2 of 3 sent. Tick the other to try again.");
    // Only what reached the account is remembered as sent.
    EXPECT_EQ(prefs.value("voiceMemos.sent").toStringList(),
              (QStringList{"memo-4.m4a", "memo-1.m4a"}));

    // Reopening the window reads the folder again and keeps this window's states.
    load();
    EXPECT_EQ(model.state("memo-2.m4a"), State::failed);
    EXPECT_EQ(MemoChooserModel::stateLine(State::failed), "Not sent, tick it to try again");
    EXPECT_EQ(model.state("memo-4.m4a"), State::sent);

    // A failed memo can be ticked and sent again.
    model.setPicked("memo-2.m4a", true);
    model.sendPicked();
    hand.answer(true);
    EXPECT_EQ(model.state("memo-2.m4a"), State::sent);
    EXPECT_EQ(model.status(), "Complete: Memo 2 is in Pelix");
}

TEST_F(ChooserTest, AClosedFolderIsReportedAndTheSwitchFollowsThePreference) {
    prefs.setValue("voiceMemos.folder", folder.path() + "/missing");
    load();
    EXPECT_FALSE(model.canRead());
    EXPECT_TRUE(model.memos().isEmpty());
    EXPECT_EQ(model.folder(), folder.path() + "/missing");

    EXPECT_FALSE(model.autoSend());
    model.setAutoSend(true);
    EXPECT_TRUE(model.autoSend());
    EXPECT_EQ(autoSwitched, QList<bool>{true});
}

}  // namespace
}  // namespace pelix::memos
