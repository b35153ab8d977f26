// One running Pelix per data folder, later ones handing over their message; the autostart entry;
// files fetched from where the desktop reaches them.
#include "platform/Desktop.h"
#include "platform/Autostart.h"
#include "platform/RemoteFiles.h"
#include "platform/SingleInstance.h"
#include "support/TestSupport.h"

#include <QLocalServer>
#include <QLocalSocket>

#include <gio/gdesktopappinfo.h>

#include <sys/stat.h>
#include <unistd.h>

namespace pelix::platform {
namespace {

class DesktopTest : public ::testing::Test {
protected:
    testing::IsolatedHome home;
    core::SystemClock clock;
    std::unique_ptr<Desktop> desktop = makeDesktop({.clock = clock, .cacheDir = home.path()});
};

// A later instance hands its message over (the whole round trip runs in the tray's end-to-end
// test), and a socket file left by a dead process is taken over. What a client of this user writes
// to the socket is one line of bounded length: a line break inside a link does not hand over the
// part before it, and a line that never ends is dropped once it passes the limit instead of filling
// memory. Messages after either still arrive.
TEST_F(DesktopTest, TheSocketTakesOneBoundedLineAndNothingElse) {
    const auto first = desktop->singleInstance(home.dataDir());
    QFile stale(first->address());
    ASSERT_TRUE(stale.open(QIODevice::WriteOnly));
    stale.close();
    EXPECT_FALSE(desktop->singleInstance(home.dataDir())->sendToRunning("nobody", 200));
    ASSERT_TRUE(first->listen());
    EXPECT_FALSE(desktop->singleInstance(home.dataDir())->listen());
    QStringList got;
    QObject::connect(first.get(), &SingleInstance::received, [&](const QString& m) { got << m; });
    const auto write = [&](const QByteArray& bytes) {
        QLocalSocket client;
        client.connectToServer(first->address());
        EXPECT_TRUE(client.waitForConnected(2000));
        client.write(bytes);
        // Dropped (or done with) by the running side: the connection ends.
        return testing::waitUntil([&] { return client.state() == QLocalSocket::UnconnectedState; },
                                  15000);
    };
    for (const QByteArray& refused : {
             QByteArray("pelix-mac://connect?token=pelix_cut\r\nX-Rest: of the key\n"),
             QByteArray("pelix-mac://connect?token=pelix_cut\nmore\n"),
             QByteArray("pelix-mac://connect?token=pelix_cut\rmore\n"),
             QByteArray("pelix-mac://connect?token=pelix_cut\x1b]0;title\x07\n"),
             QByteArray(4 * 1024 * 1024, 'a'),
         }) {
        EXPECT_TRUE(write(refused)) << refused.left(60).toStdString();
    }
    EXPECT_TRUE(write("pelix-mac://connect?token=pelix_whole\n"));
    ASSERT_TRUE(testing::waitUntil([&] { return !got.isEmpty(); }));
    EXPECT_EQ(got, QStringList{"pelix-mac://connect?token=pelix_whole"});

    EXPECT_FALSE(SingleInstance::isOneLine("pelix-mac://connect?token=pelix_a\nb"));
    EXPECT_FALSE(SingleInstance::isOneLine(QString(SingleInstance::kMessageLimit + 1, 'a')));
    EXPECT_TRUE(SingleInstance::isOneLine("pelix-mac://connect?token=pelix_a"));
}

// Without a runtime folder the socket goes into a folder of this user's own in the temporary
// folder; one of that name that someone else prepared is not used.
class SocketFolder : public DesktopTest {
protected:
    QTemporaryDir tmp;
    QByteArray savedTmp = qgetenv("TMPDIR"), savedRuntime = qgetenv("XDG_RUNTIME_DIR");

