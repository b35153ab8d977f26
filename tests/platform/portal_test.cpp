// Typing and the gestures through the desktop portal's RemoteDesktop and GlobalShortcuts: the
// real xdg-desktop-portal frontend on a bus of the test's own, in front of a python-dbusmock
// backend (tests/fakes/portal).
#include "core/Clock.h"
#include "core/Sentences.h"
#include "platform/linux/PortalKeySource.h"
#include "platform/linux/PortalTypist.h"
#include "support/TestSupport.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>

#include <sys/stat.h>

namespace pelix::platform {
namespace {

constexpr auto kBackend = "org.freedesktop.impl.portal.desktop.pelixtest";
constexpr auto kFrontend = "org.freedesktop.portal.Desktop";

// A session bus with the portal frontend (unless `frontend` is false) and the fake backend, with
// the backend's `parameters` (JSON).
class PortalRig {
public:
    explicit PortalRig(bool frontend = true, const QString& parameters = "{}") {
        static int rigs = 0;
        const QString address = "unix:path=" + dir_.path() + "/bus";
        env_.insert("PATH", qEnvironmentVariable("PATH", "/usr/bin:/bin"));
        for (const char* dir : {"HOME", "XDG_RUNTIME_DIR"}) env_.insert(dir, dir_.path());
        env_.insert("DBUS_SESSION_BUS_ADDRESS", address);
        env_.insert("XDG_CURRENT_DESKTOP", "pelixtest");
        env_.insert("XDG_DESKTOP_PORTAL_DIR", PELIX_FAKE_PORTAL "/portals");
        // A bus that starts nothing on demand: the portal is there only when the rig starts it.
        const QString config = testing::writeFile(
            dir_.path(), "bus.conf",
            ("<busconfig><type>session</type><listen>" + address +
             "</listen><auth>EXTERNAL</auth><policy context=\"default\"><allow "
             "send_destination=\"*\" eavesdrop=\"true\"/><allow eavesdrop=\"true\"/><allow "
             "own=\"*\"/></policy></busconfig>")
                .toUtf8());
        // It prints its address once it takes connections (its socket is there a moment before).
        start(bus_, "dbus-daemon", {"--nofork", "--print-address", "--config-file=" + config});
        if (!testing::waitUntil([&] { return bus_.canReadLine(); }, 10000)) {
            error_ = "dbus-daemon did not start";
            return;
        }
        connection_ = QDBusConnection::connectToBus(address, QString("portal-rig-%1").arg(++rigs));
        start(backend_, "/usr/bin/python3",
              {"-m", "dbusmock", "--session", "--template", PELIX_FAKE_PORTAL "/pelix_portal.py",
               "--parameters", parameters});
        if (!registered(kBackend)) {
            backend_.waitForFinished(100);
            error_ = "the fake portal backend did not start (python3-dbusmock): " +
                     backend_.readAllStandardError() + backend_.readAllStandardOutput();
        } else if (frontend) {
            start(frontend_, "/usr/libexec/xdg-desktop-portal", {});
            if (!registered(kFrontend)) {
                error_ = "xdg-desktop-portal did not start: " + frontend_.readAllStandardError();
            }
        }
    }
    ~PortalRig() {
        for (QProcess* process : {&frontend_, &backend_, &bus_}) {
            if (process->state() == QProcess::NotRunning) continue;
            process->terminate();
            if (!process->waitForFinished(3000)) process->kill();
            process->waitForFinished(1000);
        }
        QDBusConnection::disconnectFromBus(connection_.name());
    }

    QString error() const { return error_; }
    QDBusConnection connection() const { return connection_; }

    // The arguments of every call of `method` the mock `service` (the fake backend unless said)
    // answered, in order.
    QList<QVariantList> calls(const QString& method, const QString& service = kBackend) const {
        const QDBusMessage reply = mock("GetMethodCalls", {method}, service);
        QList<QVariantList> calls;
        if (reply.arguments().isEmpty()) return calls;
        const QDBusArgument list = reply.arguments().first().value<QDBusArgument>();
        list.beginArray();
        while (!list.atEnd()) {
            qulonglong when = 0;
            calls.append(QVariantList());
            list.beginStructure();
            list >> when >> calls.last();
            list.endStructure();
        }
        list.endArray();
        return calls;
    }
    // A fake frontend of a later version in place of the real one (fakes/portal/frontend_v2.py),
    // told the rig's connection; false when it does not start.
    bool startLaterFrontend() {
        start(frontend_, "/usr/bin/python3",
              {"-m", "dbusmock", "--session", "--template", PELIX_FAKE_PORTAL "/frontend_v2.py"});
        if (!registered(kFrontend)) return false;
        const QString sender = connection_.baseService().mid(1).replace('.', '_');
        return mock("SetSender", {sender}, kFrontend).type() == QDBusMessage::ReplyMessage;
    }
    // The restore token each SelectDevices of the fake frontend was given ("" for none).
    QStringList restoreTokensGiven() const {
        QStringList tokens;
        for (const QVariantList& args : calls("SelectDevices", kFrontend)) {
            QVariantMap options;
            args.value(1).value<QDBusArgument>() >> options;
            tokens << options.value("restore_token").toString();
        }
        return tokens;
    }
    // Presses or lets go of one of the shortcuts.
    void shortcut(const QString& id, bool down) const { mock("Shortcut", {id, down}); }
    // Ends the sessions, as the desktop does when the user stops them.
    void closeSessions() const { mock("CloseSessions", {}); }

private:
    QDBusMessage mock(const QString& method, const QVariantList& args,
                      const QString& service = kBackend) const {
        QDBusMessage call = QDBusMessage::createMethodCall(
            service, "/org/freedesktop/portal/desktop", "org.freedesktop.DBus.Mock", method);
        call.setArguments(args);
        return connection_.call(call);
    }
    void start(QProcess& process, const QString& program, const QStringList& args) {
        process.setProcessEnvironment(env_);
        process.start(program, args);
    }
    bool registered(const QString& name) const {
        // Python takes its time to start on a busy machine.
        return testing::waitUntil(
            [&] { return connection_.interface()->isServiceRegistered(name).value(); }, 30000);
    }

