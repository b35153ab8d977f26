#pragma once

// A headless sway for the Wayland tests: started once per test program on first use, as an
// unprivileged user when the tests run as root (sway refuses root), with a runtime folder of its
// own, and stopped when the program ends.
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>

namespace pelix::testing {

class HeadlessSway {
public:
    // The program's one compositor, started on the first call.
    static HeadlessSway& shared();
    ~HeadlessSway();

    // Empty when sway runs; else why it does not.
    QString error() const { return error_; }
    // The absolute path of its Wayland socket: a display name for wl_display_connect.
    QString socket() const { return socket_; }
    // The environment a Qt program needs to open its windows on this compositor.
    QProcessEnvironment clientEnvironment() const;

private:
    HeadlessSway();

    QTemporaryDir runtime_;
    std::unique_ptr<QProcess> sway_;
    QString socket_;
    QString error_;
};

}  // namespace pelix::testing
