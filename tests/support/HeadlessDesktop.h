#pragma once

// What the headless desktops of the tests (KWin, Mutter) share: a work folder, an unprivileged
// user when the tests run as root (the compositors refuse root, as a real session would), a
// home and a runtime folder of that user's, a session bus, and the programs started in it,
// ended when the test program ends. A subclass starts its compositor in its constructor.
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
    // `program` with `args` run as the desktop's user in `env` (a client environment): the
    // program and arguments to hand to QProcess.
    std::pair<QString, QStringList> command(const QString& program, const QStringList& args,
                                            const QProcessEnvironment& env) const;
    // What the compositor and the rest of the session have logged, for a failure's message.
    QString log() const;
    // A new empty folder that the desktop's user owns.
    QString userFolder(const QString& name) const;
    // Hands everything under `path` to the desktop's user.
    void giveToUser(const QString& path) const;

protected:
    // `name` for messages ("KWin"), the Wayland socket's name, the XDG_CURRENT_DESKTOP.
    HeadlessDesktop(QString name, QString socket, QString desktop);

    // The work folder, the user, the runtime folder and the home; false (with the error set)
    // when one cannot be made.
    bool prepare();
    // The session bus, its activation environment given `activation` (names of the client
    // environment's variables, or NAME=value), by `deadline`.
    bool startBus(const QStringList& activation, const QDeadlineTimer& deadline);
    // Starts `program` as the user in `env`, its output in `<log>.log` (only its errors when the
    // caller reads the output); it ends with the desktop.
    QProcess& launch(const QString& log, const QString& program, const QStringList& args,
                     const QProcessEnvironment& env, bool readOutput = false);
    // Waits for `process` to print a line (a bus's address), else fails with its log.
    bool waitForLine(QProcess& process, const QString& log, const QDeadlineTimer& deadline);
    // Waits for the compositor's socket, else fails with its log.
    bool waitForSocket(const QProcess& compositor, const QString& log,
                       const QDeadlineTimer& deadline);
    // `gdbus wait` for `service` on the session bus (or the bus `address` names), as the user;
    // started by the bus first when `activate`.
    bool waitForName(const QString& service, const QDeadlineTimer& deadline,
                     const QString& address = {}, bool activate = false);
    // Starts the desktop portal on the session bus and waits until it serves, as a desktop
    // session has it running (a systemd user service) before the user's programs start.
    bool startPortal(const QDeadlineTimer& deadline);
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
