#include "support/HeadlessSway.h"

#include "support/TestSupport.h"

#include <QRegularExpression>

#include <pwd.h>
#include <unistd.h>

namespace pelix::testing {
namespace {

constexpr auto kConfig =
    "output HEADLESS-1 resolution 1280x800\n"
    "default_border none\n"
    "focus_on_window_activation focus\n";

}  // namespace

HeadlessSway& HeadlessSway::shared() {
    static HeadlessSway sway;
    return sway;
}

HeadlessSway::HeadlessSway() {
    if (!runtime_.isValid()) {
        error_ = "no temporary folder for sway's runtime folder";
        return;
    }
    const QString dir = runtime_.path();
    QFile::setPermissions(writeFile(dir, "config", kConfig),
                          QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther);

    QProcessEnvironment env;
    env.insert("PATH", qEnvironmentVariable("PATH", "/usr/bin:/bin"));
    env.insert("XDG_RUNTIME_DIR", dir);
    env.insert("WLR_BACKENDS", "headless");
    env.insert("WLR_LIBINPUT_NO_DEVICES", "1");
    env.insert("WLR_RENDERER", "pixman");
    QString program = "sway";
    QStringList args = {"-c", dir + "/config"};
    if (::geteuid() == 0) {
        // sway will not run as root: run it as nobody, in a runtime folder of nobody's.
        const passwd* nobody = ::getpwnam("nobody");
        if (!nobody || ::chown(dir.toLocal8Bit().constData(), nobody->pw_uid, nobody->pw_gid)) {
            error_ = "sway needs an unprivileged user and there is no user nobody";
            return;
        }
        args.prepend(program);
        args = QStringList{"-u", "nobody", "--"} + args;
        program = "runuser";
    }
    sway_ = std::make_unique<QProcess>();
    sway_->setProcessEnvironment(env);
    sway_->setStandardOutputFile(dir + "/sway.log");
    sway_->setStandardErrorFile(dir + "/sway.log");
    sway_->start(program, args);
    if (!sway_->waitForStarted(5000)) {
        error_ =
            "sway did not start: " + sway_->errorString() + " (install the Debian package sway)";
        return;
    }
    const QDeadlineTimer deadline(15000);
    while (!deadline.hasExpired() && sway_->state() == QProcess::Running) {
        const QStringList sockets =
            QDir(dir).entryList({"wayland-*"}, QDir::System).filter(QRegularExpression("\\d$"));
        const QStringList ipc = QDir(dir).entryList({"sway-ipc.*.sock"}, QDir::System);
        if (!sockets.isEmpty() && !ipc.isEmpty()) {
            socket_ = dir + "/" + sockets.first();
            return;
        }
        QThread::msleep(20);
    }
    error_ = "sway did not open a Wayland socket: " +
             QString::fromUtf8(readFile(dir + "/sway.log").right(2000));
}

HeadlessSway::~HeadlessSway() {
    if (sway_) endProcess(*sway_);
}

QProcessEnvironment HeadlessSway::clientEnvironment() const {
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.remove("DISPLAY");
    env.insert("QT_QPA_PLATFORM", "wayland");
    env.insert("QT_WAYLAND_DISABLE_WINDOWDECORATION", "1");
    env.insert("WAYLAND_DISPLAY", socket_);
    env.insert("XDG_RUNTIME_DIR", runtime_.path());
    return env;
}

}  // namespace pelix::testing
