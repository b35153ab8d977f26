#pragma once

// What the headless KWin and Mutter share: a work folder, an unprivileged user when the tests run
// as root (the compositors refuse root), that user's home and runtime folder, a session bus, and
// the programs started in it, ended with the test program.
#include <QByteArray>
#include <QDeadlineTimer>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>
#include <utility>
#include <vector>

namespace pelix::testing {

class HeadlessDesktop {
public:
    virtual ~HeadlessDesktop();
    HeadlessDesktop(const HeadlessDesktop&) = delete;
    HeadlessDesktop& operator=(const HeadlessDesktop&) = delete;

    // Empty when the desktop runs; else why it does not.
    QString error() const { return error_; }
    // The environment of a Wayland client of this compositor in its session, as its user.
    QProcessEnvironment clientEnvironment() const;
    // The QProcess program and arguments that run `program` as the desktop's user in `env`.
    std::pair<QString, QStringList> command(const QString& program, const QStringList& args,
                                            const QProcessEnvironment& env) const;
    // The session's logs, for a failure's message.
    QString log() const;
    // A new empty folder that the desktop's user owns.
    QString userFolder(const QString& name) const;
    // Hands everything under `path` to the desktop's user.
    void giveToUser(const QString& path) const;

protected:
    // A name for messages ("KWin"), the Wayland socket's name, XDG_CURRENT_DESKTOP.
    HeadlessDesktop(QString name, QString socket, QString desktop);

    // The work folder, the user, the runtime folder and the home; false with the error set.
    bool prepare();
    // The session bus, and `activation` (client variables' names or NAME=value) for what it starts.
    bool startBus(const QStringList& activation, const QDeadlineTimer& deadline);
    // Starts `program` as the user, its output (only errors when `readOutput`) in `<log>.log`.
    QProcess& launch(const QString& log, const QString& program, const QStringList& args,
                     const QProcessEnvironment& env, bool readOutput = false);
    bool waitForLine(QProcess& process, const QString& log, const QDeadlineTimer& deadline);
    // Starts the compositor and waits for its socket, then for `services` and the desktop portal
    // (a real session starts it before the user's programs).
    bool startCompositor(const QString& program, const QStringList& args,
                         const QProcessEnvironment& env, const QDeadlineTimer& deadline,
                         const QStringList& services = {});
    // `gdbus wait` for `service` on the session bus (or at `address`), activated when `activate`.
    bool waitForName(const QString& service, const QDeadlineTimer& deadline,
                     const QString& address = {}, bool activate = false);
    bool fail(const QString& why);

    QString work() const { return work_.path(); }
    QString tailOf(const QString& log) const;

    QString name_, socket_, desktop_;
    QString run_, home_;

private:
    QTemporaryDir work_;
    std::vector<std::unique_ptr<QProcess>> processes_;
    QStringList logs_;
    QString error_;
    uint uid_ = 0, gid_ = 0;
};

}  // namespace pelix::testing
