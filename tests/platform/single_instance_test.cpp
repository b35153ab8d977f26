// One running Pelix per data folder; later ones hand over their message.
#include "platform/Autostart.h"
#include "platform/SingleInstance.h"
#include "support/TestSupport.h"

#include <QFile>
#include <QLocalServer>
#include <QThread>

#include <gtest/gtest.h>

namespace pelix::platform {
namespace {

TEST(SingleInstance, SecondInstanceHandsOverItsLinkAndAThirdCannotListen) {
    testing::IsolatedHome home;
    const QString name = SingleInstance::socketName(home.dataDir());
    EXPECT_FALSE(SingleInstance::sendToRunning(name, "nobody", 200));

    SingleInstance first(name);
    ASSERT_TRUE(first.listen());
    SingleInstance second(name);
    EXPECT_FALSE(second.listen());

    QStringList got;
    QObject::connect(&first, &SingleInstance::received, [&](const QString& m) { got << m; });
    // The sender blocks, so it runs beside the event loop that answers.
    bool sent = false;
    QThread* sender = QThread::create([&] {
        sent = SingleInstance::sendToRunning(name, "pelix-mac://connect?token=pelix_x", 3000);
    });
    sender->start();
    EXPECT_TRUE(testing::waitUntil([&] { return sender->isFinished(); }, 5000));
    sender->wait();
    delete sender;
    EXPECT_TRUE(sent);
    EXPECT_TRUE(testing::waitUntil([&] { return !got.isEmpty(); }, 2000));
    EXPECT_EQ(got, QStringList{"pelix-mac://connect?token=pelix_x"});
}

TEST(SingleInstance, ASocketLeftByADeadProcessIsTakenOver) {
    testing::IsolatedHome home;
    const QString name = SingleInstance::socketName(home.dataDir());
    // A socket file that nobody answers on.
    QFile stale(name);
    ASSERT_TRUE(stale.open(QIODevice::WriteOnly));
    stale.close();
    SingleInstance instance(name);
    EXPECT_TRUE(instance.listen());
}

TEST(Autostart, EntryIsWrittenReadAndRemoved) {
    testing::IsolatedHome home;
    EXPECT_FALSE(Autostart::enabled());
    ASSERT_TRUE(Autostart::enable("/opt/pelix dir/bin/pelix"));
    EXPECT_TRUE(Autostart::file().startsWith(home.path() + "/config/autostart/"));
    EXPECT_TRUE(Autostart::enabled());
    {
        QFile file(Autostart::file());
        ASSERT_TRUE(file.open(QIODevice::ReadOnly));
        EXPECT_TRUE(file.readAll().contains("\nExec=\"/opt/pelix dir/bin/pelix\"\n"));
    }
    // A desktop that hides the entry switches it off.
    {
        QFile file(Autostart::file());
        ASSERT_TRUE(file.open(QIODevice::Append));
        file.write("Hidden=true\n");
    }
    EXPECT_FALSE(Autostart::enabled());
    ASSERT_TRUE(Autostart::disable());
    EXPECT_FALSE(QFile::exists(Autostart::file()));
    EXPECT_TRUE(Autostart::disable());
}

}  // namespace
}  // namespace pelix::platform
