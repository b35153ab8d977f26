#include "MemoTestSupport.h"
#include "fakes/HostileServer.h"
#include "fakes/LoopbackBackend.h"
#include "media/Media.h"
#include "service/TokenStore.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <csignal>

namespace pelix {
namespace {

using fakes::Recorded;
using fakes::Reply;

// Runs a helper program that the tests need; a missing one fails the test by name.
void make(const QString& program, const QStringList& arguments) {
    const QString path = QStandardPaths::findExecutable(program);
    ASSERT_FALSE(path.isEmpty()) << program.toStdString()
                                 << " is missing: install it (scripts/setup) to run these tests";
    QProcess process;
    process.start(path, arguments);
    ASSERT_TRUE(process.waitForFinished(60000)) << program.toStdString();
    ASSERT_EQ(process.exitCode(), 0) << process.readAllStandardError().toStdString();
}

class MemoCli : public ::testing::Test {
protected:
    void SetUp() override {
        speech = dir.filePath("speech.wav");
        make("flite", {"-voice", "slt", "-t",
                       "The quick brown fox jumps over the lazy dog. Please bring the milk home.",
                       "-o", speech});
    }
    QProcessEnvironment at(const QString& base) const {
        QProcessEnvironment env;
        env.insert("PELIX_API_BASE", base);
        return env;
    }

    testing::IsolatedHome home;
    QTemporaryDir dir;
    QString speech;
};

TEST_F(MemoCli, HearsTheRecordingOnTheMachineWhenNoBackendAnswers) {
    // Port 9 (discard) is closed on the loopback interface.
    const auto run =
        testing::runPelix({"--memo", speech, "--token", "pelix_x"}, {}, at("http://127.0.0.1:9"));
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    const auto seconds = media::duration(speech);
    ASSERT_TRUE(seconds);
    EXPECT_TRUE(run.err.startsWith(QString("%1 s, 1 pieces\n").arg(int(*seconds)).toUtf8()))
        << run.err.toStdString();
    const QString text = QString::fromUtf8(run.out).toLower();
    for (const char* word : {"quick", "brown", "fox", "lazy", "dog", "bring"}) {
        EXPECT_TRUE(text.contains(word)) << word << " not in " << text.toStdString();
    }
}

TEST_F(MemoCli, SendsPiecesOfTheGivenLengthToTheBackendInOrder) {
    fakes::LoopbackBackend backend;
    int piece = 0;
    backend.answerWith("braindump", [&piece](const Recorded&) {
        return Reply::json({{"text", QString("part %1").arg(++piece)}});
    });
    TokenStore(home.dataDir()).write("pelix_stored");

    const auto run =
        testing::runPelix({"--memo", speech, "--piece", "2"}, {}, at(backend.base().toString()));
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    const auto seconds = media::duration(speech);
    ASSERT_TRUE(seconds);
    const int pieces = static_cast<int>(std::ceil(*seconds / 2));
    EXPECT_TRUE(run.err.startsWith(QString("%1 s, %2 pieces\n")
                                       .arg(static_cast<int>(*seconds))
                                       .arg(static_cast<int>(*seconds / 2))
                                       .toUtf8()))
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
        const auto length = media::duration(audio);
        ASSERT_TRUE(length) << i;
        EXPECT_NEAR(*length, i + 1 < pieces ? 2.0 : *seconds - 2 * (pieces - 1), 0.05) << i;
        texts << QString("part %1").arg(i + 1);
    }
    EXPECT_EQ(run.out, (texts.join(' ') + "\n").toUtf8());
}

// What --piece says about itself: a length under a second is refused before anything is done;
// anything that is not a positive number falls back to 360 s, saying so.
TEST_F(MemoCli, PieceLengthsAreCheckedAndExplained) {
    fakes::LoopbackBackend backend;
    backend.answer("braindump", Reply::json({{"text", "heard"}}));
    const struct {
        const char* piece;
        int exitCode;
        const char* errStart;
    } cases[] = {
        {"1e-9", 1, "Couldn't send pieces of 1e-9 s: a piece is at least 1 s long.\n"},
        {"0.001", 1, "Couldn't send pieces of 0.001 s: a piece is at least 1 s long.\n"},
        {"abc", 0, "--piece abc is not a length in seconds, so the pieces are 360 s long.\n"},
        {"-1", 0, "--piece -1 is not a length in seconds, so the pieces are 360 s long.\n"},
        {"0", 0, "--piece 0 is not a length in seconds, so the pieces are 360 s long.\n"},
        {"nan", 0, "--piece nan is not a length in seconds, so the pieces are 360 s long.\n"},
        {"1", 0, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.piece);
        const auto run =
            testing::runPelix({"--memo", speech, "--piece", c.piece, "--token", "pelix_x"}, {},
                              at(backend.base().toString()));
        EXPECT_EQ(run.exitCode, c.exitCode) << run.err.toStdString();
        EXPECT_TRUE(run.err.startsWith(c.errStart)) << run.err.toStdString();
        if (c.exitCode == 0) {
            EXPECT_TRUE(run.out.startsWith("heard"));
        }
    }
}

TEST_F(MemoCli, SaysWhatIsWrongWithThePath) {
    const struct {
        QString path;
        QByteArray err;
    } cases[] = {
        {dir.path(),
         "Couldn't read " + dir.path().toUtf8() + ": it is a folder, not a recording.\n"},
        {dir.filePath("gone.m4a"),
         "Couldn't read " + dir.filePath("gone.m4a").toUtf8() + ": there is no such file.\n"},
    };
    for (const auto& c : cases) {
        const auto run = testing::runPelix({"--memo", c.path}, {}, at("http://127.0.0.1:9"));
        EXPECT_EQ(run.exitCode, 1);
        EXPECT_EQ(run.err, c.err);
    }
}

// Ctrl+C while a piece is on its way: the piece cut for it was private and is gone.
TEST_F(MemoCli, AnInterruptedRunLeavesNoPieceBehind) {
    fakes::HostileServer slow(fakes::HostileServer::trickle(R"({"text":"late"})", 1000));
    QTemporaryDir tmp;
    QProcessEnvironment env = at(slow.base().toString());
    env.insert("TMPDIR", tmp.path());
    const auto run = testing::interruptOnceAFileAppears(
        {"--memo", speech, "--piece", "2", "--token", "pelix_x"}, env, tmp.path(), SIGINT);
    ASSERT_FALSE(run.file.isEmpty()) << run.err.toStdString();
    EXPECT_EQ(run.mode, 0600) << run.file.toStdString();
    EXPECT_TRUE(run.endedBySignal);
    EXPECT_TRUE(run.left.isEmpty()) << run.left.join(", ").toStdString();
}

TEST_F(MemoCli, SilenceCannotBeHeard) {
    const QString silence = dir.filePath("silence.wav");
    make("ffmpeg", {"-loglevel", "error", "-f", "lavfi", "-i", "anullsrc=r=16000:cl=mono", "-t",
                    "2", silence});
    const auto run = testing::runPelix({"--memo", silence}, {}, at("http://127.0.0.1:9"));
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.out, "");
    EXPECT_TRUE(run.err.startsWith("2 s, 1 pieces\n")) << run.err.toStdString();
    EXPECT_TRUE(run.err.endsWith("could not be heard\n")) << run.err.toStdString();
}

}  // namespace
}  // namespace pelix
