#include "support/HeadlessDesktop.h"

#include "support/TestSupport.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QThread>

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

namespace pelix::testing {

HeadlessDesktop::HeadlessDesktop(QString name, QString socket, QString desktop)
    : name_(std::move(name)),
      socket_(std::move(socket)),
      desktop_(std::move(desktop)),
      work_(QDir::tempPath() + "/pelix-" + name_.toLower() + "-XXXXXX") {}

HeadlessDesktop::~HeadlessDesktop() {
    // The last started goes first: the compositor before its bus.
    for (auto process = processes_.rbegin(); process != processes_.rend(); ++process) {
        endProcess(**process);
    }
}

bool HeadlessDesktop::fail(const QString& why) {
    error_ = why;
    return false;
}

bool HeadlessDesktop::prepare() {
    if (!work_.isValid()) return fail("no temporary folder for " + name_);
    ::chmod(work().toLocal8Bit().constData(), 0755);
    uid_ = ::getuid();
    gid_ = ::getgid();
    if (uid_ == 0) {
        const passwd* nobody = ::getpwnam("nobody");
        if (!nobody) return fail(name_ + " needs an unprivileged user and there is no nobody");
        uid_ = nobody->pw_uid;
        gid_ = nobody->pw_gid;
    }
    run_ = userFolder("run");
    ::chmod(run_.toLocal8Bit().constData(), 0700);
    home_ = work() + "/home";
    return true;
}

bool HeadlessDesktop::startBus(const QStringList& activation, const QDeadlineTimer& deadline) {
    const QProcessEnvironment env = clientEnvironment();
    QProcess& bus =
        launch("bus", "dbus-daemon",
               {"--session", "--nofork", "--print-address", "--address=unix:path=" + run_ + "/bus"},
               env, true);
    if (!waitForLine(bus, "bus", deadline)) return false;
    // What the bus starts on demand (the portals) finds the compositor.
    QProcess update;
    const auto [program, args] = command("dbus-update-activation-environment", activation, env);
    update.setProcessEnvironment(env);
    update.start(program, args);
    if (!update.waitForFinished(5000) || update.exitCode() != 0) {
        return fail("the session bus of " + name_ + " took no activation environment: " +
                    QString::fromUtf8(update.readAllStandardError()));
    }
    return true;
}

QProcess& HeadlessDesktop::launch(const QString& log, const QString& program,
                                  const QStringList& args, const QProcessEnvironment& env,
                                  bool readOutput) {
    auto process = std::make_unique<QProcess>();
    const QString file = work() + "/" + log + ".log";
    logs_ << log;
    if (readOutput) {
        process->setStandardErrorFile(file);
    } else {
        process->setProcessChannelMode(QProcess::MergedChannels);
        process->setStandardOutputFile(file);
    }
    const auto [wrapped, wrappedArgs] = command(program, args, env);
    process->setProcessEnvironment(env);
    process->start(wrapped, wrappedArgs);
    processes_.push_back(std::move(process));
    return *processes_.back();
}

bool HeadlessDesktop::waitForLine(QProcess& process, const QString& log,
                                  const QDeadlineTimer& deadline) {
    while (!process.canReadLine() && !deadline.hasExpired() &&
           process.state() != QProcess::NotRunning) {
        process.waitForReadyRead(100);
    }
    if (process.canReadLine()) return true;
    return fail(log + " of " + name_ + " did not start: " + tailOf(log));
}

bool HeadlessDesktop::startCompositor(const QString& program, const QStringList& args,
                                      const QProcessEnvironment& env,
                                      const QDeadlineTimer& deadline, const QStringList& services) {
    const QString log = name_.toLower();
    const QProcess& compositor = launch(log, program, args, env);
    // Nothing tells when the socket appears but the folder; it comes within a second or two.
    while (!QFileInfo::exists(run_ + "/" + socket_)) {
        if (deadline.hasExpired() || compositor.state() == QProcess::NotRunning)
            return fail(name_ + " did not open its Wayland socket: " + tailOf(log));
        QThread::msleep(20);
    }
    for (const QString& service : services) {
        if (!waitForName(service, deadline)) return false;
    }
    return waitForName("org.freedesktop.portal.Desktop", deadline, {}, true);
}

bool HeadlessDesktop::waitForName(const QString& service, const QDeadlineTimer& deadline,
                                  const QString& address, bool activate) {
    QProcessEnvironment env = clientEnvironment();
    if (!address.isEmpty()) env.insert("DBUS_SESSION_BUS_ADDRESS", address);
    const int seconds = std::max<int>(1, int(deadline.remainingTime() / 1000));
    QStringList args = {"wait", "--session", "--timeout", QString::number(seconds), service};
    if (activate) args = QStringList{"wait", "--session", "--activate", service} + args.mid(2);
    QProcess wait;
    const auto [program, wrapped] = command("gdbus", args, env);
    wait.setProcessEnvironment(env);
    wait.start(program, wrapped);
    if (wait.waitForFinished(seconds * 1000 + 2000) && wait.exitCode() == 0) return true;
    return fail(service + " did not come on the bus of " + name_ + ": " +
                QString::fromUtf8(wait.readAllStandardError()) + log());
}

QProcessEnvironment HeadlessDesktop::clientEnvironment() const {
    QProcessEnvironment env;
    env.insert("PATH", qEnvironmentVariable("PATH", "/usr/bin:/bin"));
    env.insert("HOME", home_);
    env.insert("LANG", "C.UTF-8");
    env.insert("XDG_RUNTIME_DIR", run_);
    env.insert("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + run_ + "/bus");
    env.insert("WAYLAND_DISPLAY", socket_);
    env.insert("XDG_SESSION_TYPE", "wayland");
    env.insert("XDG_CURRENT_DESKTOP", desktop_);
    env.insert("QT_QPA_PLATFORM", "wayland");
    env.insert("GDK_BACKEND", "wayland");
    return env;
}

std::pair<QString, QStringList> HeadlessDesktop::command(const QString& program,
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

QString HeadlessDesktop::tailOf(const QString& log) const {
    QFile file(work() + "/" + log + ".log");
    if (!file.open(QIODevice::ReadOnly)) return {};
    return QString::fromUtf8(file.readAll().right(1500));
}

QString HeadlessDesktop::log() const {
    QString all;
    for (const QString& log : logs_) {
        if (const QString tail = tailOf(log); !tail.isEmpty()) all += "\n[" + log + "]\n" + tail;
    }
    return all;
}

QString HeadlessDesktop::userFolder(const QString& name) const {
    const QString path = work() + "/" + name;
    QDir().mkpath(path);
    giveToUser(path);
    return path;
}

void HeadlessDesktop::giveToUser(const QString& path) const {
    if (::getuid() != 0) return;
    ::chown(path.toLocal8Bit().constData(), uid_, gid_);
    QDirIterator walk(path, QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                      QDirIterator::Subdirectories);
    while (walk.hasNext()) ::lchown(walk.next().toLocal8Bit().constData(), uid_, gid_);
}

}  // namespace pelix::testing
