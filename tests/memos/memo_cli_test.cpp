// pelix --memo: a recording heard on the machine or sent in pieces to the backend.
#include "MemoTestSupport.h"
#include "fakes/BackendRig.h"
#include "fakes/HostileServer.h"
#include "media/Media.h"
#include "media/TestMedia.h"

#include <csignal>

namespace pelix::memos {
namespace {

using fakes::Recorded;
using fakes::Reply;

class MemoCli : public ::testing::Test, protected fakes::BackendRig {
protected:
    MemoCli() : BackendRig("pelix_stored") {}

    static void SetUpTestSuite() {
        folder_ = new QTemporaryDir;
        speech_ =
            testing::TestMedia(folder_->path())
                .said("speech.wav",
                      "The quick brown fox jumps over the lazy dog. Please bring the milk home.");
    }
    static void TearDownTestSuite() { delete folder_; }

    // Runs pelix --memo against `base` (by default a port nobody answers on).
    testing::ProcessResult memo(const QStringList& args,
                                const QString& base = "http://127.0.0.1:9") {
        QProcessEnvironment env;
        env.insert("PELIX_API_BASE", base);
        return testing::runPelix(QStringList{"--memo"} + args, {}, env);
    }

    static inline QTemporaryDir* folder_ = nullptr;
    static inline QString speech_;
    QTemporaryDir dir;
};

TEST_F(MemoCli, HearsTheRecordingOnTheMachineWhenNoBackendAnswersButNotSilence) {
    const auto run = memo({speech_, "--token", "pelix_x"});
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    const auto seconds = media::duration(speech_);
    ASSERT_TRUE(seconds);
    EXPECT_TRUE(run.err.startsWith(QString("%1 s, 1 piece\n").arg(int(*seconds)).toUtf8()))
        << run.err.toStdString();
    const QString text = QString::fromUtf8(run.out).toLower();
    for (const char* word : {"quick", "brown", "fox", "lazy", "dog", "bring"}) {
        EXPECT_TRUE(text.contains(word)) << word << " not in " << text.toStdString();
    }

    const auto silent = memo({testing::TestMedia(dir.path()).silence("silence.wav", 2)});
    EXPECT_EQ(silent.exitCode, 1);
    EXPECT_EQ(silent.out, "");
    EXPECT_TRUE(silent.err.startsWith("2 s, 1 piece\n") &&
                silent.err.endsWith("could not be heard\n"))
        << silent.err.toStdString();
}

TEST_F(MemoCli, SendsPiecesOfTheGivenLengthToTheBackendInOrder) {
    int piece = 0;
    backend.answerWith("braindump", [&piece](const Recorded&) {
        return Reply::json({{"text", QString("part %1").arg(++piece)}});
    });
    const auto run = memo({speech_, "--piece", "2"}, backend.base().toString());
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    const double seconds = media::duration(speech_).value_or(0);
    const int pieces = static_cast<int>(std::ceil(seconds / 2));
    EXPECT_TRUE(run.err.startsWith(
        QString("%1 s, %2 pieces\n").arg(int(seconds)).arg(int(seconds / 2)).toUtf8()))
        << run.err.toStdString();

    const QList<Recorded> requests = backend.requests("braindump");
    ASSERT_EQ(requests.size(), pieces);
    QStringList texts;
    for (int i = 0; i < pieces; ++i) {
        const QJsonObject body = requests.at(i).json;
        EXPECT_EQ(body.value("filename"), QString("piece-%1.m4a").arg(i + 1));
        EXPECT_EQ(body.value("transcribe_only"), true);
        EXPECT_EQ(requests.at(i).headers.value("authorization"), "Bearer pelix_stored");
        const QString audio = testing::writeFile(
            dir.path(), QString("got-%1.m4a").arg(i + 1),
            QByteArray::fromBase64(body.value("audio_base64").toString().toLatin1()));
        EXPECT_NEAR(media::duration(audio).value_or(-1),
                    i + 1 < pieces ? 2.0 : seconds - 2 * (pieces - 1), 0.05)
            << i;
        texts << QString("part %1").arg(i + 1);
    }
    EXPECT_EQ(run.out, (texts.join(' ') + "\n").toUtf8());
}

// What --piece says about itself: a length under a second is refused before anything is done;
// anything that is not a positive number (nan included) falls back to 360 s, saying so. The path
// is checked too.
TEST_F(MemoCli, PieceLengthsAndPathsAreCheckedAndExplained) {
    backend.answer("braindump", Reply::json({{"text", "heard"}}));
    const QString fallback = " is not a length in seconds, so the pieces are 360 s long.\n";
    const std::tuple<const char*, int, QString> cases[] = {
        {"1e-9", 1, "Couldn't send pieces of 1e-9 s: a piece is at least 1 s long.\n"},
        {"abc", 0, "--piece abc" + fallback},
        {"0", 0, "--piece 0" + fallback},
        {"nan", 0, "--piece nan" + fallback},
        {"1", 0, ""},
    };
    for (const auto& [piece, exitCode, errStart] : cases) {
        SCOPED_TRACE(piece);
        const auto run =
            memo({speech_, "--piece", piece, "--token", "pelix_x"}, backend.base().toString());
        EXPECT_EQ(run.exitCode, exitCode) << run.err.toStdString();
        EXPECT_TRUE(run.err.startsWith(errStart.toUtf8())) << run.err.toStdString();
        EXPECT_TRUE(exitCode != 0 || run.out.startsWith("heard"));
    }
    for (const auto& [path, says] :
         {std::pair{dir.path(), ": it is a folder, not a recording.\n"},
          std::pair{dir.filePath("gone.m4a"), ": there is no such file.\n"}}) {
        const auto run = memo({path});
        EXPECT_EQ(run.exitCode, 1);
        EXPECT_EQ(run.err, "Couldn't read " + path.toUtf8() + says);
    }
}

// Ctrl+C while a piece is on its way: the piece cut for it was private and is gone.
TEST_F(MemoCli, AnInterruptedRunLeavesNoPieceBehind) {
    fakes::HostileServer slow(fakes::HostileServer::trickle(R"({"text":"late"})", 1000));
    QProcessEnvironment env;
    env.insert("PELIX_API_BASE", slow.base().toString());
    env.insert("TMPDIR", dir.path());
    const auto run = testing::interruptOnceAFileAppears(
        {"--memo", speech_, "--piece", "2", "--token", "pelix_x"}, env, dir.path(), SIGINT);
    ASSERT_FALSE(run.file.isEmpty()) << run.err.toStdString();
    EXPECT_EQ(run.mode, 0600) << run.file.toStdString();
    EXPECT_TRUE(run.endedBySignal);
    EXPECT_TRUE(run.left.isEmpty()) << run.left.join(", ").toStdString();
}

}  // namespace
}  // namespace pelix::memos
