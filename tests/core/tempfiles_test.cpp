// Temporary files: private and exclusive from their first byte, and gone when a signal ends the
// process. The signals are raised in child processes forked by GoogleTest's death tests.
#include "core/TempFiles.h"
#include "support/TestSupport.h"

#include <csignal>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace pelix::core::tempfiles {
namespace {

class TempFilesTest : public ::testing::Test {
protected:
    QTemporaryDir dir;
    QString path = dir.filePath("pelix-piece.m4a");
};

TEST_F(TempFilesTest, AreMadePrivateAndExclusively) {
    const mode_t before = ::umask(0);  // even a process that lets everyone read its files
    ASSERT_TRUE(createPrivate(path));
    ::umask(before);
    struct stat info {};
    ASSERT_EQ(::stat(QFile::encodeName(path).constData(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0600u);
    EXPECT_EQ(info.st_size, 0);

    // Anything already there, a link planted by someone else included, is refused and kept.
    const Status again = createPrivate(path);
    ASSERT_FALSE(again);
    EXPECT_TRUE(again.error().message.startsWith("Couldn't make the temporary file " + path));
    const QString victim = testing::writeFile(dir.path(), "victim", "keep me");
    ASSERT_TRUE(QFile::link(victim, dir.filePath("planted.m4a")));
    EXPECT_FALSE(createPrivate(dir.filePath("planted.m4a")));
    EXPECT_FALSE(createPrivate(dir.filePath("gone/piece.m4a")));
    EXPECT_EQ(testing::readFile(victim), "keep me");

    remove(path);  // and it is no longer tracked, which the bounds test below counts on
    EXPECT_FALSE(QFile::exists(path));
}

// A signal removes the tracked files, then the program's own handler (or that of another copy of
// this code in a loaded module) runs; a signal the process was started to ignore stays ignored.
// Without a handler before, the signal ends the process as it would (the bounds test below).
TEST_F(TempFilesTest, ASignalRemovesTheTrackedFilesThenTheHandlerBeforeRuns) {
    const QString untracked = dir.filePath("kept.m4a");
    EXPECT_EXIT(
        {
            struct sigaction own {};
            own.sa_handler = [](int) { ::_exit(7); };
            sigemptyset(&own.sa_mask);
            ::sigaction(SIGINT, &own, nullptr);
            ::signal(SIGHUP, SIG_IGN);
            removeOnSignals();
            removeOnSignals();  // a second call changes nothing
            createPrivate(path);
            track(testing::writeFile(dir.path(), "tracked.m4a"));
            track(testing::writeFile(dir.path(), "kept.m4a"));
            untrack(untracked);
            ::raise(SIGHUP);
            if (!QFile::exists(path)) ::_exit(3);  // SIGHUP must not have removed it
            ::raise(SIGINT);
            ::_exit(0);
        },
        ::testing::ExitedWithCode(7), "");
    EXPECT_FALSE(QFile::exists(path));
    EXPECT_FALSE(QFile::exists(dir.filePath("tracked.m4a")));
    EXPECT_TRUE(QFile::exists(untracked));
}

// Up to 64 files are tracked at once; a 65th is left alone rather than overflowing the list,
// and so is a path too long to keep. Untracking frees the place.
TEST_F(TempFilesTest, TrackingStaysWithinItsBounds) {
    const QString deep = dir.path() + QString("/" + QString(200, 'd')).repeated(5);  // 1,000 bytes
    EXPECT_EXIT(
        {
            removeOnSignals();
            for (int i = 0; i < 65; ++i) {
                track(testing::writeFile(dir.path(), QString("piece-%1.m4a").arg(i)));
            }
            untrack(dir.filePath("piece-0.m4a"));
            track(testing::writeFile(dir.path(), "late.m4a"));
            track(testing::writeFile(deep, "long.m4a"));
            ::raise(SIGTERM);
        },
        ::testing::KilledBySignal(SIGTERM), "");
    QStringList left = QDir(dir.path()).entryList(QDir::Files);
    left.sort();
    EXPECT_EQ(left, (QStringList{"piece-0.m4a", "piece-64.m4a"}));
    EXPECT_TRUE(QFile::exists(deep + "/long.m4a"));
}

}  // namespace
}  // namespace pelix::core::tempfiles
