#include "memos/VoiceMemoWatcher.h"

#include "MemoTestSupport.h"
#include "fakes/BackendRig.h"
#include "fakes/MemoFakes.h"

#include <climits>
#include <cmath>

namespace pelix {
namespace {

using fakes::Recorded;
using fakes::Reply;
using testing::waitUntil;
using testing::writeFile;

bool transcribeOnly(const Recorded& request) {
    return request.json.value("transcribe_only").toBool();
}

class WatcherTest : public ::testing::Test, protected fakes::BackendRig {
protected:
    WatcherTest() : BackendRig("pelix_memo_token") {}

    void SetUp() override {
        prefs.setValue("voiceMemos.folder", folder.path());
        prefs.setValue("voiceMemos.on", true);
        prefs.setValue("voiceMemos.since", 0.0);
        clock.setNow(QDateTime::currentDateTimeUtc().addSecs(600));
        hearByBackend("from the backend");
        backend.answerWith("braindump", [this](const Recorded& request) {
            if (transcribeOnly(request)) return heardReply;
            return filingReply;
        });
        watcher.onStatus([this](const QString& text) { statuses << text; });
    }

    void hearByBackend(const QString& text) { heardReply = Reply::json({{"text", text}}); }
    QList<Recorded> filings() const {
        QList<Recorded> out;
        for (const Recorded& r : backend.requests("braindump")) {
            if (!transcribeOnly(r)) out << r;
        }
        return out;
    }
    bool waitForStatus(const QString& text) {
        return waitUntil([&] { return statuses.contains(text); });
    }
    bool idle() {
        return waitUntil([&] { return !watcher.busy(); });
    }
    QStringList sent() const { return prefs.value("voiceMemos.sent").toStringList(); }
    // Sends one memo by hand and waits for the answer.
    bool sendByHand(const QString& path, const std::optional<QString>& title = std::nullopt) {
        std::optional<bool> done;
        watcher.send(path, title, [&](bool ok) { done = ok; });
        return waitUntil([&] { return done.has_value(); }) && *done;
    }

