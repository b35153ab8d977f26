#include "memos/VoiceMemoWatcher.h"

#include "SendingTestSupport.h"
#include "fakes/HostileServer.h"

namespace pelix::memos {
namespace {

using fakes::Recorded;
using fakes::Reply;
using testing::waitUntil;
using testing::writeFile;

class WatcherTest : public testing::SendingTest {
protected:
    bool idle() {
        return testing::waitUntil([&] { return !watcher.busy(); });
    }

    fakes::HandTicker ticker;
    VoiceMemoWatcher watcher{sender, prefs, clock, ticker};
};

TEST_F(WatcherTest, AMemoIsSentOnlyOnce90SecondsAfterItsLastWrite) {
    const QDateTime written = QDateTime::currentDateTimeUtc().addSecs(-5);
    testing::writeFile(folder.path(), "fresh.m4a", "audio", written);

    clock.setNow(written.addSecs(89));
    watcher.look();
    ASSERT_TRUE(idle());
    EXPECT_TRUE(statuses.isEmpty());

    clock.setNow(written.addMSecs(90001));
    watcher.look();
    ASSERT_TRUE(waitForStatus("Your voice memo is in Pelix."));
    ASSERT_TRUE(idle());
    EXPECT_EQ(sent(), QStringList{"fresh.m4a"});
}

TEST_F(WatcherTest, AMemoFromBeforeSinceIsNeverSentByItselfButCanBeSentByHand) {
    const QString path = testing::writeFile(folder.path(), "old.m4a");
    const QDateTime born = QFileInfo(path).birthTime();
    prefs.setValue("voiceMemos.since", born.toMSecsSinceEpoch() / 1000.0 + 1);

    watcher.look();
    ASSERT_TRUE(idle());
    EXPECT_TRUE(statuses.isEmpty());

    EXPECT_TRUE(sendByHand(path, QString("Shopping")));
    ASSERT_EQ(filings().size(), 1);
    EXPECT_EQ(filings().at(0).json.value("context").toObject().value("memo_title"), "Shopping");
}

TEST_F(WatcherTest, ABacklogDrainsOldestFirstWithoutWaitingForTheTimer) {
    for (const char* name : {"c.m4a", "a.m4a", "b.m4a"}) {
        testing::writeFile(folder.path(), name);
        QThread::msleep(15);
    }
    watcher.start();
    ASSERT_TRUE(testing::waitUntil([&] { return sent().size() == 3; }));
    QStringList order;
    for (const Recorded& r : filings()) order << r.json.value("filename").toString();
    EXPECT_EQ(order, QStringList({"c.m4a", "a.m4a", "b.m4a"}));

    // Renaming inside the recorder never changes the file name: nothing goes twice.
    for (int minute = 0; minute < 2; ++minute) {
        ticker.tick();
        ASSERT_TRUE(idle());
    }
    EXPECT_EQ(filings().size(), 3);
}

struct LookCase {
    const char* name;
    Reply filing;
    bool triedAgain;  // by the next look
};
void PrintTo(const LookCase& c, std::ostream* out) {
    *out << c.name;
}

class WatcherFailures : public WatcherTest, public ::testing::WithParamInterface<LookCase> {};

TEST_P(WatcherFailures, ARefusedMemoIsLeftAloneAndAFailedOneTriedAgain) {
    const LookCase& c = GetParam();
    filingReply = c.filing;
    testing::writeFile(folder.path(), "memo.m4a");

    watcher.look();
    ASSERT_TRUE(testing::waitUntil([&] { return filings().size() == 1; }));
    ASSERT_TRUE(idle());
    EXPECT_TRUE(sent().isEmpty());

    // The next minute: a memo worth another try is filed now.
    filingReply = Reply::json({{"id", "filing-2"}});
    const int before = backend.requests("braindump").size();
    watcher.look();
    if (c.triedAgain) {
        ASSERT_TRUE(testing::waitUntil([&] { return sent() == QStringList{"memo.m4a"}; }));
        ASSERT_TRUE(idle());
        EXPECT_TRUE(prefs.value("voiceMemos.refused").toStringList().isEmpty());
    } else {
        ASSERT_TRUE(idle());
        EXPECT_EQ(backend.requests("braindump").size(), before);
        EXPECT_EQ(prefs.value("voiceMemos.refused").toStringList(), QStringList{"memo.m4a"});
    }
}

INSTANTIATE_TEST_SUITE_P(
    Failures, WatcherFailures,
    ::testing::Values(LookCase{"Failed", Reply::json({{"error", "The account is full"}}, 500),
                               true},
                      LookCase{"Refused", Reply::text("", 422), false}),
    [](const ::testing::TestParamInfo<LookCase>& info) { return std::string(info.param.name); });

// A gateway's page or refusal in place of the backend's answer files nothing: the memo is not
// recorded as sent, and the line says what the answer lacked.
TEST_F(WatcherTest, AMemoAnsweredByAGatewayIsNotRecordedAsSent) {
    testing::writeFile(folder.path(), "memo.m4a");
    for (const auto& [status, script] : fakes::HostileServer::gatewayAnswers()) {
        SCOPED_TRACE(status);
        fakes::HostileServer server(script);
        service::Api hostile(server.base(), tokens, &network, &clock);
        MemoSender sending(hostile, prefs, clock, fake.tools());
        QStringList said;
        sending.onStatus([&](const QString& text) { said << text; });
        VoiceMemoWatcher looking(sending, prefs, clock, ticker);
        looking.look();
        ASSERT_TRUE(waitUntil([&] { return !looking.busy() && said.size() >= 2; }));
        EXPECT_EQ(said.last(), QStringLiteral("A voice memo could not be sent: Pelix answered %1 "
                                              "without the filing's id, so nothing was changed. "
                                              "It will be tried again.")
                                   .arg(status));
        EXPECT_TRUE(sent().isEmpty());
        EXPECT_TRUE(prefs.value("voiceMemos.refused").toStringList().isEmpty());
        // Heard here after the backend did not hear it, then filed once.
        EXPECT_EQ(server.requests().size(), 3) << "the piece, the names, the filing";
    }
}

// A watcher let go while its memo is still being sent: the sender goes on, and its answer
// reaches no one.
TEST_F(WatcherTest, AWatcherGoneBeforeTheAnswerIsNotCalledBack) {
    testing::writeFile(folder.path(), "late.m4a");
    filingReply.delayMs = 300;
    {
        VoiceMemoWatcher early{sender, prefs, clock, ticker};
        early.look();
        ASSERT_TRUE(testing::waitUntil([&] { return statuses.contains("Sending a voice memo…"); }));
    }
    ASSERT_TRUE(waitForStatus("Your voice memo is in Pelix."));
    EXPECT_TRUE(sent().isEmpty());
}

}  // namespace
}  // namespace pelix::memos
