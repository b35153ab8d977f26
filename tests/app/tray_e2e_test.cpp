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

using ::testing::AssertionFailure;
using ::testing::AssertionResult;
using ::testing::AssertionSuccess;
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

    // Starts pelix, after a panel's stand-in when `withPanel`, as a desktop's panel comes first,
    // and waits until its tray is up (and registered with the panel).
    AssertionResult start(bool withPanel = false) {
        if (withPanel && !panel.emplace().ok()) {
            return AssertionFailure() << "Could not take the StatusNotifierWatcher name.";
        }
        pelix.emplace(env);
        if (AssertionResult ready = saw("tray: ready"); !ready) return ready;
        return !withPanel || waited([&] { return !panel->items().isEmpty(); })
                   ? AssertionSuccess()
                   : AssertionFailure() << "The tray icon never registered with the panel.";
    }
    // Each fails with what pelix wrote to its standard error.
    AssertionResult saw(const QByteArray& text, int timeoutMs = 10000) {
        if (pelix->saw(text, timeoutMs)) return AssertionSuccess();
        return AssertionFailure() << "no \"" << text.constData() << "\" in\n"
                                  << pelix->err().constData();
    }
    AssertionResult hud(const char* line) { return saw(QByteArray("hud: ") + line); }
    AssertionResult waited(const std::function<bool()>& done, int timeoutMs = 10000) {
        if (testing::waitUntil(done, timeoutMs)) return AssertionSuccess();
        return AssertionFailure() << pelix->err().constData();
    }
    // Waits until the tray menu as the panel shows it holds `label`, or no longer does.
    AssertionResult menuHas(const QString& label, bool has = true) {
        QStringList labels;
        if (testing::waitUntil([&] {
                labels = panel->labels().value_or(QStringList{});
                return labels.contains(label) == has;
            })) {
            return AssertionSuccess();
        }
        return AssertionFailure() << "the menu: " << labels.join(", ").toStdString();
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
    std::optional<testing::TrayHost> panel;
    std::optional<testing::PelixProcess> pelix;
};

TEST_F(TrayEndToEnd, AltTapsFileTheSpeechAndEveryOtherEndSaysItsLine) {
    backend.answerInTurn("braindump", {fakes::Reply::json({}),
                                       fakes::Reply::json({{"error", "Your storage is full."}})});
    ASSERT_TRUE(start());

    record(2.0);
    ASSERT_TRUE(backend.waitFor("braindump", 1, 20000)) << pelix->err().constData();
    const fakes::Recorded sent = backend.requests("braindump").first();
    EXPECT_EQ(sent.headers.value("authorization"), "Bearer pelix_test");
    EXPECT_EQ(sent.json["context"]["input"].toString(), "voice");
    EXPECT_EQ(sent.json["context"]["duration_s"].toInt(), 2);
    EXPECT_TRUE(hud("In Pelix"));

    const auto audio = media.probeAudio(testing::writeFile(
        home.path(), "sent.m4a",
        QByteArray::fromBase64(sent.json["audio_base64"].toString().toLatin1())));
    EXPECT_EQ(QStringList(
                  {audio["codec_name"], audio["profile"], audio["sample_rate"], audio["channels"]}),
              QStringList({"aac", "LC", "44100", "1"}));
    EXPECT_NEAR(audio["duration"].toDouble(), 2.0, 0.35) << pelix->err().constData();

    // Too short, dropped with Escape, refused: each says its line and leaves no recording.
    record(0.5);
    EXPECT_TRUE(hud("Too short. Tap Alt, talk, then tap Alt again."));
    keys.tap(XK_Alt_L);
    pause(600);
    keys.tap(XK_Escape);
    EXPECT_TRUE(hud("Dropped that one."));
    record(1.2);
    EXPECT_TRUE(hud("Your storage is full."));
    EXPECT_EQ(backend.requests("braindump").size(), 2);
    EXPECT_TRUE(recordings().isEmpty()) << recordings().join(' ').toStdString();
}

