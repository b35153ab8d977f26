#pragma once

// The session of scripts/with-desktop (Xvfb, D-Bus, PulseAudio): `pelix` in it, the typing target
// and a user's keys through XTest.
#include "support/TargetWindow.h"
#include "support/TestSupport.h"

#include <QImage>
#include <QProcess>
#include <QSet>
#include <QString>

#include <functional>
#include <optional>

#include <gtest/gtest.h>

// X headers last: their macros (None, Status, Bool) clash with the names of the others.
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

namespace pelix::testing {

// Fails when the session lacks a display, a sound server (when `sound`) or the program under test.
inline ::testing::AssertionResult desktopPresent(bool sound = true) {
    if (qEnvironmentVariableIsEmpty("DISPLAY")) {
        return ::testing::AssertionFailure()
               << "No X display: run the tests inside scripts/with-desktop.";
    }
    if (qEnvironmentVariableIsEmpty("PELIX_BIN")) {
        return ::testing::AssertionFailure() << "PELIX_BIN is not set: run the tests by ctest.";
    }
    QProcess pactl;
    pactl.start("pactl", {"info"});
    if (sound && (!pactl.waitForFinished(5000) || pactl.exitCode() != 0)) {
        return ::testing::AssertionFailure()
               << "No PulseAudio server answers (pactl info): run the tests inside "
                  "scripts/with-desktop.";
    }
    return ::testing::AssertionSuccess();
}

// Plays a recording into the session's virtual microphone, which hears only its own sink.
inline void playIntoMicrophone(const QString& wav) {
    QProcess::startDetached("paplay", {"-d", "vsink", wav});
}

// `pelix` running with `extra` added to the environment, its standard error kept.
class PelixProcess {
public:
    explicit PelixProcess(const QProcessEnvironment& extra = {}, const QStringList& args = {})
        : PelixProcess(qEnvironmentVariable("PELIX_BIN"), args, extra) {}
    // `pelix` started through `program` (runuser, say).
    PelixProcess(const QString& program, const QStringList& args,
                 const QProcessEnvironment& extra = {}) {
        QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
        env.insert(extra);
        process_.setProcessEnvironment(env);
        QObject::connect(&process_, &QProcess::readyReadStandardError,
                         [this] { err_ += process_.readAllStandardError(); });
        process_.start(program, args);
    }
    ~PelixProcess() { endProcess(process_); }
    // Waits until standard error holds `text`; false at once when the program has ended without.
    bool saw(const QByteArray& text, int timeoutMs = 10000) {
        waitUntil([&] { return err_.contains(text) || !running(); }, timeoutMs);
        return err_.contains(text);
    }
    int count(const QByteArray& text) const { return static_cast<int>(err_.count(text)); }
    const QByteArray& err() const { return err_; }
    qint64 pid() const { return process_.processId(); }
    bool running() const { return process_.state() != QProcess::NotRunning; }

private:
    QProcess process_;
    QByteArray err_;
};

// The user's hands on the keyboard and mouse, through XTest.
class Keyboard {
public:
    Keyboard() : display_(XOpenDisplay(nullptr)) {}
    ~Keyboard() {
        if (display_) XCloseDisplay(display_);
    }
    Keyboard(const Keyboard&) = delete;
    Keyboard& operator=(const Keyboard&) = delete;

    bool ok() const { return display_ != nullptr; }
    void key(KeySym keysym, bool down) {
        XTestFakeKeyEvent(display_, XKeysymToKeycode(display_, keysym), down, CurrentTime);
        XSync(display_, False);
    }
    void press(KeySym keysym) {
        key(keysym, true);
        key(keysym, false);
    }
    // A 60 ms tap timed by the X server, so that a stalled test on a busy machine can't stretch
    // it into a hold.
    void tap(KeySym keysym) {
        const KeyCode code = XKeysymToKeycode(display_, keysym);
        XTestFakeKeyEvent(display_, code, True, CurrentTime);
        XTestFakeKeyEvent(display_, code, False, 60);
        XSync(display_, False);
    }
    void click() {
        XTestFakeButtonEvent(display_, 1, True, CurrentTime);
        XTestFakeButtonEvent(display_, 1, False, CurrentTime);
        XSync(display_, False);
    }
    bool isDown(KeySym keysym) {
        char keys[32];
        XQueryKeymap(display_, keys);
        const KeyCode code = XKeysymToKeycode(display_, keysym);
        return keys[code / 8] & (1 << (code % 8));
    }
    // The key code that carries `keysym` now, 0 for none; asks the server afresh.
    int codeOf(KeySym keysym) {
        int min = 0, max = 0, per = 0;
        XDisplayKeycodes(display_, &min, &max);
        KeySym* syms = XGetKeyboardMapping(display_, KeyCode(min), max - min + 1, &per);
        int found = 0;
        for (int i = 0; syms && i < (max - min + 1) * per && !found; ++i) {
            if (syms[i] == keysym) found = min + i / per;
        }
        if (syms) XFree(syms);
        return found;
    }

private:
    Display* display_;
};

// What the largest viewable window titled `title` shows; none without such a window.
inline std::optional<QImage> windowPicture(const QString& title) {
    Display* display = XOpenDisplay(nullptr);
    if (!display) return std::nullopt;
    // Windows come and go during the walk; asking about one that went is no reason to exit.
    const auto previous = XSetErrorHandler([](Display*, XErrorEvent*) { return 0; });
    ::Window best = 0;
    long bestArea = 0;
    const std::function<void(::Window)> visit = [&](::Window window) {
        char* name = nullptr;
        XWindowAttributes attributes;
        if (XFetchName(display, window, &name) && name && title == name &&
            XGetWindowAttributes(display, window, &attributes) &&
            attributes.map_state == IsViewable &&
            long(attributes.width) * attributes.height > bestArea) {
            best = window;
            bestArea = long(attributes.width) * attributes.height;
        }
        if (name) XFree(name);
        ::Window root = 0, parent = 0, *children = nullptr;
        unsigned count = 0;
        if (XQueryTree(display, window, &root, &parent, &children, &count)) {
            for (unsigned i = 0; i < count; ++i) visit(children[i]);
        }
        if (children) XFree(children);
    };
    visit(DefaultRootWindow(display));
    std::optional<QImage> picture;
    XWindowAttributes attributes;
    if (best && XGetWindowAttributes(display, best, &attributes)) {
        if (XImage* image = XGetImage(display, best, 0, 0, attributes.width, attributes.height,
                                      AllPlanes, ZPixmap)) {
            picture = QImage(reinterpret_cast<const uchar*>(image->data), image->width,
                             image->height, image->bytes_per_line, QImage::Format_RGB32)
                          .copy();
            XDestroyImage(image);
        }
    }
    XSync(display, False);
    XSetErrorHandler(previous);
    XCloseDisplay(display);
    return picture;
}

// The number of different colours in `picture`, up to `enough`.
inline int colourCount(const QImage& picture, int enough = 64) {
    QSet<QRgb> seen;
    for (int y = 0; y < picture.height() && seen.size() < enough; ++y) {
        const auto* line = reinterpret_cast<const QRgb*>(picture.constScanLine(y));
        for (int x = 0; x < picture.width() && seen.size() < enough; ++x) seen.insert(line[x]);
    }
    return static_cast<int>(seen.size());
}

}  // namespace pelix::testing
