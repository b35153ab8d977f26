#include "MemoTestSupport.h"
#include "fakes/LoopbackBackend.h"
#include "media/Media.h"
#include "service/TokenStore.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>

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