TEST_F(TrayEndToEnd, ASecondInstanceHandsItsLinkToTheRunningOne) {
    signOut();
    ASSERT_TRUE(start());
    const auto second = [&](const QStringList& args) {
        return testing::runPelix(args, {}, env, 10000);
    };
    // A line break in a link would hand over the part before it: the whole link is refused.
    const auto broken = second({"pelix-mac://connect?token=pelix_cut\r\nX-More: x"});
    EXPECT_EQ(broken.exitCode, 1);
    EXPECT_TRUE(broken.err.contains(core::sentences::kLinkNotOneLine)) << broken.err.constData();
    EXPECT_FALSE(tokens.read().has_value());

    const auto good = second({"pelix-mac://connect?token=pelix_test"});
    EXPECT_EQ(good.exitCode, 0) << good.err.constData();
    EXPECT_TRUE(hud("Connected. Tap Alt anywhere and talk."));
    EXPECT_EQ(tokens.read(), "pelix_test");
    EXPECT_FALSE(good.err.contains("pelix_test"));
    // Without a link, a second pelix opens the running one's panel and ends.
    const auto plain = second({});
    EXPECT_EQ(plain.exitCode, 0) << plain.err.constData();
    EXPECT_EQ(pelix->count("tray: ready"), 1);
    EXPECT_TRUE(saw("panel: opened"));
}

TEST_F(TrayEndToEnd, BraindumpsThatCannotReachTheAccountWaitInTheMenuUntilSent) {
    // One kept by an earlier run; a gateway that cannot reach the backend behind it.
    const QString outbox = home.dataDir() + "/outbox";
    testing::writeFile(outbox, "1790000000000.json",
                       R"({"filename":"pelix-earlier.m4a","audio_base64":"AAAA"})");
    const fakes::Reply down = fakes::Reply::text("<html>502 Bad Gateway</html>", 502);
    backend.answer("braindump", down);
    backend.answer("insights", down);
    ASSERT_TRUE(start(true));
    ASSERT_TRUE(saw("outbox: 1790000000000 still waiting"));  // tried at start

    const QByteArray saved = "hud: Saved; Pelix will file it when it can reach your account.";
    record(1.2);
    ASSERT_TRUE(saw(saved));
    EXPECT_TRUE(recordings().isEmpty()) << recordings().join(' ').toStdString();
    ASSERT_TRUE(menuHas("2 braindumps waiting"));

    // "Send now" files both, oldest first, each once.
    backend.answer("braindump", fakes::Reply::json({}));
    const int before = backend.requests("braindump").size();
    ASSERT_TRUE(panel->click("Send now"));
    ASSERT_TRUE(waited([&] { return pelix->count("hud: In Pelix") == 2; }));
    const auto sent = backend.requests("braindump");
    ASSERT_EQ(sent.size(), before + 2);
    EXPECT_EQ(sent[before].json["filename"].toString(), "pelix-earlier.m4a");
    EXPECT_NE(sent[before + 1].json["filename"].toString(), "pelix-earlier.m4a");
    const auto outboxEmpty = [&] { return QDir(outbox).isEmpty(QDir::Files | QDir::Hidden); };
    EXPECT_TRUE(waited(outboxEmpty));
    EXPECT_TRUE(menuHas("Send now", false));
}

TEST_F(TrayEndToEnd, OpenPelixInThePanelsMenuShowsTheWebWindowPaintedAndTheTrayLivesOn) {
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
    ASSERT_TRUE(start(true));
    ASSERT_TRUE(menuHas("Quit Pelix"));
    ASSERT_TRUE(panel->click("Open Pelix"));

    ASSERT_TRUE(saw("web: opened", 30000));
    // The page, not an empty grey box.
    std::optional<QImage> picture;
    const bool painted = testing::waitUntil(
        [&] {
            picture = testing::windowPicture("Pelix");
            return picture && picture->width() >= 400 && testing::colourCount(*picture) >= 16;
        },
        30000);
    EXPECT_TRUE(painted) << "The web window shows "
                         << (picture ? testing::colourCount(*picture) : 0) << " colours.\n"
                         << pelix->err().constData();
    EXPECT_TRUE(pelix->running()) << pelix->err().constData();
    EXPECT_TRUE(panel->labels().has_value()) << "The tray stopped answering its panel.";
}

}  // namespace
}  // namespace pelix::app
