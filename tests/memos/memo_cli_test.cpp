// pelix --memo: a recording heard on the machine or sent in pieces to the backend.
#include "MemoTestSupport.h"
#include "fakes/BackendRig.h"
#include "fakes/HostileServer.h"
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
