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
        // An MP4 whose index (at the front) promises 30 s, cut off after a quarter of its bytes,
        // as a copy that stopped half-way leaves it.
        const QString whole = media.path("whole.mp4");
        testing::runTool("ffmpeg",
                         testing::args("-loglevel error -f lavfi -i sine=f=440:d=30 -c:a aac "
                                       "-movflags +faststart")
                             << whole);
        truncated_ = media.path("cut.mp4");
        QFile in(whole), out(truncated_);
        if (in.open(QIODevice::ReadOnly) && out.open(QIODevice::WriteOnly)) {
            out.write(in.read(in.size() / 4));
        }
    }
    static void TearDownTestSuite() { delete folder_; }

    static inline QTemporaryDir* folder_ = nullptr;
    static inline QString talk_, quiet_, long_, truncated_;
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

// What is wrong with the file, in one sentence; a file with nothing heard or cut short is no
// failure, but says so. None leaves a sound file behind.
TEST_F(TranscribeCli, SaysWhatIsWrongWithTheFile) {
    const QString unreadable = folder_->path() + "/locked.mp4";
    ASSERT_TRUE(QFile::copy(talk_, unreadable));
    ASSERT_TRUE(QFile::setPermissions(unreadable, QFileDevice::Permissions()));
    const bool root = QFileInfo(unreadable).isReadable();  // root reads anything
    const std::tuple<QString, int, QString, QString> cases[] = {
        {folder_->path() + "/gone.mp4", 1, "Couldn't open gone.mp4: there is no such file.\n$", ""},
        {folder_->path(), 1, ": it is a folder, not a file.\n$", ""},
        {unreadable, 1, "Couldn't open locked.mp4: it can't be read \\(no permission\\).\n$", ""},
        {quiet_, 0, "No speech in this one.\n", R"(^0 pieces in \d+\.\ds\n$)"},
        {truncated_, 0, R"(cut\.mp4 ends early: only 0:0\d of its 0:\d\d could be read\.)", ""},
    };
    QTemporaryDir tmp;  // where the sound would be taken out to
    QProcessEnvironment env = backendEnv();
    env.insert("TMPDIR", tmp.path());
    for (const auto& [file, exitCode, err, out] : cases) {
        if (root && file == unreadable) continue;
        SCOPED_TRACE(file.toStdString());
        const auto run = runPelix({"--transcribe", file}, {}, env);
        EXPECT_EQ(run.exitCode, exitCode);
        EXPECT_TRUE(QRegularExpression(err).match(QString::fromUtf8(run.err)).hasMatch())
            << run.err.toStdString();
        EXPECT_TRUE(QRegularExpression(out).match(QString::fromUtf8(run.out)).hasMatch())
            << run.out.toStdString();
    }
    EXPECT_EQ(QDir(tmp.path()).entryList(QDir::Files | QDir::Hidden), QStringList());
    QFile::remove(unreadable);
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

TEST_F(TranscribeCli, SaveFilesOneNoteUnderTheSameIdentifierEachTime) {
    tokens.write("pelix_test");
    backend.answerInTurn("import-notes", {fakes::Reply::json({{"created", 1}}),
                                          fakes::Reply::json({{"updated", 1}})});
    for (int run = 1; run <= 2; ++run) {
        const auto result = runPelix({"--transcribe", talk_, "--save"}, {}, backendEnv());
        ASSERT_EQ(result.exitCode, 0) << result.err.toStdString();
        EXPECT_TRUE(result.out.endsWith("Saved to Pelix, in Videos.\n"));
    }
    const auto sent = backend.requests("import-notes");
    ASSERT_EQ(sent.size(), 2);
    for (const fakes::Recorded& request : sent) {
        const QJsonArray notes = request.json["notes"].toArray();
        ASSERT_EQ(notes.size(), 1);
        const QJsonObject note = notes[0].toObject();
        EXPECT_EQ(QStringList({request.json["source"].toString(), note["external_id"].toString(),
                               note["title"].toString(), note["folder"].toString()}),
                  QStringList({"video", stableId(talk_), "Team talk", "Videos"}));
        EXPECT_TRUE(QRegularExpression(R"(^The quick brown fox.*\.\n\nPlease bring)")
                        .match(note["body"].toString())
                        .hasMatch())
            << note["body"].toString().toStdString();
        for (const char* date : {"created_at", "updated_at"}) {
            EXPECT_TRUE(QDateTime::fromString(note[date].toString(), Qt::ISODate).isValid())
                << date;
        }
    }

    // Refused, or answered by a gateway's page: nothing is said to be saved.
    backend.answer("import-notes", fakes::Reply::json({{"error", "Notes are full."}}, 500));
    const auto [status, script] = fakes::HostileServer::gatewayAnswers().front();
    fakes::HostileServer gateway(script);
    QProcessEnvironment viaGateway;
    viaGateway.insert("PELIX_API_BASE", gateway.base().toString());
    const std::pair<QProcessEnvironment, QString> refusals[] = {
        {backendEnv(), "Notes are full.\n"},
        {viaGateway, QStringLiteral("Pelix answered %1 without the count of notes it took, so "
                                    "nothing was changed.\n")
                         .arg(status)},
    };
    for (const auto& [env, says] : refusals) {
        const auto run = runPelix({"--transcribe", talk_, "--save"}, {}, env);
        EXPECT_EQ(run.exitCode, 1);
        EXPECT_FALSE(run.out.contains("Saved to Pelix")) << run.out.toStdString();
        EXPECT_TRUE(QString::fromUtf8(run.err).endsWith(says)) << run.err.toStdString();
    }
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

// The server hears unless the local engine is asked for; its failures are one sentence, and the
// key is never shown.
TEST_F(TranscribeOnServer, TheServerHearsUnlessTheLocalEngineIsAskedFor) {
    server_.answer("The quick brown fox. Please bring the report.", fakes::Shape::segmentTokens);
    auto run = runPelix({"--transcribe", talk_}, {}, backendEnv());
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_TRUE(run.out.startsWith("  [   0.1s] The quick brown fox.\n")) << run.out.toStdString();
    EXPECT_TRUE(run.out.contains("2 pieces in ")) << run.out.toStdString();
    const qsizetype calls = server_.calls().size();
    ASSERT_GT(calls, 0);
    run = runPelix({"--transcribe", talk_, "--engine", "local"}, {}, backendEnv());
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_TRUE(run.out.contains("The quick brown fox")) << run.out.toStdString();
    EXPECT_EQ(server_.calls().size(), calls);

    server_.answerWith([](const fakes::TranscriptionCall& call) {
        return fakes::Reply::json(
            {{"error", QJsonObject{{"message",
                                    "Incorrect API key provided: " + call.authorization.mid(7)}}}},
            401);
    });
    const std::pair<QString, QString> failures[] = {
        {"server", "Couldn't transcribe on the server: Incorrect API key provided: …"},
        {"elsewhere", "Couldn't transcribe: --engine is local or server."},
        {"", "Transcribing on a server needs its address: set the preference speech.server."},
    };
    for (const auto& [engine, sentence] : failures) {
        if (engine.isEmpty()) prefs.remove("speech.server");
        const auto failed =
            runPelix({"--transcribe", talk_, "--engine", engine.isEmpty() ? "server" : engine}, {},
                     backendEnv());
        EXPECT_EQ(failed.exitCode, 1);
        EXPECT_TRUE(QString::fromUtf8(failed.err).endsWith(sentence + "\n"))
            << failed.err.toStdString();
        EXPECT_FALSE(failed.err.contains(kKey) || failed.out.contains(kKey));
    }
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
