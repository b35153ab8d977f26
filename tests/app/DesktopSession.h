#pragma once

// A running `pelix` tray application in the test's desktop session (Xvfb, D-Bus, PulseAudio),
// with the keys pressed through XTest.
#include "support/TestSupport.h"

#include <QProcess>
#include <QProcessEnvironment>
#include <QString>

#include <gtest/gtest.h>

// X headers last: their macros (None, Status, Bool) clash with the names of the others.
#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

namespace pelix::testing {

// Fails the test (with the reason) when the session lacks a display or a sound server.
inline ::testing::AssertionResult desktopPresent() {
    if (qEnvironmentVariableIsEmpty("DISPLAY")) {
        return ::testing::AssertionFailure()
               << "No X display: run the tests inside scripts/with-desktop.";
    }
    QProcess pactl;
    pactl.start("pactl", {"info"});
    if (!pactl.waitForFinished(5000) || pactl.exitCode() != 0) {
        return ::testing::AssertionFailure()
               << "No PulseAudio server answers (pactl info): run the tests inside "
                  "scripts/with-desktop.";
    }
    return ::testing::AssertionSuccess();
}

class PelixProcess {
public:
    explicit PelixProcess(const QProcessEnvironment& extra, const QStringList& args = {}) {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        for (const QString& key : extra.keys()) env.insert(key, extra.value(key));
        process_.setProcessEnvironment(env);
        QObject::connect(&process_, &QProcess::readyReadStandardError,
                         [this] { err_ += process_.readAllStandardError(); });
        process_.start(qEnvironmentVariable("PELIX_BIN"), args);
    }
    ~PelixProcess() {
        process_.terminate();
        if (!process_.waitForFinished(3000)) process_.kill();
        process_.waitForFinished(1000);
    }
    // Waits until standard error holds `text`.
    bool saw(const QByteArray& text, int timeoutMs = 10000) {
        return waitUntil([&] { return err_.contains(text); }, timeoutMs);
    }
    int count(const QByteArray& text) const { return static_cast<int>(err_.count(text)); }
    const QByteArray& err() const { return err_; }
    qint64 pid() const { return process_.processId(); }

private:
    QProcess process_;
    QByteArray err_;
};

// Presses keys as a user would, through XTest.
class Keyboard {
public:
    Keyboard() : display_(XOpenDisplay(nullptr)) {}
    ~Keyboard() {
        if (display_) XCloseDisplay(display_);
    }
    bool ok() const { return display_ != nullptr; }
    void key(KeySym keysym, bool down) {
        XTestFakeKeyEvent(display_, XKeysymToKeycode(display_, keysym), down, CurrentTime);
        XFlush(display_);
    }
    // A quick tap; the event loop keeps running meanwhile.
    void tap(KeySym keysym) {
        key(keysym, true);
        waitUntil([] { return false; }, 60);
        key(keysym, false);
    }

private:
    Display* display_;
};

inline void pause(int ms) {
    waitUntil([] { return false; }, ms);
}

}  // namespace pelix::testing
