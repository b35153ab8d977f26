#pragma once

// A headless sway, started once per test program on first use (as nobody under root, which sway
// refuses) in a runtime folder of its own.
#include <QProcess>
#include <QProcessEnvironment>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <memory>

namespace pelix::testing {

class HeadlessSway {
public:
    static HeadlessSway& shared();
    ~HeadlessSway();

    QString error() const { return error_; }    // empty when sway runs
    QString socket() const { return socket_; }  // absolute: a display name to connect to
    // The environment a Qt program needs to open its windows here.
    QProcessEnvironment clientEnvironment() const;

private:
    HeadlessSway();

    QTemporaryDir runtime_;
    std::unique_ptr<QProcess> sway_;
    QString socket_;
    QString error_;
};

}  // namespace pelix::testing
