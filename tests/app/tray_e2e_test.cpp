// The tray application end to end: a real `pelix` in the test session hears XTest key taps,
// records the PulseAudio virtual microphone while flite speech plays into it, and files the
// braindump into the loopback backend.
#include "core/Sentences.h"
#include "fakes/BackendRig.h"
#include "media/TestMedia.h"

#include "support/DesktopSession.h"
#include "support/TrayHost.h"

#include <QTcpServer>

#include <unistd.h>

namespace pelix::app {
namespace {

using testing::pause;

class TrayEndToEnd : public ::testing::Test, protected fakes::BackendRig {
protected:
    void SetUp() override {
        ASSERT_TRUE(testing::desktopPresent());
        ASSERT_TRUE(keys.ok()) << "XTest can't open the display.";
        speech = media.said("speech.wav",
                            "Remember to call the plumber about the kitchen sink on Tuesday "
                            "morning, and buy more coffee.");
        QDir().mkpath(tmp());
        env = backendEnv();
        env.insert("TMPDIR", tmp());
    }

    QString tmp() const { return home.path() + "/tmp"; }
    QStringList recordings() const { return QDir(tmp()).entryList({"pelix-*.m4a"}, QDir::Files); }
    // One recording while the speech plays: a tap, `seconds`, a tap.
    void record(double seconds) {
        testing::playIntoMicrophone(speech);
        pause(100);
        keys.tap(XK_Alt_L);
        pause(static_cast<int>(seconds * 1000) - 60);
        keys.tap(XK_Alt_L);
    }

