// The relay end to end: a real `pelix` in the test session asks the loopback backend for a
// prompt, counts down, has the desktop open the assistant (a small target program registered
// as the handler of the Claude app's links in a private XDG home), checks its focus through
// AT-SPI, pastes, presses Return and reports to the backend.
#include "fakes/BackendRig.h"
#include "platform/Desktop.h"
#include "platform/Typist.h"
#include "support/HeadlessSway.h"

#include <QClipboard>
#include <QDBusInterface>
#include <QDBusReply>
#include <QGuiApplication>
#include <QLocalServer>
#include <QLocalSocket>

#include <mutex>

// Last: it brings in the X headers, whose macros clash with the names of the others.
#include "support/DesktopSession.h"

namespace pelix::relay {
namespace {

using testing::waitUntil;

class RelayEndToEnd : public ::testing::Test, protected fakes::BackendRig {
protected:
    void SetUp() override {
        ASSERT_TRUE(testing::desktopPresent());
        QDBusInterface bus("org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus");
        ASSERT_TRUE(QDBusReply<QString>(bus.call("GetAddress")).isValid())
            << "No accessibility bus on the session bus: install at-spi2-core and run the tests "
               "inside scripts/with-desktop.";
        ASSERT_TRUE(reports.listen(home.path() + "/target"));
        QObject::connect(&reports, &QLocalServer::newConnection, [this] {
            target = reports.nextPendingConnection();
            QObject::connect(target, &QLocalSocket::readyRead, [this] {
                buffer += target->readAll();
                for (qsizetype end; (end = buffer.indexOf('\n')) >= 0; buffer.remove(0, end + 1)) {
                    lines << buffer.left(end);
                }
            });
        });
        backend.answerWith("relay", [this](const fakes::Recorded& request) {
            std::lock_guard lock(mutex);
            if (request.json["action"] != "next" || held.isEmpty()) return fakes::Reply::json({});
            return fakes::Reply::json({{"prompt", held.takeFirst()}});
        });
        env = backendEnv();
        env.insert("PELIX_RELAY_QUICK", "1");
        QGuiApplication::clipboard()->setText("kept words");
    }

    // Makes `exec` the desktop's handler of `schemes`, as the application `id`.
    void registerHandler(const QString& id, const QString& exec, const QStringList& schemes) {
        QString types, defaults = "[Default Applications]\n";
        for (const QString& scheme : schemes) {
            types += "x-scheme-handler/" + scheme + ";";
            defaults += "x-scheme-handler/" + scheme + "=" + id + ".desktop\n";
        }
        testing::writeFile(home.path() + "/data/applications", id + ".desktop",
                           ("[Desktop Entry]\nType=Application\nName=" + id +
                            "\nNoDisplay=true\nExec=" + exec + " %u\nMimeType=" + types + "\n")
                               .toUtf8());
        testing::writeFile(home.path() + "/config", "mimeapps.list", defaults.toUtf8());
    }
    // The target as the handler of claude: links, with the focus starting `where`.
    void registerTarget(const QString& where) {
        registerHandler("pelix-relay-target",
                        QString("%1 --report %2 --focus %3")
                            .arg(PELIX_RELAY_TARGET, reports.fullServerName(), where),
                        {"claude"});
    }
    void hold(const QJsonObject& prompt) {
        std::lock_guard lock(mutex);
        held << prompt;
    }
    QJsonObject done() {
        waitUntil([&] { return !sent("relay", "done").isEmpty(); }, 20000);
        return sent("relay", "done").value(0);
    }
    bool targetSaid(const QByteArray& line, int timeoutMs = 15000) {
        return waitUntil([&] { return lines.contains(line); }, timeoutMs);
    }
    QByteArrayList said(const QByteArray& prefix) const {
        QByteArrayList found;
        std::ranges::copy_if(lines, std::back_inserter(found),
                             [&](const QByteArray& line) { return line.startsWith(prefix); });
        return found;
    }

