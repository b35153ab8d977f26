#include "support/HeadlessKWin.h"

#include <QDeadlineTimer>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QThread>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace pelix::testing {
namespace {

constexpr auto kSocket = "wayland-kde";

bool writeText(const QString& path, const QByteArray& text) {
    QDir().mkpath(QFileInfo(path).path());
    QFile file(path);
    return file.open(QIODevice::WriteOnly) && file.write(text) == text.size();
}

QString tail(const QString& path) {
    QFile log(path);
    if (!log.open(QIODevice::ReadOnly)) return {};
    return QString::fromUtf8(log.readAll().right(1500));
}

}  // namespace

HeadlessKWin& HeadlessKWin::shared() {
    static HeadlessKWin kwin;
    return kwin;
}

HeadlessKWin::HeadlessKWin() : work_(QDir::tempPath() + "/pelix-kwin-XXXXXX") {
    if (!start() && error_.isEmpty()) error_ = "KWin did not start";
}

bool HeadlessKWin::start() {
    const auto fail = [this](const QString& why) {
        error_ = why;
        return false;
    };
    if (!work_.isValid()) return fail("no temporary folder for KWin");
    const QString work = work_.path();
    ::chmod(work.toLocal8Bit().constData(), 0755);
    uid_ = ::getuid();
    gid_ = ::getgid();
    if (uid_ == 0) {
        // KWin will not run as root in a real session, and the tests run it as the user CI has.
        const passwd* nobody = ::getpwnam("nobody");
        if (!nobody) return fail("KWin needs an unprivileged user and there is no nobody");
        uid_ = nobody->pw_uid;
        gid_ = nobody->pw_gid;
    }
    run_ = userFolder("run");
    ::chmod(run_.toLocal8Bit().constData(), 0700);
    home_ = work + "/home";

    // The Debian binary carries a file capability that an exec in a container may refuse; a
    // plain copy runs.
    const QString kwin = work + "/kwin_wayland";
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

    const QProcessEnvironment env = clientEnvironment();
    bus_ = std::make_unique<QProcess>();
    bus_->setStandardErrorFile(work + "/bus.log");
    const auto [busProgram, busArgs] = command(
        "dbus-daemon",
        {"--session", "--nofork", "--print-address", "--address=unix:path=" + run_ + "/bus"}, env);
    bus_->setProcessEnvironment(env);
    bus_->start(busProgram, busArgs);

    kwin_ = std::make_unique<QProcess>();
    kwin_->setStandardOutputFile(work + "/kwin.log");
    kwin_->setStandardErrorFile(work + "/kwin.log");
    const QDeadlineTimer deadline(20000);
    // The bus prints its address once it takes connections (its socket is there a moment
    // before).
    while (!bus_->canReadLine() && !deadline.hasExpired() &&
           bus_->state() != QProcess::NotRunning) {
        bus_->waitForReadyRead(100);
    }
    if (!bus_->canReadLine()) {
        return fail("the session bus for KWin did not start: " + tail(work + "/bus.log"));
    }
    // The portals the bus starts on demand find the compositor, KDE's among them.
    QProcess activation;
    const auto [update, updateArgs] = command(
        "dbus-update-activation-environment",
        {"WAYLAND_DISPLAY", "XDG_CURRENT_DESKTOP", "XDG_SESSION_TYPE", "QT_QPA_PLATFORM"}, env);
    activation.setProcessEnvironment(env);
    activation.start(update, updateArgs);
    activation.waitForFinished(5000);
    const auto [program, args] = command(
        kwin,
        {"--virtual", "--no-lockscreen", "--socket", kSocket, "--width", "1024", "--height", "768"},
        env);
    kwin_->setProcessEnvironment(env);
    kwin_->start(program, args);
    while (!deadline.hasExpired() && kwin_->state() != QProcess::NotRunning) {
        if (QFileInfo::exists(run_ + "/" + kSocket)) return true;
        QThread::msleep(20);
    }
    return fail("KWin did not open its Wayland socket: " + tail(work + "/kwin.log"));
}

HeadlessKWin::~HeadlessKWin() {
    for (QProcess* process : {kwin_.get(), bus_.get()}) {
        if (!process || process->state() == QProcess::NotRunning) continue;
        process->terminate();
        if (!process->waitForFinished(3000)) process->kill();
        process->waitForFinished(1000);
    }
}

QProcessEnvironment HeadlessKWin::clientEnvironment() const {
    QProcessEnvironment env;
    env.insert("PATH", qEnvironmentVariable("PATH", "/usr/bin:/bin"));
    env.insert("HOME", home_);
    env.insert("LANG", "C.UTF-8");
    env.insert("XDG_RUNTIME_DIR", run_);
    env.insert("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + run_ + "/bus");
    env.insert("WAYLAND_DISPLAY", kSocket);
    env.insert("XDG_SESSION_TYPE", "wayland");
    env.insert("XDG_CURRENT_DESKTOP", "KDE");
    env.insert("QT_QPA_PLATFORM", "wayland");
    env.insert("GDK_BACKEND", "wayland");
    return env;
}

std::pair<QString, QStringList> HeadlessKWin::command(const QString& program,
                                                      const QStringList& args,
                                                      const QProcessEnvironment& env) const {
    if (::getuid() != 0) return {program, args};
    QStringList wrapped = {"-u", QString::fromLocal8Bit(::getpwuid(uid_)->pw_name), "--", "env",
                           "-i"};
    for (const QString& key : env.keys()) wrapped << key + "=" + env.value(key);
    // The sanitizers' settings of the test run hold for what it starts as the user too.
    for (const char* key : {"ASAN_OPTIONS", "UBSAN_OPTIONS", "LSAN_OPTIONS"}) {
        if (qEnvironmentVariableIsSet(key) && !env.contains(key))
            wrapped << QString::fromLatin1(key) + "=" + qEnvironmentVariable(key);
    }
    return {"runuser", wrapped << program << args};
}

QString HeadlessKWin::fakeKeys() const {
    return PELIX_FAKE_KEYS;
}

QString HeadlessKWin::log() const {
    return tail(work_.path() + "/kwin.log");
}

QString HeadlessKWin::userFolder(const QString& name) const {
    const QString path = work_.path() + "/" + name;
    QDir().mkpath(path);
    giveToUser(path);
    return path;
}

void HeadlessKWin::giveToUser(const QString& path) const {
    if (::getuid() != 0) return;
    ::chown(path.toLocal8Bit().constData(), uid_, gid_);
    QDirIterator walk(path, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                      QDirIterator::Subdirectories);
    while (walk.hasNext()) ::lchown(walk.next().toLocal8Bit().constData(), uid_, gid_);
}

}  // namespace pelix::testing