    testing::Keyboard keys;
    testing::TestMedia media{home.path()};
    QString speech;
    QProcessEnvironment env;
};

TEST_F(TrayEndToEnd, AltTapsFileTheSpeechAndEveryOtherEndSaysItsLine) {
    backend.answerInTurn("braindump", {fakes::Reply::json({}),
                                       fakes::Reply::json({{"error", "Your storage is full."}})});
    testing::PelixProcess pelix(env);
    ASSERT_TRUE(pelix.saw("tray: ready")) << pelix.err().constData();

    record(2.0);
    ASSERT_TRUE(backend.waitFor("braindump", 1, 20000)) << pelix.err().constData();
    const fakes::Recorded sent = backend.requests("braindump").first();
    EXPECT_EQ(sent.headers.value("authorization"), "Bearer pelix_test");
    const QString name = sent.json["filename"].toString();
    EXPECT_TRUE(name.startsWith("pelix-") && name.endsWith(".m4a")) << name.toStdString();
    EXPECT_EQ(sent.json["context"].toObject()["input"].toString(), "voice");
    EXPECT_EQ(sent.json["context"].toObject()["duration_s"].toInt(), 2);
    EXPECT_TRUE(pelix.saw("hud: In Pelix")) << pelix.err().constData();

    const QString file =
        testing::writeFile(home.path(), "sent.m4a",
                           QByteArray::fromBase64(sent.json["audio_base64"].toString().toLatin1()));
    const auto audio = media.probeAudio(file);
    EXPECT_EQ(audio["codec_name"], "aac");
    EXPECT_EQ(audio["profile"], "LC");
    EXPECT_EQ(audio["sample_rate"], "44100");
    EXPECT_EQ(audio["channels"], "1");
    EXPECT_NEAR(audio["duration"].toDouble(), 2.0, 0.35) << pelix.err().constData();

    // Too short, dropped with Escape, refused: each says its line and leaves no recording.
    record(0.5);
    EXPECT_TRUE(pelix.saw("hud: Too short. Tap Alt, talk, then tap Alt again."))
        << pelix.err().constData();
    keys.tap(XK_Alt_L);
    pause(600);
    keys.tap(XK_Escape);
    EXPECT_TRUE(pelix.saw("hud: Dropped that one.")) << pelix.err().constData();
    record(1.2);
    EXPECT_TRUE(pelix.saw("hud: Your storage is full.")) << pelix.err().constData();
    EXPECT_EQ(backend.requests("braindump").size(), 2);
    EXPECT_TRUE(recordings().isEmpty()) << recordings().join(' ').toStdString();
}

TEST_F(TrayEndToEnd, ASecondInstanceHandsItsLinkToTheRunningOne) {
    signOut();
    testing::PelixProcess pelix(env);
    ASSERT_TRUE(pelix.saw("tray: ready")) << pelix.err().constData();

    const auto second = testing::runPelix({"pelix-mac://connect?token=nope"}, {}, env, 10000);
    EXPECT_EQ(second.exitCode, 0) << second.err.constData();
    EXPECT_TRUE(pelix.saw("hud: That link did not carry a Pelix key."));
    EXPECT_FALSE(tokens.read().has_value());

    // A line break in a link would hand over the part before it: the whole link is refused.
    const auto broken =
        testing::runPelix({"pelix-mac://connect?token=pelix_cut\r\nX-More: x"}, {}, env, 10000);
    EXPECT_EQ(broken.exitCode, 1);
    EXPECT_TRUE(broken.err.contains(core::sentences::kLinkNotOneLine)) << broken.err.constData();
    EXPECT_FALSE(tokens.read().has_value());

    const auto third = testing::runPelix({"pelix-mac://connect?token=pelix_test"}, {}, env, 10000);
    EXPECT_EQ(third.exitCode, 0) << third.err.constData();
    EXPECT_TRUE(pelix.saw("hud: Connected. Tap Alt anywhere and talk."));
    EXPECT_EQ(tokens.read(), "pelix_test");
    EXPECT_FALSE(second.err.contains("pelix_") || third.err.contains("pelix_test"));
    // A sign-in callback that no window of this process asked for loads nothing, and the web
    // engine stays out of the tray application until its window opens.
    const auto callback =
        testing::runPelix({"pelix-mac://auth-callback?code=c&state=s"}, {}, env, 10000);
    EXPECT_EQ(callback.exitCode, 0) << callback.err.constData();
    QFile maps(QStringLiteral("/proc/%1/maps").arg(pelix.pid()));
    ASSERT_TRUE(maps.open(QIODevice::ReadOnly));
    EXPECT_FALSE(maps.readAll().contains("WebEngine"));
    // Without a link, a second pelix opens the running one's panel and ends; what is typed
    // there is told to the account.
    const auto plain = testing::runPelix({}, {}, env, 10000);
    EXPECT_EQ(plain.exitCode, 0) << plain.err.constData();
    EXPECT_EQ(pelix.count("tray: ready"), 1);
    ASSERT_TRUE(pelix.saw("panel: opened")) << pelix.err().constData();
    pause(300);
    for (KeySym key : {XK_h, XK_i, XK_space, XK_t, XK_h, XK_e, XK_r, XK_e, XK_Return})
        keys.tap(key);
    ASSERT_TRUE(backend.waitFor("organize", 1)) << pelix.err().constData();
    EXPECT_EQ(sent("organize")[0].value("text").toString(), "hi there");
}

// The labels of the tray menu as the panel shows it.
QStringList menuLabels(const testing::TrayHost& panel) {
    QStringList labels;
    for (const testing::TrayMenuEntry& entry :
         panel.menu().value_or(QList<testing::TrayMenuEntry>{}))
        labels << entry.label;
    return labels;
}

TEST_F(TrayEndToEnd, BraindumpsThatCannotReachTheAccountWaitInTheMenuUntilSentOrDiscarded) {
    testing::TrayHost panel;
    ASSERT_TRUE(panel.ok()) << "Could not take the StatusNotifierWatcher name on the session bus.";
    // One kept by an earlier run; a gateway that cannot reach the backend behind it.
    const QString outbox = home.dataDir() + "/outbox";
    QDir().mkpath(outbox);
    testing::writeFile(outbox, "1790000000000.json",
                       R"({"filename":"pelix-earlier.m4a","audio_base64":"AAAA"})");
    const fakes::Reply down = fakes::Reply::text("<html>502 Bad Gateway</html>", 502);
    backend.answer("braindump", down);
    backend.answer("insights", down);
    testing::PelixProcess pelix(env);
    ASSERT_TRUE(pelix.saw("tray: ready")) << pelix.err().constData();
    ASSERT_TRUE(testing::waitUntil([&] { return !panel.items().isEmpty(); }))
        << pelix.err().constData();
    // Tried at start, still waiting.
    ASSERT_TRUE(pelix.saw("outbox: 1790000000000 still waiting")) << pelix.err().constData();

    record(1.2);
    ASSERT_TRUE(pelix.saw("hud: Saved; Pelix will file it when it can reach your account."))
        << pelix.err().constData();
    EXPECT_TRUE(recordings().isEmpty()) << recordings().join(' ').toStdString();
    const auto waits = [&](const QString& line) {
        return testing::waitUntil([&] { return menuLabels(panel).contains(line); });
    };
    ASSERT_TRUE(waits("2 braindumps waiting")) << menuLabels(panel).join(", ").toStdString();

    // "Send now" files both, oldest first, each once.
    backend.answer("braindump", fakes::Reply::json({}));
    const int before = backend.requests("braindump").size();
    ASSERT_TRUE(panel.click("Send now"));
    ASSERT_TRUE(backend.waitFor("braindump", before + 2)) << pelix.err().constData();
    ASSERT_TRUE(testing::waitUntil([&] { return pelix.count("hud: In Pelix") == 2; }))
        << pelix.err().constData();
    const auto sent = backend.requests("braindump");
    EXPECT_EQ(sent.size(), before + 2);
    EXPECT_EQ(sent[before].json["filename"].toString(), "pelix-earlier.m4a");
    EXPECT_TRUE(sent[before + 1].json["filename"].toString().startsWith("pelix-"));
    EXPECT_NE(sent[before + 1].json["filename"].toString(), "pelix-earlier.m4a");
    EXPECT_TRUE(
        testing::waitUntil([&] { return QDir(outbox).isEmpty(QDir::Files | QDir::Hidden); }));
    ASSERT_TRUE(testing::waitUntil([&] { return !menuLabels(panel).contains("Send now"); }))
        << menuLabels(panel).join(", ").toStdString();

    // "Discard" drops what waits, and nothing more is sent.
    backend.answer("braindump", down);
    record(1.2);
    ASSERT_TRUE(testing::waitUntil([&] {
        return pelix.count("hud: Saved; Pelix will file it when it can reach your account.") == 2;
    })) << pelix.err().constData();
    ASSERT_TRUE(waits("1 braindump waiting")) << menuLabels(panel).join(", ").toStdString();
    const int kept = backend.requests("braindump").size();
    ASSERT_TRUE(panel.click("Discard"));
    ASSERT_TRUE(pelix.saw("outbox: discarded 1")) << pelix.err().constData();
    EXPECT_TRUE(
        testing::waitUntil([&] { return QDir(outbox).isEmpty(QDir::Files | QDir::Hidden); }));
    EXPECT_FALSE(menuLabels(panel).contains("Discard"));
    EXPECT_EQ(backend.requests("braindump").size(), kept);
    EXPECT_TRUE(pelix.running());
}

TEST_F(TrayEndToEnd, OpenPelixInThePanelsMenuShowsTheWebWindowPaintedAndTheTrayLivesOn) {
    // The panel's stand-in is on the bus before Pelix starts, as a desktop's panel is.
    testing::TrayHost panel;
    ASSERT_TRUE(panel.ok()) << "Could not take the StatusNotifierWatcher name on the session bus.";
    // A web address where nothing answers: the window shows its offline page.
    quint16 closed = 0;
    {
        QTcpServer port;
        ASSERT_TRUE(port.listen(QHostAddress::LocalHost));
        closed = port.serverPort();
    }
    prefs.setValue("web.base", QStringLiteral("https://127.0.0.1:%1/").arg(closed));
    env.insert("ASAN_OPTIONS", qEnvironmentVariable("ASAN_OPTIONS", "detect_leaks=0") +
                                   ":new_delete_type_mismatch=0");
    // Chromium's sandbox refuses to run as root, which CI's machines are.
    if (getuid() == 0) {
        env.insert("QTWEBENGINE_CHROMIUM_FLAGS",
                   qEnvironmentVariable("QTWEBENGINE_CHROMIUM_FLAGS") + " --no-sandbox");
    }
    testing::PelixProcess pelix(env);
    ASSERT_TRUE(pelix.saw("tray: ready")) << pelix.err().constData();
    ASSERT_TRUE(testing::waitUntil([&] { return !panel.items().isEmpty(); }))
        << "The tray icon never registered with the panel.\n"
        << pelix.err().constData();

    const auto menu = panel.menu();
    ASSERT_TRUE(menu.has_value()) << pelix.err().constData();
    QStringList labels;
    for (const testing::TrayMenuEntry& entry : *menu) labels << entry.label;
    EXPECT_TRUE(labels.contains("Quit Pelix")) << labels.join(", ").toStdString();
    ASSERT_TRUE(panel.click("Open Pelix")) << labels.join(", ").toStdString();

    ASSERT_TRUE(pelix.saw("web: opened", 30000)) << pelix.err().constData();
    // What the display shows of the window is the page, not an empty grey box.
    std::optional<QImage> picture;
    const bool painted = testing::waitUntil(
        [&] {
            picture = testing::windowPicture("Pelix");
            return picture && picture->width() >= 400 && testing::colourCount(*picture) >= 16;
        },
        30000);
    if (!painted && picture) picture->save(QDir::temp().filePath("pelix-web-window.png"));
    EXPECT_TRUE(painted) << "The web window shows "
                         << (picture ? testing::colourCount(*picture) : 0)
                         << " colours (its picture: " << qPrintable(QDir::tempPath())
                         << "/pelix-web-window.png).\n"
                         << pelix.err().constData();
    EXPECT_TRUE(pelix.running()) << pelix.err().constData();
    EXPECT_TRUE(panel.menu().has_value()) << "The tray stopped answering its panel.";
}

TEST(TrayWithoutDesktop, SaysWhatIsMissingInsteadOfAborting) {
    testing::IsolatedHome home;
    QProcessEnvironment env;
    for (const char* name : {"DISPLAY", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"}) env.insert(name, "");
    const auto result = testing::runPelix({}, {}, env, 10000);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_TRUE(result.err.contains("there is none here ($DISPLAY is not set)"))
        << result.err.constData();
}

}  // namespace
}  // namespace pelix::app
