// The memo sender and the folder watcher over the loopback backend, with stand-ins for the media
// layer and the on-device transcriber.
#include "memos/MemoSender.h"
#include "memos/VoiceMemoWatcher.h"

#include "MemoTestSupport.h"
#include "fakes/BackendRig.h"
#include "fakes/HostileServer.h"
#include "fakes/MemoFakes.h"

#include <climits>
#include <cmath>

namespace pelix::memos {
namespace {

using fakes::Recorded;
using fakes::Reply;
using testing::waitUntil;
using testing::writeFile;

bool transcribeOnly(const Recorded& request) {
    return request.json.value("transcribe_only").toBool();
}

// The backend hears every piece as `heardReply` and answers filings with `filingReply`.
class SendingTest : public ::testing::Test, protected fakes::BackendRig {
protected:
    SendingTest() : BackendRig("pelix_memo_token") {}

    void SetUp() override {
        prefs.setValue("voiceMemos.folder", folder.path());
        prefs.setValue("voiceMemos.on", true);
        prefs.setValue("voiceMemos.since", 0.0);
        clock.setNow(QDateTime::currentDateTimeUtc().addSecs(600));
        backend.answerWith("braindump", [this](const Recorded& request) {
            return transcribeOnly(request) ? heardReply : filingReply;
        });
        sender.onStatus([this](const QString& text) { statuses << text; });
    }

    QList<Recorded> filings() const {
        QList<Recorded> out;
        for (const Recorded& r : backend.requests("braindump")) {
            if (!transcribeOnly(r)) out << r;
        }
        return out;
    }
    QStringList sent() const { return prefs.value("voiceMemos.sent").toStringList(); }
    QStringList refused() const { return prefs.value("voiceMemos.refused").toStringList(); }
    bool sendByHand(const QString& path, const std::optional<QString>& title = std::nullopt) {
        std::optional<bool> done;
        sender.send(path, title, [&](bool ok) { done = ok; });
        return waitUntil([&] { return done.has_value(); }) && *done;
    }
    bool idle() {
        return waitUntil([&] { return !watcher.busy(); });
    }

