#include "fakes/BackendRig.h"
#include "fakes/FakeTranscriptionServer.h"
#include "fakes/HostileServer.h"
#include "media/TestMedia.h"
#include "speech/TranscriptionServer.h"
#include "transcribe/StableId.h"

#include <QRegularExpression>

#include <csignal>

namespace pelix::transcribe {
namespace {

using testing::runPelix;

// `pelix --transcribe` as a person runs it, against the loopback backend for --save.
class TranscribeCli : public ::testing::Test, protected fakes::BackendRig {
protected:
    TranscribeCli() : BackendRig("") {}

    static void SetUpTestSuite() {
        folder_ = new QTemporaryDir;
        const testing::TestMedia media(folder_->path());
        std::vector<testing::Sentence> sentences{
            {"The quick brown fox jumps over the lazy dog.", 0.5},
            {"Please bring the report and a cup of coffee.", 2.0}};
        talk_ = media.speech("Team talk.mp4", sentences);
        quiet_ = media.silence("quiet.wav", 20);
        long_ = media.tone("long.wav", 300, 16000);
    }
    static void TearDownTestSuite() { delete folder_; }

    static inline QTemporaryDir* folder_ = nullptr;
    static inline QString talk_, quiet_, long_;
};

TEST_F(TranscribeCli, PrintsPiecesParagraphsAndCount) {
    // Each piece is a sentence of its own unless the preference turns sentence text off; the
    // pieces with their start, then the text, the two seconds apart a paragraph each.
    const std::tuple<bool, QString, QString, QString> cases[] = {
        {true, "The quick brown fox", "Please bring", R"(\.)"},
        {false, "the quick brown fox", "please bring", "[a-z]"},
    };
    for (const auto& [sentences, first, second, end] : cases) {
        prefs.setSentenceText(sentences);
        const auto run = runPelix({"--transcribe", talk_, "--lang", "en-US"}, {}, backendEnv());
        ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
        const QString one = first + "[^\n]*" + end + "\n", two = second + "[^\n]*" + end + "\n";
        const QRegularExpression printed(R"(^  \[   0\.\ds\] )" + one + R"(  \[   [45]\.\ds\] )" +
                                         two + one + "\n" + two + R"(2 pieces in \d+\.\ds\n$)");
        EXPECT_TRUE(printed.match(QString::fromUtf8(run.out)).hasMatch()) << run.out.toStdString();
    }
    EXPECT_TRUE(backend.requests().isEmpty());
}

// What is wrong with the file, in one sentence; a file with nothing heard is no failure, but says
// so. None leaves a sound file behind.
TEST_F(TranscribeCli, SaysWhatIsWrongWithTheFile) {
    const std::tuple<QString, int, QString, QString> cases[] = {
        {folder_->path() + "/gone.mp4", 1, "Couldn't open gone.mp4: there is no such file.\n$", ""},
        {quiet_, 0, "No speech in this one.\n", R"(^0 pieces in \d+\.\ds\n$)"},
    };
    QTemporaryDir tmp;  // where the sound would be taken out to
    QProcessEnvironment env = backendEnv();
    env.insert("TMPDIR", tmp.path());
    for (const auto& [file, exitCode, err, out] : cases) {
        SCOPED_TRACE(file.toStdString());
        const auto run = runPelix({"--transcribe", file}, {}, env);
        EXPECT_EQ(run.exitCode, exitCode);
        EXPECT_TRUE(QRegularExpression(err).match(QString::fromUtf8(run.err)).hasMatch())
            << run.err.toStdString();
        EXPECT_TRUE(QRegularExpression(out).match(QString::fromUtf8(run.out)).hasMatch())
            << run.out.toStdString();
    }
    EXPECT_EQ(QDir(tmp.path()).entryList(QDir::Files | QDir::Hidden), QStringList());
}

// Interrupted while it works, --transcribe leaves no sound file behind, and the one it made was
// private.
TEST_F(TranscribeCli, AnInterruptedRunLeavesNoSoundBehind) {
    QTemporaryDir tmp;
    QProcessEnvironment extra = backendEnv();
    extra.insert("TMPDIR", tmp.path());
    const auto run =
        testing::interruptOnceAFileAppears({"--transcribe", long_}, extra, tmp.path(), SIGTERM);
    ASSERT_FALSE(run.file.isEmpty()) << run.err.toStdString();
    EXPECT_EQ(run.mode, 0600) << run.file.toStdString();
    EXPECT_TRUE(run.endedBySignal);
    EXPECT_TRUE(run.left.isEmpty()) << run.left.join(", ").toStdString();
}

// Saved through a gateway that answers with its own page: nothing is said to be saved. (The
// note a save sends is checked through the transcript window.)
TEST_F(TranscribeCli, SaveAnsweredByAGatewaySaysNothingWasSaved) {
    tokens.write("pelix_test");
    const auto [status, script] = fakes::HostileServer::gatewayAnswers().front();
    fakes::HostileServer gateway(script);
    QProcessEnvironment viaGateway;
    viaGateway.insert("PELIX_API_BASE", gateway.base().toString());
    const auto run = runPelix({"--transcribe", talk_, "--save"}, {}, viaGateway);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_FALSE(run.out.contains("Saved to Pelix")) << run.out.toStdString();
    EXPECT_TRUE(QString::fromUtf8(run.err).endsWith(
        QStringLiteral("Pelix answered %1 without the count of notes it took, so nothing was "
                       "changed.\n")
            .arg(status)))
        << run.err.toStdString();
}

// With a transcription server set: the same run, heard by the server while it answers.
class TranscribeOnServer : public TranscribeCli {
protected:
    void SetUp() override {
        prefs.setValue("speech.server", server_.base());
        ASSERT_TRUE(speech::SpeechKeyStore(home.dataDir()).write(kKey));
    }
    static constexpr auto kKey = "sk-never-shown-0123";
    fakes::FakeTranscriptionServer server_;
};

// The server hears the file; a refusal that repeats the key is shown without it.
TEST_F(TranscribeOnServer, TheServerHearsAndItsRefusalNeverShowsTheKey) {
    server_.answer("The quick brown fox. Please bring the report.", fakes::Shape::segmentTokens);
    const auto run = runPelix({"--transcribe", talk_}, {}, backendEnv());
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_TRUE(run.out.startsWith("  [   0.1s] The quick brown fox.\n")) << run.out.toStdString();
    EXPECT_GT(server_.calls().size(), 0);

    server_.answerWith([](const fakes::TranscriptionCall& call) {
        return fakes::Reply::json(
            {{"error", QJsonObject{{"message",
                                    "Incorrect API key provided: " + call.authorization.mid(7)}}}},
            401);
    });
    const auto failed = runPelix({"--transcribe", talk_, "--engine", "server"}, {}, backendEnv());
    EXPECT_EQ(failed.exitCode, 1);
    EXPECT_TRUE(QString::fromUtf8(failed.err)
                    .endsWith("Couldn't transcribe on the server: Incorrect API key provided: …\n"))
        << failed.err.toStdString();
    EXPECT_FALSE(failed.err.contains(kKey) || failed.out.contains(kKey));
}

TEST_F(TranscribeOnServer, OddTimesMakeAProjectThatOpensAgain) {
    // Before the start, ending before it, and past any video's length.
    server_.answerWith([](const fakes::TranscriptionCall&) {
        return fakes::Reply::json(
            {{"text", "Hello there, friend."},
             {"segments",
              QJsonArray{QJsonObject{{"start", -3}, {"end", -5}, {"text", "Hello"}},
                         QJsonObject{{"start", 4e6}, {"end", 3e6}, {"text", "there,"}},
                         QJsonObject{{"start", 1e300}, {"end", 2}, {"text", "friend."}}}}});
    });
    const auto made = runPelix({"--edit", "new", talk_}, {}, backendEnv(), 120000);
    ASSERT_EQ(made.exitCode, 0) << made.err.toStdString();
    const auto lines =
        runPelix({"--edit", "lines", QString::fromUtf8(made.out).trimmed()}, {}, backendEnv());
    EXPECT_EQ(lines.exitCode, 0) << lines.err.toStdString();
    EXPECT_TRUE(lines.out.contains("friend.")) << lines.out.toStdString();
}

}  // namespace
}  // namespace pelix::transcribe
