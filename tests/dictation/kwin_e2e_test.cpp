// Live dictation on KDE: a real `pelix` on a headless KWin with a German keyboard layout, started
// and stopped by `pelix --dictate` as a desktop shortcut would, typing through KWin's fake input
// into a GTK entry while flite speech plays into the test session's virtual microphone; the
// transcription server's sentence then replaces what was heard, erased and typed again, with the
// characters the layout lacks pasted.
#include "core/Prefs.h"
#include "fakes/FakeTranscriptionServer.h"
#include "media/TestMedia.h"
#include "service/TokenStore.h"
#include "support/DesktopSession.h"
#include "support/HeadlessKWin.h"

namespace pelix::dictation {
namespace {

using testing::pause;

const QString kSentence = "The weather is nice today and we will go for a walk in the park.";
// What the server makes of it: letters that sit on other keys in German (y, z, ö) and characters
// the layout lacks (the dash, the tree), which go through the clipboard.
const QString kCorrected =
    QString::fromUtf8("The weather is nice today — lazy, schön, and we'll go for a walk 🌳.");

class KWinDictation : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(testing::desktopPresent());
        ASSERT_TRUE(kwin.error().isEmpty()) << kwin.error().toStdString();

        // Pelix runs as KWin's user, which KWin checks against its desktop entry: a home of
        // that user's, and a way into the session's sound server.
        static int homes = 0;
        home = kwin.userFolder(QString("pelix-home-%1").arg(++homes));
        env = kwin.clientEnvironment();
        env.insert("HOME", home);
        env.insert("XDG_CONFIG_HOME", home + "/config");
        env.insert("XDG_DATA_HOME", home + "/data");
        env.insert("XDG_CACHE_HOME", home + "/cache");
        env.insert("PELIX_API_BASE", "http://127.0.0.1:9");
        const QString sound = kwin.userFolder("sound");
        QProcess pactl;
        pactl.start("pactl", {"load-module", "module-native-protocol-unix", "auth-anonymous=1",
                              "socket=" + sound + "/native"});
        ASSERT_TRUE(pactl.waitForFinished(5000) && pactl.exitCode() == 0)
            << pactl.readAllStandardError().constData();
        soundModule = pactl.readAllStandardOutput().trimmed();
        env.insert("PULSE_SERVER", "unix:" + sound + "/native");

        speech = testing::TestMedia(home).said("speech.wav", kSentence);
        server.answer(kCorrected, fakes::Shape::segmentTokens, 300);
        core::Prefs(home + "/config/Pelix/Pelix.conf").setValue("speech.server", server.base());
        service::TokenStore(home + "/data/Pelix").write("pelix_test");
        kwin.giveToUser(home);
    }

    // Starts `pelix`, then the window to type into, which KWin puts in front of Pelix's badge
    // (there is no tray here).
    void launch() {
        const auto [program, args] = kwin.command(qEnvironmentVariable("PELIX_BIN"), {}, env);
        pelix = std::make_unique<testing::PelixProcess>(program, args);
        ASSERT_TRUE(pelix->saw("tray: ready")) << pelix->err().constData();
        ASSERT_TRUE(pelix->saw("typing: through KDE's fake input"))
            << pelix->err().constData() << kwin.log().toStdString();
        const auto [python, pythonArgs] =
            kwin.command("/usr/bin/python3", {PELIX_GTK_TARGET}, kwin.clientEnvironment());
        target = std::make_unique<testing::TargetWindow>(python, QProcessEnvironment(), pythonArgs);
        ASSERT_TRUE(target->ready()) << "The GTK window never got the focus.";
    }

    void TearDown() override {
        target.reset();
        pelix.reset();
        if (!soundModule.isEmpty()) QProcess::execute("pactl", {"unload-module", soundModule});
    }

    // `pelix --dictate`, as the desktop's shortcut runs it.
    void dictateKey() {
        QProcess second;
        const auto [program, args] =
            kwin.command(qEnvironmentVariable("PELIX_BIN"), {"--dictate"}, env);
        second.start(program, args);
        ASSERT_TRUE(second.waitForFinished(10000));
        EXPECT_EQ(second.exitCode(), 0) << second.readAllStandardError().constData();
    }

    testing::HeadlessKWin& kwin = testing::HeadlessKWin::shared();
    QString home;
    QProcessEnvironment env;
    QByteArray soundModule;
    QString speech;
    fakes::FakeTranscriptionServer server;
    std::unique_ptr<testing::TargetWindow> target;
    std::unique_ptr<testing::PelixProcess> pelix;
};

TEST_F(KWinDictation, DictationTypesAndCorrectsThroughFakeInput) {
    ASSERT_NO_FATAL_FAILURE(launch());

    dictateKey();
    ASSERT_TRUE(pelix->saw("dictation: typing into")) << pelix->err().constData();
    pause(300);
    testing::playIntoMicrophone(speech);
    // Text stands in the window while the speech plays.
    ASSERT_TRUE(testing::waitUntil([&] { return target->text().size() > 10; }, 10000))
        << pelix->err().constData() << kwin.log().toStdString();
    ASSERT_TRUE(testing::waitUntil(
        [&] {
            const auto& seen = target->history();
            return !seen.empty() && target->elapsed() - seen.back().ms > 1500;
        },
        20000));
    const QString heard = target->text();
    dictateKey();
    ASSERT_TRUE(pelix->saw("dictation: done", 5000)) << pelix->err().constData();

    // The server's sentence replaced what was heard, every character as it was sent.
    EXPECT_TRUE(target->waitForText(kCorrected + " ", 5000))
        << "window: " << target->text().toStdString() << "\nheard: " << heard.toStdString() << "\n"
        << pelix->err().constData();
    EXPECT_NE(heard, kCorrected + " ");
    EXPECT_EQ(server.calls().size(), 1);
}

// KDE's shortcuts portal: Pelix's "dictate" shortcut (Ctrl+Alt+D by default) held down starts a
// dictation and let go ends it, pressed through fake input as a person's keys.
TEST_F(KWinDictation, HoldingTheShortcutStartsAndEndsADictation) {
    ASSERT_NO_FATAL_FAILURE(launch());
    ASSERT_TRUE(pelix->saw("keys: through the shortcuts portal", 15000))
        << pelix->err().constData();
    QProcess keys;
    const auto [program, args] = kwin.command(kwin.fakeKeys(), {}, kwin.clientEnvironment());
    keys.start(program, args);
    const auto said = [&](const QByteArray& line) {
        return testing::waitUntil(
            [&] {
                keys.waitForReadyRead(50);
                return keys.canReadLine() && keys.readLine().trimmed() == line;
            },
            5000);
    };
    ASSERT_TRUE(said("ready")) << keys.readAllStandardError().constData();
    keys.write("down 29 56 32\n");  // Ctrl, Alt, D
    ASSERT_TRUE(said("done"));
    EXPECT_TRUE(pelix->saw("dictation: typing into", 5000)) << pelix->err().constData();
    keys.write("up 32 56 29\n");
    ASSERT_TRUE(said("done"));
    EXPECT_TRUE(pelix->saw("dictation: done", 5000)) << pelix->err().constData();
    keys.closeWriteChannel();
    keys.waitForFinished(3000);
}

}  // namespace
}  // namespace pelix::dictation