    QTemporaryDir folder;
    fakes::FakeMemoTools fake;
    MemoSender sender{api, prefs, clock, fake.tools()};
    QStringList statuses;
    Reply heardReply = Reply::json({{"text", "from the backend"}});
    Reply filingReply = Reply::json({{"id", "filing-1"}});
    fakes::HandTicker ticker;
    VoiceMemoWatcher watcher{sender, prefs, clock, ticker};
};

TEST_F(SendingTest, TheFilingCarriesTheTranscriptAndWhereTheMemoCameFrom) {
    const QString inside = writeFile(folder.path(), "walk.m4a");
    QTemporaryDir elsewhere;
    const QString outside = writeFile(elsewhere.path(), "dropped.m4a", "abc");
    fake.lengths["walk.m4a"] = 61.4;

    EXPECT_TRUE(sendByHand(inside));
    EXPECT_TRUE(sendByHand(outside, QString("Shopping")));
    ASSERT_EQ(filings().size(), 2);
    const auto fields = [&](int i) {
        const QJsonObject body = filings().at(i).json, context = body.value("context").toObject();
        QStringList out{body.value("transcript").toString(), body.value("filename").toString()};
        for (const char* key : {"source", "input", "filename", "duration_s", "memo_title"}) {
            out << context.value(key).toVariant().toString();
        }
        return out << context.value("recorder_key").toString();
    };
    EXPECT_EQ(fields(0), (QStringList{"from the backend", "walk.m4a", "voice-memos", "voice",
                                      "walk.m4a", "61", "", "voice-memo:walk.m4a"}));
    // A file from elsewhere is known by its contents.
    EXPECT_EQ(fields(1), (QStringList{"from the backend", "dropped.m4a", "voice-memos", "voice",
                                      "dropped.m4a", "30", "Shopping",
                                      "voice-file:ba7816bf8f01cfea414140de5dae2223b00361a396177a9"
                                      "cb410ff61f20015ad"}));
    EXPECT_EQ(filings().at(0).headers.value("authorization"), "Bearer pelix_memo_token");
    EXPECT_EQ(statuses.last(), "Your voice memo is in Pelix.");
}

// Piece lengths from a command line or a recording of absurd length stay bounded, not overflowing.
TEST(SenderRules, PiecesStayBounded) {
    EXPECT_EQ(MemoSender::pieces(30, 1e-9).size(), 30);
    EXPECT_TRUE(MemoSender::pieces(0.5, 0.001).value(0).whole);
    EXPECT_TRUE(MemoSender::pieces(1e12, 360).isEmpty());
    EXPECT_TRUE(MemoSender::pieces(std::nan(""), 360).value(0).whole);
    EXPECT_EQ(MemoSender::pieceCount(13960, 1e-9), INT_MAX);
    EXPECT_EQ(MemoSender::pieceCount(30, std::nan("")), 1);
}

TEST_F(SendingTest, AMemoIsSentOnlyOnce90SecondsAfterItsLastWrite) {
    const QDateTime written = QDateTime::currentDateTimeUtc().addSecs(-5);
    writeFile(folder.path(), "fresh.m4a", "audio", written);
    clock.setNow(written.addSecs(89));
    watcher.look();
    ASSERT_TRUE(idle());
    EXPECT_TRUE(statuses.isEmpty());

    clock.setNow(written.addMSecs(90001));
    watcher.look();
    ASSERT_TRUE(waitUntil([&] { return statuses.contains("Your voice memo is in Pelix."); }));
    ASSERT_TRUE(idle());
    EXPECT_EQ(sent(), QStringList{"fresh.m4a"});
}

TEST_F(SendingTest, AMemoFromBeforeSinceIsNeverSentByItselfButCanBeSentByHand) {
    const QString path = writeFile(folder.path(), "old.m4a");
    prefs.setValue("voiceMemos.since",
                   QFileInfo(path).birthTime().toMSecsSinceEpoch() / 1000.0 + 1);
    watcher.look();
    ASSERT_TRUE(idle());
    EXPECT_TRUE(statuses.isEmpty());
    EXPECT_TRUE(sendByHand(path));
}

// A refusal (422, or nothing but silence heard) goes on the refused list and is left alone; a
// failure says so and is tried again by the next look.
TEST_F(SendingTest, ARefusedMemoIsLeftAloneAndAFailedOneTriedAgain) {
    const struct {
        const char* what;
        QString heard;
        Reply filing;
        QString status;
        bool refused;
    } cases[] = {
        {"filing refused with an error", "words",
         Reply::json({{"error", "The account is full"}}, 500),
         "A voice memo could not be sent: The account is full. It will be tried again.", false},
        {"422", "words", Reply::text("", 422), "A voice memo had no words in it.", true},
        {"only silence", "   ", Reply::json({}), "A voice memo had no words in it.", true},
    };
    fake.local.reset();
    writeFile(folder.path(), "memo.m4a");
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        prefs.remove("voiceMemos.refused");
        prefs.remove("voiceMemos.sent");
        heardReply = Reply::json({{"text", c.heard}});
        filingReply = c.filing;
        statuses.clear();
        watcher.look();
        ASSERT_TRUE(waitUntil([&] { return statuses.size() == 2; }));
        ASSERT_TRUE(idle());
        EXPECT_EQ(statuses.last(), c.status);
        EXPECT_TRUE(sent().isEmpty());
        EXPECT_EQ(refused(), c.refused ? QStringList{"memo.m4a"} : QStringList{});

        heardReply = Reply::json({{"text", "words"}});
        filingReply = Reply::json({{"id", "filing-2"}});
        statuses.clear();
        watcher.look();
        ASSERT_TRUE(waitUntil([&] { return c.refused || sent() == QStringList{"memo.m4a"}; }));
        ASSERT_TRUE(idle());
        EXPECT_EQ(statuses.isEmpty(), c.refused);
    }
}

// A gateway's page or refusal in place of the backend's answer files nothing: the memo is not
// recorded as sent, and the line says what the answer lacked.
TEST_F(SendingTest, AMemoAnsweredByAGatewayIsNotRecordedAsSent) {
    writeFile(folder.path(), "memo.m4a");
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
        EXPECT_TRUE(refused().isEmpty());
        // Heard here after the backend did not hear it, then filed once.
        EXPECT_EQ(server.requests().size(), 3) << "the piece, the names, the filing";
    }
}

// A watcher let go while its memo is still being sent: the sender goes on, and its answer
// reaches no one.
TEST_F(SendingTest, AWatcherGoneBeforeTheAnswerIsNotCalledBack) {
    writeFile(folder.path(), "late.m4a");
    filingReply.delayMs = 300;
    {
        VoiceMemoWatcher early{sender, prefs, clock, ticker};
        early.look();
        ASSERT_TRUE(waitUntil([&] { return statuses.contains("Sending a voice memo…"); }));
    }
    ASSERT_TRUE(waitUntil([&] { return statuses.contains("Your voice memo is in Pelix."); }));
    EXPECT_TRUE(sent().isEmpty());
}

}  // namespace
}  // namespace pelix::memos