    QTemporaryDir dir_;
    QProcessEnvironment env_;
    QProcess bus_, backend_, frontend_;
    QDBusConnection connection_{QString()};
    QString error_;
};

// A portal that restores sessions hands a new token with each one: the typist keeps the last,
// privately, and offers it when it starts again, so the desktop asks the user only once.
TEST(PortalTypist, EachRestoreTokenIsKeptPrivatelyAndOfferedNextTime) {
    QTemporaryDir dir;
    const QString file = dir.path() + "/remote-desktop-token";
    PortalRig rig(false);
    ASSERT_TRUE(rig.error().isEmpty()) << rig.error().toStdString();
    ASSERT_TRUE(rig.startLaterFrontend());
    for (const char* kept : {"token-1", "token-2"}) {
        PortalTypist typist(rig.connection(), file);
        ASSERT_TRUE(testing::waitUntil([&] { return typist.canType(); }, 10000)) << kept;
        EXPECT_EQ(testing::readFile(file), kept);
        struct stat mode {};
        ASSERT_EQ(::stat(QFile::encodeName(file).constData(), &mode), 0);
        EXPECT_EQ(mode.st_mode & 0777, 0600u) << kept;
    }
    EXPECT_EQ(rig.restoreTokensGiven(), QStringList({"", "token-1"}));
}

// However the session fails to run, nothing is typed and the typist says it can't type. Without
// the portal, the shortcuts can't start either, and say so.
TEST(PortalTypist, NothingIsTypedWithoutARunningSession) {
    QTemporaryDir dir;
    struct Case {
        const char* name;
        bool frontend;
        int startResponse;
        bool closeAfterStart;
        PortalTypist::State end;
    };
    const Case cases[] = {
        {"the user refused", true, 1, false, PortalTypist::State::refused},
        {"the desktop ended it", true, 0, true, PortalTypist::State::closed},
        {"no portal on the bus", false, 0, false, PortalTypist::State::absent},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        PortalRig rig(c.frontend, QString(R"({"start_response": %1})").arg(c.startResponse));
        ASSERT_TRUE(rig.error().isEmpty()) << rig.error().toStdString();
        EXPECT_EQ(PortalTypist::offered(rig.connection()), c.frontend);
        if (!c.frontend) {
            core::SystemClock clock;
            PortalKeySource keys(rig.connection(), clock);
            const Status started = keys.start({});
            EXPECT_EQ(started ? QString() : started.error().message,
                      core::sentences::kNoShortcutsPortal);
            EXPECT_FALSE(keys.listening());
        }
        PortalTypist typist(rig.connection(), dir.path() + "/remote-desktop-token");
        if (c.closeAfterStart) {
            ASSERT_TRUE(testing::waitUntil([&] { return typist.canType(); }, 10000));
            rig.closeSessions();
        }
        ASSERT_TRUE(testing::waitUntil([&] { return typist.state() == c.end; }, 10000))
            << int(typist.state());
        EXPECT_FALSE(typist.canType());
        const qsizetype before = rig.calls("NotifyKeyboardKeysym").size();
        const quint64 undelivered = typist.undelivered();
        typist.type("x");
        typist.press(Key::enter, false, 1);
        testing::pause(300);
        EXPECT_EQ(rig.calls("NotifyKeyboardKeysym").size(), before);
        // Each key it could not hand over is counted, for the relay's "sent".
        EXPECT_EQ(typist.undelivered(), undelivered + 4);
    }
}

// Later portals bind the shortcuts they are asked to bind (KDE 5.27's, bound with the session,
// are held in KWin's end-to-end test). Holding and letting go of a shortcut holds and lets go of
// its modifier, once however often the desktop repeats the activation.
TEST(PortalKeySource, TheShortcutsHoldTheirModifiers) {
    PortalRig rig;
    ASSERT_TRUE(rig.error().isEmpty()) << rig.error().toStdString();
    core::SystemClock clock;
    PortalKeySource keys(rig.connection(), clock);
    QList<int> seen;
    ASSERT_TRUE(keys.start(
        {.modifiersChanged = [&](Mods mods, double) { seen << mods.bits; }, .otherInput = {}}));
    ASSERT_TRUE(testing::waitUntil([&] { return keys.listening(); }, 10000));
    EXPECT_EQ(rig.calls("BindShortcuts").size(), 1);

    rig.shortcut("dictate", true);
    rig.shortcut("dictate", true);  // repeated while held, as KDE does
    rig.shortcut("braindump", true);
    rig.shortcut("dictate", false);
    rig.shortcut("braindump", false);
    const QList<int> want = {Mods::kControl, Mods::kControl | Mods::kAlt, Mods::kAlt, 0};
    EXPECT_TRUE(testing::waitUntil([&] { return seen == want; }, 5000))
        << ::testing::PrintToString(seen);
}

}  // namespace
}  // namespace pelix::platform
