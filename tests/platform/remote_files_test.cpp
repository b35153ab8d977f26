#include "platform/Desktop.h"
#include "platform/RemoteFiles.h"
#include "support/TestSupport.h"

namespace pelix::platform {
namespace {

TEST(RemoteFiles, CopiesWhatItCanReachAndLeavesNothingWhenItCannot) {
    QTemporaryDir from, to;
    core::SystemClock clock;
    const auto desktop = platform::makeDesktop({.clock = clock, .cacheDir = to.path()});
    platform::RemoteFiles& files = desktop->remoteFiles();

    const QString source = testing::writeFile(from.path(), "Take 1.m4a", "sound");

    const QString target = QDir(to.path()).filePath("copy.m4a");
    const Result<QString> copied = files.fetch(QUrl::fromLocalFile(source), target);
    ASSERT_TRUE(copied) << copied.error().message.toStdString();
    EXPECT_EQ(*copied, target);
    QFile result(target);
    ASSERT_TRUE(result.open(QIODevice::ReadOnly));
    EXPECT_EQ(result.readAll(), "sound");

    const QString missing = QDir(to.path()).filePath("missing.m4a");
    const Result<QString> refused =
        files.fetch(QUrl("mtp://No_Such_Phone/Recordings/Take%202.m4a"), missing);
    ASSERT_FALSE(refused);
    EXPECT_TRUE(refused.error().message.startsWith("Couldn't fetch Take 2.m4a: "))
        << refused.error().message.toStdString();
    EXPECT_FALSE(QFile::exists(missing));
}

}  // namespace
}  // namespace pelix::platform
