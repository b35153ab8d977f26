#pragma once

// Live dictation on a headless desktop (KWin, Mutter): a real `pelix` as the desktop's user,
// typing into a GTK entry while flite speech plays into the session's virtual microphone.
#include "core/Prefs.h"
#include "fakes/FakeTranscriptionServer.h"
#include "media/TestMedia.h"
#include "service/TokenStore.h"
#include "support/DesktopSession.h"
#include "support/HeadlessDesktop.h"

namespace pelix::dictation {

class HeadlessDictation : public ::testing::Test {
protected:
    static inline const QString kSentence =
        "The weather is nice today and we will go for a walk in the park.";

    // On `desktop`, Pelix saying `route` when it can type, the server answering `corrected`.
    HeadlessDictation(testing::HeadlessDesktop& desktop, QByteArray route, QString corrected)
        : desktop(desktop), route(std::move(route)), corrected(std::move(corrected)) {}

    void SetUp() override {
        ASSERT_TRUE(testing::desktopPresent());
        ASSERT_TRUE(desktop.error().isEmpty()) << desktop.error().toStdString();

        static int homes = 0;
        home = desktop.userFolder(QString("pelix-home-%1").arg(++homes));
        env = desktop.clientEnvironment();
        env.insert("HOME", home);
        env.insert("XDG_CONFIG_HOME", home + "/config");
        env.insert("XDG_DATA_HOME", home + "/data");
        env.insert("XDG_CACHE_HOME", home + "/cache");
        env.insert("PELIX_API_BASE", "http://127.0.0.1:9");
        const QString sound = desktop.userFolder("sound");
        QProcess pactl;
        pactl.start("pactl", {"load-module", "module-native-protocol-unix", "auth-anonymous=1",
                              "socket=" + sound + "/native"});
        ASSERT_TRUE(pactl.waitForFinished(5000) && pactl.exitCode() == 0)
            << pactl.readAllStandardError().constData();
        soundModule = pactl.readAllStandardOutput().trimmed();
        env.insert("PULSE_SERVER", "unix:" + sound + "/native");

        speech = testing::TestMedia(home).said("speech.wav", kSentence);
        server.answer(corrected, fakes::Shape::segmentTokens, 300);
        core::Prefs(home + "/config/Pelix/Pelix.conf").setValue("speech.server", server.base());
        service::TokenStore(home + "/data/Pelix").write("pelix_test");
        desktop.giveToUser(home);
    }

    void TearDown() override {
        target.reset();
        pelix.reset();
        if (!soundModule.isEmpty()) QProcess::execute("pactl", {"unload-module", soundModule});
    }

    // What the desktop asks of the user before Pelix may type.
    virtual void consent() {}

    // Starts `pelix` and, once it can type, the window to type into.
    void launch() {
        const auto [command, args] = desktop.command(program, {}, env);
        pelix = std::make_unique<testing::PelixProcess>(command, args);
        ASSERT_TRUE(pelix->saw("tray: ready")) << pelix->err().constData();
        ASSERT_NO_FATAL_FAILURE(consent());
        ASSERT_TRUE(pelix->saw(route)) << pelix->err().constData() << desktop.log().toStdString();
        const auto [python, pythonArgs] =
            desktop.command("/usr/bin/python3", {PELIX_GTK_TARGET}, desktop.clientEnvironment());
        target = std::make_unique<testing::TargetWindow>(python, QProcessEnvironment(), pythonArgs);
        ASSERT_TRUE(target->ready()) << "The GTK window never got the focus.";
    }

    void dictateKey() {
        QProcess second;
        const auto [command, args] = desktop.command(program, {"--dictate"}, env);
        second.start(command, args);
        ASSERT_TRUE(second.waitForFinished(10000));
        EXPECT_EQ(second.exitCode(), 0) << second.readAllStandardError().constData();
    }

    // `pelix --dictate` (a desktop shortcut) starts and ends a dictation: text stands in the
    // window while the speech plays, and the server's sentence replaces it, character for
    // character.
    void dictateAndCorrect() {
        ASSERT_NO_FATAL_FAILURE(launch());
        dictateKey();
        ASSERT_TRUE(pelix->saw("dictation: typing into gtk-target")) << pelix->err().constData();
        testing::pause(300);
        testing::playIntoMicrophone(speech);
        ASSERT_TRUE(testing::waitUntil([&] { return target->text().size() > 10; }, 10000))
            << pelix->err().constData() << desktop.log().toStdString();
        ASSERT_TRUE(testing::waitUntil(
            [&] {
                const auto& seen = target->history();
                return !seen.empty() && target->elapsed() - seen.back().ms > 1500;
            },
            20000));
        const QString heard = target->text();
        dictateKey();
        ASSERT_TRUE(pelix->saw("dictation: done", 5000)) << pelix->err().constData();

        EXPECT_TRUE(target->waitForText(corrected + " ", 5000))
            << "window: " << target->text().toStdString() << "\nheard: " << heard.toStdString();
        EXPECT_NE(heard, corrected + " ");
        EXPECT_EQ(server.calls().size(), 1);
    }

    testing::HeadlessDesktop& desktop;
    QString program = qEnvironmentVariable("PELIX_BIN");
    const QByteArray route;
    const QString corrected;
    QString home;
    QProcessEnvironment env;
    QByteArray soundModule;
    QString speech;
    fakes::FakeTranscriptionServer server;
    std::unique_ptr<testing::TargetWindow> target;
    std::unique_ptr<testing::PelixProcess> pelix;
};

}  // namespace pelix::dictation
