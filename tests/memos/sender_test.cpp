#include "memos/MemoSender.h"

#include "SendingTestSupport.h"

#include <climits>
#include <cmath>

namespace pelix::memos {
namespace {

using fakes::Recorded;
using fakes::Reply;
using testing::transcribeOnly;
using testing::waitUntil;
using testing::writeFile;
using Outcome = MemoSender::Outcome;

using SenderTest = testing::SendingTest;

TEST_F(SenderTest, TheFilingCarriesTheTranscriptAndWhereTheMemoCameFrom) {
    const QString inside = testing::writeFile(folder.path(), "walk.m4a");
    QTemporaryDir elsewhere;
    const QString outside = testing::writeFile(elsewhere.path(), "dropped.m4a", "abc");
    fake.lengths["walk.m4a"] = 61.4;

    EXPECT_TRUE(sendByHand(inside));
    EXPECT_TRUE(sendByHand(outside, QString("Shopping")));
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
    EXPECT_EQ(statuses, QStringList({"Sending a voice memo…", "Your voice memo is in Pelix.",
                                     "Sending a voice memo…", "Your voice memo is in Pelix."}));

    const QJsonObject dropped = filings().at(1).json.value("context").toObject();
    EXPECT_EQ(dropped.value("recorder_key"),
              "voice-file:ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(dropped.value("memo_title"), "Shopping");
    // Sending records nothing: the watcher and the chooser keep their own lists.
    EXPECT_TRUE(sent().isEmpty());
}

struct SendFailure {
    const char* name;
    std::optional<QString> backendHears;  // none: the backend fails to transcribe, and so
                                          // does the machine
    Reply filing;
    QString status;
    Outcome outcome;
};
void PrintTo(const SendFailure& c, std::ostream* out) {
    *out << c.name;
}

class SenderFailures : public SenderTest, public ::testing::WithParamInterface<SendFailure> {};

TEST_P(SenderFailures, ReportEachFailureAndTellARefusalFromAFailure) {
    const SendFailure& c = GetParam();
    if (c.backendHears) {
        hearByBackend(*c.backendHears);
    } else {
        heardReply = Reply::json({{"error", "Transcription is down"}}, 503);
    }
    fake.local.reset();
    filingReply = c.filing;
    const QString path = testing::writeFile(folder.path(), "memo.m4a");

    std::optional<Outcome> outcome;
    sender.sendFor(path, std::nullopt, [&](Outcome o) { outcome = o; });
    ASSERT_TRUE(testing::waitUntil([&] { return outcome.has_value(); }));
    EXPECT_EQ(*outcome, c.outcome);
    EXPECT_EQ(statuses.last(), c.status) << statuses.join(" | ").toStdString();
}

INSTANTIATE_TEST_SUITE_P(
    Failures, SenderFailures,
    ::testing::Values(
        SendFailure{"FilingRefusedWithError", QString("words"),
                    Reply::json({{"error", "The account is full"}}, 500),
                    "A voice memo could not be sent: The account is full. It will be tried again.",
                    Outcome::failed},
        SendFailure{"Refused422", QString("words"), Reply::text("", 422),
                    "A voice memo had no words in it.", Outcome::refused},
        SendFailure{"NothingHeardAnywhere", std::nullopt, Reply::json({}),
                    "A voice memo could not be heard. It will be tried again.", Outcome::failed},
        SendFailure{"OnlySilence", QString("   "), Reply::json({}),
                    "A voice memo had no words in it.", Outcome::refused}),
    [](const ::testing::TestParamInfo<SendFailure>& info) { return std::string(info.param.name); });

TEST_F(SenderTest, ALongMemoIsHeardInPiecesInOrder) {
    const QString path = testing::writeFile(folder.path(), "long.m4a");
    fake.lengths["long.m4a"] = 800;
    int piece = 0;
    backend.answerWith("braindump", [&piece](const Recorded& request) {
        if (!transcribeOnly(request)) return Reply::json({{"id", "filing-1"}});
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

TEST_F(SenderTest, TheMachineHearsWhenTheBackendCannotWithPeoplesNames) {
    heardReply = Reply::json({{"error", "Too busy"}}, 503);
    backend.answer("desktop",
                   Reply::json({{"people", QJsonArray{QJsonObject{{"name", "Ada"}},
                                                      QJsonObject{{"name", "Linus"}}}}}));
    prefs.setValue("transcribeLanguage", "nl-NL");
    const QString path = testing::writeFile(folder.path(), "here.m4a");

    EXPECT_TRUE(sendByHand(path));
    ASSERT_EQ(fake.heard.size(), 1);
    EXPECT_EQ(fake.heard.at(0).first, "nl-NL");
    EXPECT_EQ(fake.heard.at(0).second, QStringList({"Ada", "Linus"}));
    EXPECT_EQ(filings().at(0).json.value("transcript"), "heard here");
}

// Piece lengths from a command line or a recording that claims an absurd length stay bounded:
// never shorter than a second, never more than the most pieces, no overflow on the way.
TEST(SenderRules, PiecesStayBounded) {
    EXPECT_EQ(MemoSender::pieces(30, 1e-9).size(), 30);
    EXPECT_TRUE(MemoSender::pieces(0.5, 0.001).value(0).whole);
    EXPECT_TRUE(MemoSender::pieces(1e12, 360).isEmpty());
    EXPECT_TRUE(MemoSender::pieces(std::nan(""), 360).value(0).whole);
    EXPECT_EQ(MemoSender::pieceCount(13960, 1e-9), INT_MAX);
    EXPECT_EQ(MemoSender::pieceCount(30, 360), 1);
    EXPECT_EQ(MemoSender::pieceCount(30, std::nan("")), 1);
}

TEST(SenderRules, MinuteWordingRoundsHalvesUp) {
    const QString plain = "Your voice memo is in Pelix.";
    for (const auto& [seconds, text] : std::initializer_list<std::pair<double, QString>>{
             {89, plain},
             {90, "Your 2-minute voice memo is in Pelix."},
             {150, "Your 3-minute voice memo is in Pelix."}}) {
        EXPECT_EQ(MemoSender::sentText(seconds), text) << seconds;
    }
}

}  // namespace
}  // namespace pelix::memos
