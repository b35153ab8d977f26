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
    // The file's birth time, to the second.
    EXPECT_EQ(QDateTime::fromString(filings().at(0).json["context"]["recorded_at"].toString(),
                                    Qt::ISODate)
                  .toSecsSinceEpoch(),
              QFileInfo(inside).birthTime().toSecsSinceEpoch());
    EXPECT_EQ(filings().at(0).headers.value("authorization"), "Bearer pelix_memo_token");
    EXPECT_EQ(statuses, QStringList({"Sending a voice memo…", "Your voice memo is in Pelix.",
                                     "Sending a voice memo…", "Your voice memo is in Pelix."}));
    // Sending records nothing: the watcher and the chooser keep their own lists.
    EXPECT_TRUE(sent().isEmpty());
}

// A refusal (422, or nothing but silence heard) is told apart from a failure worth another try.
TEST_F(SendingTest, EachFailureIsReportedAndARefusalToldFromAFailure) {
    using enum MemoSender::Outcome;
    const struct {
        const char* what;
        std::optional<QString>
            heard;  // none: the backend fails to hear it, and so does the machine
        Reply filing;
        QString status;
        MemoSender::Outcome outcome;
    } cases[] = {
        {"filing refused with an error", QString("words"),
         Reply::json({{"error", "The account is full"}}, 500),
         "A voice memo could not be sent: The account is full. It will be tried again.", failed},
        {"422", QString("words"), Reply::text("", 422), "A voice memo had no words in it.",
         refused},
        {"nothing heard anywhere", std::nullopt, Reply::json({}),
         "A voice memo could not be heard. It will be tried again.", failed},
        {"only silence", QString("   "), Reply::json({}), "A voice memo had no words in it.",
         refused},
    };
    fake.local.reset();
    const QString path = writeFile(folder.path(), "memo.m4a");
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        heardReply = c.heard ? Reply::json({{"text", *c.heard}})
                             : Reply::json({{"error", "Transcription is down"}}, 503);
        filingReply = c.filing;
        const auto outcome = testing::awaited<MemoSender::Outcome>(
            [&](auto done) { sender.sendFor(path, std::nullopt, done); });
        EXPECT_EQ(outcome, c.outcome);
        EXPECT_EQ(statuses.last(), c.status);
    }
}

TEST_F(SendingTest, ALongMemoIsHeardInPiecesInOrder) {
    const QString path = writeFile(folder.path(), "long.m4a");
    fake.lengths["long.m4a"] = 800;
    int piece = 0;
    backend.answerWith("braindump", [&piece](const Recorded& request) {
        if (!transcribeOnly(request)) return Reply::json({{"id", "filing-1"}});
        return Reply::json({{"text", QString(" part %1 ").arg(++piece)}});
    });

    EXPECT_TRUE(sendByHand(path));
    QStringList pieces;
    for (const Recorded& r : backend.requests("braindump")) {
        if (!transcribeOnly(r)) continue;
        pieces << r.json.value("filename").toString() + " " +
                      QByteArray::fromBase64(r.json.value("audio_base64").toString().toLatin1());
    }
    EXPECT_EQ(pieces, QStringList({"piece-1.m4a audio 0+360", "piece-2.m4a audio 360+360",
                                   "piece-3.m4a audio 720+80"}));
    EXPECT_EQ(filings().at(0).json.value("transcript"), "part 1 part 2 part 3");
    EXPECT_EQ(statuses.last(), "Your 13-minute voice memo is in Pelix.");
    // The cut pieces are temporary.
    EXPECT_TRUE(QDir(fake.scratch.path()).isEmpty());
}

TEST_F(SendingTest, TheMachineHearsWhenTheBackendCannotWithPeoplesNames) {
    heardReply = Reply::json({{"error", "Too busy"}}, 503);
    backend.answer("desktop",
                   Reply::json({{"people", QJsonArray{QJsonObject{{"name", "Ada"}},
                                                      QJsonObject{{"name", "Linus"}}}}}));
    prefs.setValue("transcribeLanguage", "nl-NL");
    EXPECT_TRUE(sendByHand(writeFile(folder.path(), "here.m4a")));
    EXPECT_EQ(fake.heard, (QList<std::pair<QString, QStringList>>{{"nl-NL", {"Ada", "Linus"}}}));
    EXPECT_EQ(filings().at(0).json.value("transcript"), "heard here");
}

// Piece lengths from a command line or a recording that claims an absurd length stay bounded:
// never shorter than a second, never more than the most pieces, no overflow on the way.
TEST(SenderRules, PiecesStayBoundedAndMinutesRoundHalvesUp) {
    EXPECT_EQ(MemoSender::pieces(30, 1e-9).size(), 30);
    EXPECT_TRUE(MemoSender::pieces(0.5, 0.001).value(0).whole);
    EXPECT_TRUE(MemoSender::pieces(1e12, 360).isEmpty());
    EXPECT_TRUE(MemoSender::pieces(std::nan(""), 360).value(0).whole);
    EXPECT_EQ(MemoSender::pieceCount(13960, 1e-9), INT_MAX);
    EXPECT_EQ(MemoSender::pieceCount(30, 360), 1);
    EXPECT_EQ(MemoSender::pieceCount(30, std::nan("")), 1);

    EXPECT_EQ(MemoSender::sentText(89), "Your voice memo is in Pelix.");
    EXPECT_EQ(MemoSender::sentText(90), "Your 2-minute voice memo is in Pelix.");
    EXPECT_EQ(MemoSender::sentText(150), "Your 3-minute voice memo is in Pelix.");
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

TEST_F(SendingTest, ABacklogDrainsOldestFirstWithoutWaitingForTheTimer) {
    for (const char* name : {"c.m4a", "a.m4a", "b.m4a"}) {
        writeFile(folder.path(), name);
        QThread::msleep(15);
    }
    watcher.start();
    ASSERT_TRUE(waitUntil([&] { return sent().size() == 3; }));
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

// A refused memo goes on the refused list and is left alone; a failed one is tried by the next
// look.
TEST_F(SendingTest, ARefusedMemoIsLeftAloneAndAFailedOneTriedAgain) {
    for (const auto& [reply, triedAgain] :
         {std::pair{Reply::json({{"error", "The account is full"}}, 500), true},
          std::pair{Reply::text("", 422), false}}) {
        SCOPED_TRACE(triedAgain);
        backend.clear();
        prefs.remove("voiceMemos.refused");
        prefs.remove("voiceMemos.sent");
        filingReply = reply;
        writeFile(folder.path(), "memo.m4a");
        watcher.look();
        ASSERT_TRUE(waitUntil([&] { return filings().size() == 1; }));
        ASSERT_TRUE(idle());
        EXPECT_TRUE(sent().isEmpty());

        filingReply = Reply::json({{"id", "filing-2"}});
        watcher.look();
        ASSERT_TRUE(waitUntil([&] { return !triedAgain || sent() == QStringList{"memo.m4a"}; }));
        ASSERT_TRUE(idle());
        EXPECT_EQ(filings().size(), triedAgain ? 2 : 1);
        EXPECT_EQ(refused(), triedAgain ? QStringList{} : QStringList{"memo.m4a"});
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