    QProcessEnvironment env;
    QLocalServer reports;
    QLocalSocket* target = nullptr;
    QByteArray buffer;
    QByteArrayList lines;
    std::mutex mutex;
    QList<QJsonObject> held;
};

TEST_F(RelayEndToEnd, ANewClaudeChatAtFullLengthWithoutTakingTheFocusMeanwhile) {
    registerTarget("chat");
    // Where the user is typing while the banner counts down.
    testing::TargetWindow busy(PELIX_TYPING_TARGET);
    ASSERT_TRUE(busy.ready());
    hold({{"id", "r1"}, {"target", "claude"}, {"prompt", " Plan my week \n"}});
    env.remove("PELIX_RELAY_QUICK");
    testing::PelixProcess pelix(env);
    ASSERT_TRUE(pelix.saw("relay: r1: counting down for a new chat in Claude", 15000))
        << pelix.err().constData();
    QTemporaryDir dir;
    core::SystemClock clock;
    const auto desktop = platform::makeDesktop({.clock = clock, .cacheDir = dir.path()});
    for (int second = 0; second < 4; ++second) {
        EXPECT_EQ(desktop->typist().frontWindow().value_or(platform::FrontWindow{}).pid,
                  busy.pid());
        testing::pause(1000);
    }

    ASSERT_TRUE(targetSaid("ready")) << pelix.err().constData();
    const QByteArray link = "claude://claude.ai/new?q=Plan%20my%20week";
    EXPECT_EQ(said("link "), QByteArrayList{"link " + link.toBase64()});
    ASSERT_TRUE(targetSaid("return chat " + QByteArray("Plan my week").toBase64()))
        << pelix.err().constData();
    EXPECT_EQ(done(), (QJsonObject{{"action", "done"}, {"id", "r1"}, {"result", "sent"}}));
    EXPECT_TRUE(pelix.saw("hud: Sent to a new chat in Claude."));
    EXPECT_TRUE(busy.text().isEmpty());
}

// In a browser's address bar nothing is typed at all, and the clipboard is left alone.
TEST_F(RelayEndToEnd, NothingIsTypedIntoAnAddressBar) {
    registerTarget("address");
    hold({{"id", "r2"}, {"prompt", "Where were we?"}, {"link", "https://claude.ai/chat/abc"}});
    testing::PelixProcess pelix(env);
    ASSERT_TRUE(targetSaid("ready")) << pelix.err().constData();
    ASSERT_TRUE(
        pelix.saw("hud: Could not find where to type in the conversation. It is still on "
                  "your phone.",
                  15000))
        << pelix.err().constData();
    EXPECT_EQ(said("link "),
              QByteArrayList{"link " + QByteArray("claude://claude.ai/chat/abc").toBase64()});
    EXPECT_EQ(done(), (QJsonObject{{"action", "done"}, {"id", "r2"}, {"result", "failed"}}));
    EXPECT_EQ(QGuiApplication::clipboard()->text(), "kept words");
    EXPECT_TRUE(said("text ").isEmpty() && said("return ").isEmpty());
}

// On sway, typing through the virtual keyboard: a prompt for ChatGPT is pasted into the
// browser's entry and sent with Return, and "sent" is reported only then.
TEST_F(RelayEndToEnd, AChatGptPromptReachesTheBrowserOnSway) {
    const testing::HeadlessSway& sway = testing::HeadlessSway::shared();
    ASSERT_TRUE(sway.error().isEmpty()) << sway.error().toStdString();
    registerHandler(
        "gtk-target",
        QString("/usr/bin/python3 %1 --report %2").arg(PELIX_GTK_TARGET, reports.fullServerName()),
        {"http", "https"});
    hold({{"id", "r5"}, {"target", "chatgpt"}, {"prompt", "Plan my week"}});
    QProcessEnvironment onSway = sway.clientEnvironment();
    onSway.insert(env);
    onSway.insert("XDG_SESSION_TYPE", "wayland");
    onSway.insert("GDK_BACKEND", "wayland");
    testing::PelixProcess pelix(onSway);
    ASSERT_TRUE(targetSaid("ready")) << pelix.err().constData();
    EXPECT_EQ(said("link "),
              QByteArrayList{"link " + QByteArray("https://chatgpt.com/").toBase64()});
    EXPECT_TRUE(targetSaid("return " + QByteArray("Plan my week").toBase64()))
        << "the window said: " << lines.join(' ').constData() << "\n"
        << pelix.err().constData();
    EXPECT_EQ(done(), (QJsonObject{{"action", "done"}, {"id", "r5"}, {"result", "sent"}}));
    EXPECT_TRUE(pelix.saw("hud: Sent to a new chat in ChatGPT.")) << pelix.err().constData();
}

}  // namespace
}  // namespace pelix::relay