    QTemporaryDir folder;
    fakes::HandTicker ticker;
    fakes::FakeMemoTools fake;
    VoiceMemoWatcher watcher{api, prefs, clock, fake.tools(), ticker};
    QStringList statuses;
    Reply heardReply;
    Reply filingReply = Reply::json({});
};

TEST_F(WatcherTest, AMemoIsSentOnlyOnce90SecondsAfterItsLastWrite) {
    const QDateTime written = QDateTime::currentDateTimeUtc().addSecs(-5);
    writeFile(folder.path(), "fresh.m4a", "audio", written);

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
    const QString path = writeFile(folder.path(), "old.m4a");
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

TEST_F(WatcherTest, TheFilingCarriesTheTranscriptAndWhereTheMemoCameFrom) {
    const QString inside = writeFile(folder.path(), "walk.m4a");
    QTemporaryDir elsewhere;
    const QString outside = writeFile(elsewhere.path(), "dropped.m4a", "abc");
    fake.lengths["walk.m4a"] = 61.4;

    for (const QString& path : {inside, outside}) {
        EXPECT_TRUE(sendByHand(path));
    }
    ASSERT_EQ(filings().size(), 2);
    const QJsonObject body = filings().at(0).json;
    EXPECT_EQ(body.value("transcript"), "from the backend");
    EXPECT_EQ(body.value("filename"), "walk.m4a");
    const QJsonObject context = body.value("context").toObject();
    EXPECT_EQ(context.value("source"), "voice-memos");
    EXPECT_EQ(context.value("input"), "voice");
    EXPECT_EQ(context.value("filename"), "walk.m4a");
    EXPECT_EQ(context.value("duration_s"), 61);
    EXPECT_EQ(context.value("recorder_key"), "voice-memo:walk.m4a");
    EXPECT_FALSE(context.contains("memo_title"));
    // The file's birth time, to the second.
    EXPECT_EQ(QDateTime::fromString(context.value("recorded_at").toString(), Qt::ISODate)
                  .toSecsSinceEpoch(),
              QFileInfo(inside).birthTime().toSecsSinceEpoch());
    EXPECT_EQ(filings().at(0).headers.value("authorization"), "Bearer pelix_memo_token");

    EXPECT_EQ(filings().at(1).json.value("context").toObject().value("recorder_key"),
              "voice-file:ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

struct Failure {
    const char* name;
    std::optional<QString> backendHears;  // none: the backend fails to transcribe, and so
                                          // does the machine
    Reply filing;
    QString status;
    bool triedAgain;  // by the next look
};
void PrintTo(const Failure& c, std::ostream* out) {
    *out << c.name;
}

class WatcherFailures : public WatcherTest, public ::testing::WithParamInterface<Failure> {};

TEST_P(WatcherFailures, ReportEachFailureAndRetryOnlyWhatMaySucceed) {
    const Failure& c = GetParam();
    if (c.backendHears) {
        hearByBackend(*c.backendHears);
    } else {
        heardReply = Reply::json({{"error", "Transcription is down"}}, 503);
    }
    fake.local.reset();
    filingReply = c.filing;
    writeFile(folder.path(), "memo.m4a");

    watcher.look();
    ASSERT_TRUE(waitForStatus(c.status)) << statuses.join(" | ").toStdString();
    ASSERT_TRUE(idle());
    EXPECT_TRUE(sent().isEmpty());

    // The next minute: a memo worth another try is heard again and, now, filed.
    hearByBackend("second time lucky");
    fake.local = QString("second time lucky");
    filingReply = Reply::json({});
    const int before = backend.requests("braindump").size();
    watcher.look();
    if (c.triedAgain) {
        ASSERT_TRUE(waitForStatus("Your voice memo is in Pelix."));
        ASSERT_TRUE(idle());
        EXPECT_EQ(sent(), QStringList{"memo.m4a"});
    } else {
        ASSERT_TRUE(idle());
        EXPECT_EQ(backend.requests("braindump").size(), before);
        EXPECT_EQ(prefs.value("voiceMemos.refused").toStringList(), QStringList{"memo.m4a"});
    }
}

INSTANTIATE_TEST_SUITE_P(
    Failures, WatcherFailures,
    ::testing::Values(
        Failure{"FilingRefusedWithError", QString("words"),
                Reply::json({{"error", "The account is full"}}, 500),
                "A voice memo could not be sent: The account is full. It will be tried again.",
                true},
        Failure{"Refused422", QString("words"), Reply::text("", 422),
                "A voice memo had no words in it.", false},
        Failure{"NothingHeardAnywhere", std::nullopt, Reply::json({}),
                "A voice memo could not be heard. It will be tried again.", true},
        Failure{"OnlySilence", QString("   "), Reply::json({}), "A voice memo had no words in it.",
                false}),
    [](const ::testing::TestParamInfo<Failure>& info) { return std::string(info.param.name); });

TEST_F(WatcherTest, ALongMemoIsHeardInPiecesInOrder) {
    const QString path = writeFile(folder.path(), "long.m4a");
    fake.lengths["long.m4a"] = 800;
    int piece = 0;
    backend.answerWith("braindump", [&piece](const Recorded& request) {
        if (!transcribeOnly(request)) return Reply::json({});
        return Reply::json({{"text", QString(" part %1 ").arg(++piece)}});
    });

    EXPECT_TRUE(sendByHand(path));

    QStringList names;
    QStringList audio;
    for (const Recorded& r : backend.requests("braindump")) {
        if (!transcribeOnly(r)) continue;
        names << r.json.value("filename").toString();
        audio << QString::fromUtf8(
            QByteArray::fromBase64(r.json.value("audio_base64").toString().toLatin1()));
    }
    EXPECT_EQ(names, QStringList({"piece-1.m4a", "piece-2.m4a", "piece-3.m4a"}));
    EXPECT_EQ(audio, QStringList({"audio 0+360", "audio 360+360", "audio 720+80"}));
    EXPECT_EQ(filings().at(0).json.value("transcript"), "part 1 part 2 part 3");
    EXPECT_EQ(statuses.last(), "Your 13-minute voice memo is in Pelix.");
    // The cut pieces are temporary.
    EXPECT_TRUE(QDir(fake.scratch.path()).isEmpty());
}

TEST_F(WatcherTest, TheMachineHearsWhenTheBackendCannotWithPeoplesNames) {
    heardReply = Reply::json({{"error", "Too busy"}}, 503);
    backend.answer("desktop",
                   Reply::json({{"people", QJsonArray{QJsonObject{{"name", "Ada"}},
                                                      QJsonObject{{"name", "Linus"}}}}}));
    prefs.setValue("transcribeLanguage", "nl-NL");
    const QString path = writeFile(folder.path(), "here.m4a");

    EXPECT_TRUE(sendByHand(path));
    ASSERT_EQ(fake.heard.size(), 1);
    EXPECT_EQ(fake.heard.at(0).first, "nl-NL");
    EXPECT_EQ(fake.heard.at(0).second, QStringList({"Ada", "Linus"}));
    EXPECT_EQ(filings().at(0).json.value("transcript"), "heard here");
}

// Piece lengths from a command line or a recording that claims an absurd length stay bounded:
// never shorter than a second, never more than the most pieces, no overflow on the way.
TEST(WatcherRules, PiecesStayBounded) {
    EXPECT_EQ(VoiceMemoWatcher::pieces(30, 1e-9).size(), 30);
    EXPECT_TRUE(VoiceMemoWatcher::pieces(0.5, 0.001).value(0).whole);
    EXPECT_TRUE(VoiceMemoWatcher::pieces(1e12, 360).isEmpty());
    EXPECT_TRUE(VoiceMemoWatcher::pieces(std::nan(""), 360).value(0).whole);
    EXPECT_EQ(VoiceMemoWatcher::pieceCount(13960, 1e-9), INT_MAX);
    EXPECT_EQ(VoiceMemoWatcher::pieceCount(30, 360), 1);
    EXPECT_EQ(VoiceMemoWatcher::pieceCount(30, std::nan("")), 1);
}

TEST(WatcherRules, MinuteWordingRoundsHalvesUp) {
    const QString plain = "Your voice memo is in Pelix.";
    for (const auto& [seconds, text] : std::initializer_list<std::pair<double, QString>>{
             {89, plain},
             {90, "Your 2-minute voice memo is in Pelix."},
             {150, "Your 3-minute voice memo is in Pelix."}}) {
        EXPECT_EQ(VoiceMemoWatcher::sentText(seconds), text) << seconds;
    }
}

}  // namespace
}  // namespace pelix
