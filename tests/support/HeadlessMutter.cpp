#include "support/HeadlessMutter.h"

#include <QDir>
#include <QFile>

namespace pelix::testing {

HeadlessMutter& HeadlessMutter::shared() {
    static HeadlessMutter mutter;
    return mutter;
}

HeadlessMutter::HeadlessMutter() : HeadlessDesktop("Mutter", "wayland-gnome", "GNOME") {
    if (!start() && error().isEmpty()) fail("Mutter did not start");
}

bool HeadlessMutter::start() {
    if (!prepare()) return false;
    QDir().mkpath(home_);
    const QString portals = work() + "/portals";
    QDir().mkpath(portals);
    for (const QString portal : {"gnome.portal", "gtk.portal"}) {
        if (!QFile::copy("/usr/share/xdg-desktop-portal/portals/" + portal,
                         portals + "/" + portal)) {
            return fail(
                "GNOME's desktop portal is not installed (the Debian package "
                "xdg-desktop-portal-gnome)");
        }
    }
    giveToUser(home_);

    const QDeadlineTimer deadline(20000);
    if (!startBus({"WAYLAND_DISPLAY", "XDG_CURRENT_DESKTOP", "XDG_SESSION_TYPE", "GDK_BACKEND",
                   "XDG_DESKTOP_PORTAL_DIR=" + portals},
                  deadline)) {
        return false;
    }
    QProcessEnvironment env = clientEnvironment();
    const QString system = "unix:path=" + run_ + "/system_bus";
    QProcess& systemBus =
        launch("system-bus", "dbus-daemon",
               {"--session", "--nofork", "--print-address", "--address=" + system}, env, true);
    if (!waitForLine(systemBus, "system-bus", deadline)) return false;
    env.insert("DBUS_SYSTEM_BUS_ADDRESS", system);
    launch("localed", "/usr/bin/python3",
           {"-m", "dbusmock", "--system", "--template", PELIX_LOCALED_TEMPLATE, "--parameters",
            QString(R"({"layout": "%1"})").arg(kLayout)},
           env);
    if (!waitForName("org.freedesktop.locale1", deadline, system)) return false;

    if (!QFile::exists("/usr/bin/mutter")) {
        return fail("mutter is not installed (the Debian package mutter)");
    }
    // GNOME's portal backend serves remote desktops only once Mutter's own service is there.
    return startCompositor("/usr/bin/mutter",
                           {"--headless", "--virtual-monitor", "1024x768", "--wayland", "--no-x11",
                            "--wayland-display", socket_},
                           env, deadline, {"org.gnome.Mutter.RemoteDesktop"});
}

QString HeadlessMutter::allowRemoteDesktop(int timeoutMs) const {
    QProcess accept;
    const QProcessEnvironment env = clientEnvironment();
    const auto [program, args] =
        command("/usr/bin/python3",
                {PELIX_ACCEPT_REMOTE_DESKTOP, QString::number(timeoutMs / 1000.0)}, env);
    accept.setProcessEnvironment(env);
    accept.start(program, args);
    if (!accept.waitForFinished(timeoutMs + 5000)) {
        accept.kill();
        accept.waitForFinished(1000);
        return "The consent dialog's helper did not finish.";
    }
    if (accept.exitCode() == 0) return {};
    return QString::fromUtf8(accept.readAllStandardOutput() + accept.readAllStandardError());
}

}  // namespace pelix::testing