    void SetUp() override {
        qputenv("TMPDIR", tmp.path().toUtf8());
        qunsetenv("XDG_RUNTIME_DIR");
    }
    void TearDown() override {
        qputenv("TMPDIR", savedTmp);
        qputenv("XDG_RUNTIME_DIR", savedRuntime);
        if (savedRuntime.isEmpty()) qunsetenv("XDG_RUNTIME_DIR");
    }
    QString fallback() const { return tmp.filePath(QStringLiteral("pelix-%1").arg(getuid())); }
};

TEST_F(SocketFolder, IsPrivateAndNotTakenFromSomeoneElse) {
    const QString name = desktop->singleInstance(home.dataDir())->address();
    EXPECT_EQ(QFileInfo(name).absolutePath(), fallback());
    struct stat info {};
    ASSERT_EQ(lstat(QFile::encodeName(fallback()).constData(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0700u);
    EXPECT_EQ(info.st_uid, getuid());

    // Someone's link in its place, pointing at a folder anyone may write to.
    ASSERT_TRUE(QDir(fallback()).removeRecursively());
    QTemporaryDir open;
    ASSERT_EQ(chmod(QFile::encodeName(open.path()).constData(), 0777), 0);
    ASSERT_TRUE(QFile::link(open.path(), fallback()));
    const auto instance = desktop->singleInstance(home.dataDir());
    EXPECT_FALSE(instance->address().startsWith(fallback()));
    EXPECT_FALSE(instance->address().startsWith(open.path()));
    EXPECT_TRUE(instance->listen());
}

// Another user's process listening where the link would go gets nothing: a listener run as
// "nobody" is hard-linked to where this user's Pelix would listen, and prints what it is sent.
TEST_F(SocketFolder, HandsNothingToAnotherUsersProcess) {
    if (getuid() != 0) GTEST_SKIP() << "acting as another user needs root";
    const auto instance = desktop->singleInstance(home.dataDir());
    // Where "nobody" can reach: not under this test's private temporary folder.
    QTemporaryDir open("/tmp/pelix-open-XXXXXX");
    ASSERT_EQ(chmod(QFile::encodeName(open.path()).constData(), 0777), 0);
    const QString path = open.filePath("pelix.sock");
    QProcess other;
    other.start("setpriv",
                {"--reuid=65534", "--regid=65534", "--clear-groups", "/usr/bin/python3", "-c",
                 "import socket, sys\n"
                 "s = socket.socket(socket.AF_UNIX)\n"
                 "s.bind(sys.argv[1]); s.listen(1); s.settimeout(10)\n"
                 "print('ready', flush=True)\n"
                 "try: sys.stdout.write(s.accept()[0].recv(256).decode())\n"
                 "except OSError: pass\n",
                 path});
    ASSERT_TRUE(testing::waitUntil([&] { return other.canReadLine(); }, 10000))
        << other.readAllStandardError().toStdString();
    ASSERT_EQ(other.readLine(), "ready\n");
    ASSERT_EQ(link(QFile::encodeName(path).constData(),
                   QFile::encodeName(instance->address()).constData()),
              0);
    EXPECT_FALSE(instance->sendToRunning("pelix-mac://connect?token=pelix_secret", 2000));
    ASSERT_TRUE(other.waitForFinished(15000));
    EXPECT_EQ(other.readAllStandardOutput(), "") << "the other user received the link";
}

// Whatever the program's path holds, GLib (as the desktop's session manager reads the entry)
// finds the program the entry names, and the Exec value follows the desktop entry rules.
TEST_F(DesktopTest, AutostartEntryNamesTheProgramWhateverItsPathHolds) {
    const struct {
        const char* folder;
        const char* exec;  // the Exec value for <home>/<folder>/pelix, after the home
    } cases[] = {
        {"plain dir", R"(/plain dir/pelix")"},         {R"(q"uote)", R"(/q\\"uote/pelix")"},
        {R"(back\slash)", R"(/back\\\\slash/pelix")"}, {"cash$HOME", R"(/cash\\$HOME/pelix")"},
        {"tick`id`", R"(/tick\\`id\\`/pelix")"},       {"per%cent%u", R"(/per%%cent%%u/pelix")"},
        {"line\nbreak", R"(/line\nbreak/pelix")"},
    };
    Autostart& autostart = desktop->autostart();
    const QString entry = home.path() + "/config/autostart/pelix.desktop";
    EXPECT_FALSE(autostart.enabled());
    for (const auto& c : cases) {
        SCOPED_TRACE(c.folder);
        const QString dir = home.path() + '/' + QString::fromUtf8(c.folder);
        ASSERT_TRUE(QDir().mkpath(dir));
        const QString program = testing::writeFile(dir, "pelix", "#!/bin/sh\n");
        QFile::setPermissions(program, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        ASSERT_TRUE(autostart.enable(program));
        EXPECT_TRUE(autostart.enabled());
        const QByteArray text = testing::readFile(entry);
        EXPECT_TRUE(text.contains("\nExec=\"" + home.path().toUtf8() + c.exec + "\n"))
            << text.constData();

        // GLib reads the entry only when TryExec and the first argument of Exec, unquoted, are
        // programs that are there. It looks for the first before expanding field codes, so it
        // cannot find a program whose path has a '%' in it.
        if (program.contains('%')) continue;
        GDesktopAppInfo* info = g_desktop_app_info_new_from_filename(QFile::encodeName(entry));
        EXPECT_TRUE(info) << "GLib could not read the entry:\n" << text.constData();
        if (info) g_object_unref(info);
    }
    EXPECT_FALSE(autostart.enable("/opt/bell\a/pelix"));

    // A desktop that hides the entry switches it off.
    testing::writeFile(QFileInfo(entry).path(), "pelix.desktop",
                       testing::readFile(entry) + "Hidden=true\n");
    EXPECT_FALSE(autostart.enabled());
    ASSERT_TRUE(autostart.disable());
    EXPECT_FALSE(QFile::exists(entry));
    EXPECT_TRUE(autostart.disable());
}

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
