// One running Pelix per data folder, later ones handing over their message; the autostart entry.
// Characters to key codes on real XKB layouts, as KWin's fake input needs them (German's y, z and
// ö are typed in KWin's end-to-end test), and the keyboard map the virtual keyboard types with,
// read back as a client reads it.
#include "platform/Desktop.h"
#include "platform/Autostart.h"
#include "platform/SingleInstance.h"
#include "platform/linux/LayoutKeys.h"
#include "platform/linux/WaylandTypist.h"
#include "support/TestSupport.h"

#include <QLocalSocket>

#include <gio/gdesktopappinfo.h>
#include <linux/input-event-codes.h>
#include <xkbcommon/xkbcommon.h>

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
    ASSERT_TRUE(autostart.disable());
    EXPECT_FALSE(QFile::exists(entry));
    EXPECT_TRUE(autostart.disable());
}

struct Case {
    const char* layout;
    const char* variant;
    char32_t character;
    std::optional<KeyStroke> stroke;
};

const QList<int> kShift = {KEY_LEFTSHIFT};

TEST(LayoutKeys, EachCharacterComesFromTheKeyOfTheLayoutInUse) {
    const Case cases[] = {
        {"us", "", U'A', KeyStroke{KEY_A, kShift}},
        // The keypad's digits and signs need Num Lock or act differently: the main keys type.
        {"us", "", U'7', KeyStroke{KEY_7, {}}},
        // The map's Euro key lies past X11's key codes, which Xwayland's applications never see.
        {"us", "", U'€', std::nullopt},
        // German: € with AltGr; ^ is a dead key, which types nothing by itself.
        {"de", "", U'€', KeyStroke{KEY_E, {KEY_RIGHTALT}}},
        {"de", "", U'^', std::nullopt},
        {"de", "nodeadkeys", U'^', KeyStroke{KEY_GRAVE, {}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.layout) + " " + c.variant + " U+" +
                     QString::number(uint(c.character), 16).toStdString());
        const std::optional<LayoutKeys> keys = LayoutKeys::fromNames(c.layout, c.variant);
        ASSERT_TRUE(keys.has_value());
        EXPECT_EQ(keys->stroke(c.character), c.stroke);
    }
}

// Toolkits read Ctrl+V by the character: on Dvorak it is the key US keyboards call ".". The
// keymap text a compositor sends is read in KWin's end-to-end test; text that is no keymap is
// none.
TEST(LayoutKeys, PasteIsCtrlAndTheKeyThatGivesV) {
    const std::optional<LayoutKeys> dvorak = LayoutKeys::fromNames("us", "dvorak");
    ASSERT_TRUE(dvorak.has_value());
    EXPECT_EQ(dvorak->v(), KEY_DOT);
    EXPECT_EQ(LayoutKeys::fromNames("de")->v(), KEY_V);
    EXPECT_FALSE(LayoutKeys::fromText("xkb_keymap { not a keymap").has_value());
    EXPECT_FALSE(LayoutKeys::fromText({}).has_value());
}

struct Compiled {
    std::unique_ptr<xkb_context, decltype(&xkb_context_unref)> context{xkb_context_new({}),
                                                                       xkb_context_unref};
    std::unique_ptr<xkb_keymap, decltype(&xkb_keymap_unref)> keymap{nullptr, xkb_keymap_unref};
    explicit Compiled(const QByteArray& text) {
        keymap.reset(xkb_keymap_new_from_string(context.get(), text.constData(),
                                                XKB_KEYMAP_FORMAT_TEXT_V1, {}));
    }
    xkb_keysym_t symbol(int code) const {
        const xkb_keysym_t* symbols = nullptr;
        return xkb_keymap_key_get_syms_by_level(keymap.get(), code, 0, 0, &symbols) == 1
                   ? symbols[0]
                   : XKB_KEY_NoSymbol;
    }
};

QList<char32_t> distinct(int count) {
    QList<char32_t> characters;
    for (char32_t c = 0x4e00; characters.size() < count; ++c) characters.append(c);
    return characters;
}

TEST(TypingKeymap, EveryKeyIsOnTheMapWhereClientsLookForIt) {
    const struct {
        const char* name;
        QList<char32_t> characters;
        int typed;
    } cases[] = {
        {"no characters (pressing keys only)", {}, 0},
        {"repeats and a line break", {U'h', U'é', U'h', U'\n', U'😀'}, 4},
        {"more than fit", distinct(kTypingKeymapSlots + 20), kTypingKeymapSlots},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        QHash<char32_t, int> codes;
        const Compiled map(typingKeymap(c.characters, &codes));
        ASSERT_TRUE(map.keymap);
        EXPECT_EQ(codes.size(), c.typed);
        // Applications find the keys of a shortcut by walking the codes below the highest one
        // (GTK stops one short of it): nothing may sit on the highest code.
        const xkb_keycode_t highest = xkb_keymap_max_keycode(map.keymap.get());
        EXPECT_EQ(map.symbol(highest), XKB_KEY_NoSymbol);
        EXPECT_LE(highest, 255u);
        for (xkb_keysym_t named :
             {XKB_KEY_BackSpace, XKB_KEY_Return, XKB_KEY_Control_L, XKB_KEY_v}) {
            bool found = false;
            for (xkb_keycode_t code = xkb_keymap_min_keycode(map.keymap.get()); code < highest;
                 ++code) {
                found = found || map.symbol(code) == named;
            }
            EXPECT_TRUE(found) << xkb_keysym_to_utf32(named);
        }
        for (auto it = codes.cbegin(); it != codes.cend(); ++it) {
            const xkb_keysym_t wanted =
                it.key() == U'\n' ? XKB_KEY_Return : xkb_utf32_to_keysym(it.key());
            EXPECT_EQ(map.symbol(it.value()), wanted) << uint(it.key());
            EXPECT_LT(xkb_keycode_t(it.value()), highest);
        }
    }
}

}  // namespace
}  // namespace pelix::platform
