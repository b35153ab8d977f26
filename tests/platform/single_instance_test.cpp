// One running Pelix per data folder; later ones hand over their message.
#include "platform/Autostart.h"
#include "platform/Desktop.h"
#include "platform/SingleInstance.h"
#include "support/TestSupport.h"

#include <QFile>
#include <QLocalServer>
#include <QThread>

#include <gtest/gtest.h>

namespace pelix::platform {
namespace {

class DesktopTest : public ::testing::Test {
protected:
    testing::IsolatedHome home;
    SystemClock clock;
    std::unique_ptr<Desktop> desktop = makeDesktop({.clock = clock, .cacheDir = home.path()});
};

TEST_F(DesktopTest, SecondInstanceHandsOverItsLinkAndAThirdCannotListen) {
    const auto first = desktop->singleInstance(home.dataDir());
    const auto second = desktop->singleInstance(home.dataDir());
    const auto third = desktop->singleInstance(home.dataDir());
    EXPECT_FALSE(second->sendToRunning("nobody", 200));
    ASSERT_TRUE(first->listen());
    EXPECT_FALSE(third->listen());

    QStringList got;
    QObject::connect(first.get(), &SingleInstance::received, [&](const QString& m) { got << m; });
    // The sender blocks, so it runs beside the event loop that answers.
    bool sent = false;
    QThread* sender = QThread::create(
        [&] { sent = second->sendToRunning("pelix-mac://connect?token=pelix_x", 3000); });
    sender->start();
    EXPECT_TRUE(testing::waitUntil([&] { return sender->isFinished(); }, 5000));
    sender->wait();
    delete sender;
    EXPECT_TRUE(sent);
    EXPECT_TRUE(testing::waitUntil([&] { return !got.isEmpty(); }, 2000));
    EXPECT_EQ(got, QStringList{"pelix-mac://connect?token=pelix_x"});
}

TEST_F(DesktopTest, ASocketLeftByADeadProcessIsTakenOver) {
    const auto instance = desktop->singleInstance(home.dataDir());
    // A socket file that nobody answers on.
    QFile stale(instance->address());
    ASSERT_TRUE(stale.open(QIODevice::WriteOnly));
    stale.close();
    EXPECT_TRUE(instance->listen());
}

TEST_F(DesktopTest, AutostartEntryIsWrittenReadAndRemoved) {
    Autostart& autostart = desktop->autostart();
    const QString entry = home.path() + "/config/autostart/pelix.desktop";
    EXPECT_FALSE(autostart.enabled());
    ASSERT_TRUE(autostart.enable("/opt/pelix dir/bin/pelix"));
    EXPECT_TRUE(autostart.enabled());
    {
        QFile file(entry);
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        const QByteArray text = file.readAll();
        EXPECT_TRUE(text.contains("\nExec=\"/opt/pelix dir/bin/pelix\"\n"));
        EXPECT_TRUE(text.contains("\nTryExec=/opt/pelix dir/bin/pelix\n"));
    }
    // A desktop that hides the entry switches it off.
    {
        QFile file(entry);
        ASSERT_TRUE(file.open(QIODevice::Append));
        file.write("Hidden=true\n");
    }
    EXPECT_FALSE(autostart.enabled());
    ASSERT_TRUE(autostart.disable());
    EXPECT_FALSE(QFile::exists(entry));
    EXPECT_TRUE(autostart.disable());
}

}  // namespace
}  // namespace pelix::platform
