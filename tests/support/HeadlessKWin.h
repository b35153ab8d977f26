#pragma once

// A headless KWin (`kwin_wayland --virtual`) for the KDE tests: started once per test program on
// first use, with a session bus, a home and a runtime folder of its own, as an unprivileged user
// when the tests run as root. KWin offers its fake input only to programs its user's desktop
// entries trust: the `pelix` under test ($PELIX_BIN) is one, the tests' keyboard (`fakeKeys`)
// the other, the program that started KWin a third, and as KWin checks a client's
// executable, the programs that use it run as KWin's user too (`command`).
#include <QByteArray>
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>
#include <utility>

namespace pelix::testing {

class HeadlessKWin {
public:
    // The program's one compositor, started on the first call, with this keyboard layout.
    static constexpr auto kLayout = "de";
    static HeadlessKWin& shared();
    ~HeadlessKWin();

    // Empty when KWin runs; else why it does not.
    QString error() const { return error_; }
    // The environment of a Wayland client of this KWin in its session, as KWin's user.
    QProcessEnvironment clientEnvironment() const;
    // `program` with `args` run as KWin's user in `env` (a client environment): the program and
    // arguments to hand to QProcess.
    std::pair<QString, QStringList> command(const QString& program, const QStringList& args,
                                            const QProcessEnvironment& env) const;
    // A keyboard through fake input (tests/support/fake_keys.cpp), which KWin trusts too.
    QString fakeKeys() const;
    // What KWin has logged, for a failure's message.
    QString log() const;
    // A new empty folder that KWin's user owns.
    QString userFolder(const QString& name) const;
    // Hands everything under `path` to KWin's user.
    void giveToUser(const QString& path) const;

private:
    HeadlessKWin();
    bool start();

    QTemporaryDir work_;
    QString run_, home_;
    std::unique_ptr<QProcess> bus_;
    std::unique_ptr<QProcess> kwin_;
    QString busAddress_;
    QString error_;
    uint uid_ = 0, gid_ = 0;
};

}  // namespace pelix::testing
