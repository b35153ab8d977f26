#include "support/HeadlessKWin.h"

#include "support/TestSupport.h"

namespace pelix::testing {

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
    const auto trust = [this](const QString& name, const QString& program) {
        writeFile(home_ + "/.local/share/applications", name + ".desktop",
                  "[Desktop Entry]\nType=Application\nName=" + name.toUtf8() +
                      "\nExec=" + program.toUtf8() +
                      " %u\nNoDisplay=true\nX-KDE-Wayland-Interfaces=org_kde_kwin_fake_input\n");
    };
    trust("pelix-under-test", pelix);
    trust("pelix-fake-keys", QFileInfo(PELIX_FAKE_KEYS).canonicalFilePath());
    // The program that starts KWin too, which may run itself again as KWin's user (a
    // benchmark measuring fake input does).
    trust("pelix-kwin-host", QFileInfo("/proc/self/exe").canonicalFilePath());
    writeFile(home_ + "/.config", "kxkbrc",
              QByteArray("[Layout]\nLayoutList=") + kLayout + "\nUse=true\n");
    giveToUser(home_);

    const QDeadlineTimer deadline(20000);
    // The portals the bus starts on demand find the compositor, KDE's among them.
    if (!startBus({"WAYLAND_DISPLAY", "XDG_CURRENT_DESKTOP", "XDG_SESSION_TYPE", "QT_QPA_PLATFORM"},
                  deadline)) {
        return false;
    }
    return startCompositor(
        kwin,
        {"--virtual", "--no-lockscreen", "--socket", socket_, "--width", "1024", "--height", "768"},
        clientEnvironment(), deadline);
}

QString HeadlessKWin::fakeKeys() const {
    return PELIX_FAKE_KEYS;
}

}  // namespace pelix::testing
