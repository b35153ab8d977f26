#include "support/HeadlessKWin.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

namespace pelix::testing {
namespace {

bool writeText(const QString& path, const QByteArray& text) {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(text) == text.size();
}

}  // namespace

HeadlessKWin& HeadlessKWin::shared() {
    static HeadlessKWin kwin;
    return kwin;
}

HeadlessKWin::HeadlessKWin() : HeadlessDesktop("KWin", "wayland-kde", "KDE") {
    if (!start() && error().isEmpty()) fail("KWin did not start");
}

bool HeadlessKWin::start() {
    if (!prepare()) return false;
    // The Debian binary carries a file capability that an exec in a container may refuse; a
    // plain copy runs.
    const QString kwin = work() + "/kwin_wayland";
    if (!QFile::copy("/usr/bin/kwin_wayland", kwin)) {
        return fail("kwin_wayland is not installed (the Debian package kwin-wayland)");
    }
    QFile::setPermissions(kwin, QFile::ReadOwner | QFile::ExeOwner | QFile::ReadOther |
                                    QFile::ExeOther | QFile::ReadGroup | QFile::ExeGroup);

    // Fake input for the pelix under test, as its installed desktop entry asks for it.
    const QString pelix = QFileInfo(qEnvironmentVariable("PELIX_BIN")).canonicalFilePath();
    if (pelix.isEmpty()) return fail("PELIX_BIN is not set: run the tests by ctest");
    const auto trusted = [this](const QString& name, const QString& program) {
        return writeText(home_ + "/.local/share/applications/" + name + ".desktop",
                         "[Desktop Entry]\nType=Application\nName=" + name.toUtf8() +
                             "\nExec=" + program.toUtf8() +
                             " %u\nNoDisplay=true\n"
                             "X-KDE-Wayland-Interfaces=org_kde_kwin_fake_input\n");
    };
    // The program that starts KWin too, which may run itself again as KWin's user (a
    // benchmark measuring fake input does).
    if (!trusted("pelix-under-test", pelix) ||
        !trusted("pelix-fake-keys", QFileInfo(PELIX_FAKE_KEYS).canonicalFilePath()) ||
        !trusted("pelix-kwin-host", QFileInfo("/proc/self/exe").canonicalFilePath()) ||
        !writeText(home_ + "/.config/kxkbrc",
                   QByteArray("[Layout]\nLayoutList=") + kLayout + "\nUse=true\n")) {
        return fail("could not write KWin's configuration");
    }
    giveToUser(home_);

    const QDeadlineTimer deadline(20000);
    // The portals the bus starts on demand find the compositor, KDE's among them.
    if (!startBus({"WAYLAND_DISPLAY", "XDG_CURRENT_DESKTOP", "XDG_SESSION_TYPE", "QT_QPA_PLATFORM"},
                  deadline)) {
        return false;
    }
    const QProcess& compositor = launch(
        "kwin", kwin,
        {"--virtual", "--no-lockscreen", "--socket", socket_, "--width", "1024", "--height", "768"},
        clientEnvironment());
    return waitForSocket(compositor, "kwin", deadline) && startPortal(deadline);
}

QString HeadlessKWin::fakeKeys() const {
    return PELIX_FAKE_KEYS;
}

}  // namespace pelix::testing
