// A window to type into, for the desktop tests: a plain text field that reports every change of
// its text on standard output ("text <base64 of UTF-8>"), and "ready" once it has the keyboard
// focus. Commands on standard input, one per line: "clear" empties the field (answers
// "cleared"), "focus" brings the window forward again (answers "ready"). Once ready, it says
// "unfocused" whenever it loses the keyboard focus.
#include <QApplication>
#include <QPlainTextEdit>
#include <QSocketNotifier>
#include <QTimer>
#include <QWindow>

#include <unistd.h>
#include <cstdio>

#include <X11/Xlib.h>  // last: its macros clash with Qt's names
#include <X11/extensions/XTest.h>

namespace {

void say(const QByteArray& line) {
    std::fwrite(line.constData(), 1, line.size(), stdout);
    std::fputc('\n', stdout);
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QApplication::setApplicationName("typing-target");
    QApplication::setDesktopFileName("typing-target");  // the app id on Wayland
    QPlainTextEdit edit;
    edit.setWindowTitle("Typing target");
    edit.resize(500, 300);
    QObject::connect(&edit, &QPlainTextEdit::textChanged,
                     [&] { say("text " + edit.toPlainText().toUtf8().toBase64()); });

    // The window manager may keep a new window from taking the focus (focus stealing
    // prevention), so the window also takes it itself.
    Display* display = XOpenDisplay(nullptr);
    auto whenFocused = [&] {
        auto* poll = new QTimer(&edit);
        QObject::connect(poll, &QTimer::timeout, [&edit, poll, display] {
            if (!edit.isActiveWindow() || !edit.hasFocus()) {
                edit.activateWindow();
                edit.raise();
                if (display) {
                    XRaiseWindow(display, edit.winId());
                    XSetInputFocus(display, edit.winId(), RevertToParent, CurrentTime);
                    // A window manager that keeps the focus where the user last typed gives it
                    // to a clicked window.
                    const QPoint middle = edit.mapToGlobal(edit.rect().center());
                    XWarpPointer(display, 0, DefaultRootWindow(display), 0, 0, 0, 0, middle.x(),
                                 middle.y());
                    XTestFakeButtonEvent(display, 1, True, CurrentTime);
                    XTestFakeButtonEvent(display, 1, False, CurrentTime);
                    XFlush(display);
                }
                return;
            }
            poll->deleteLater();
            say("ready");
        });
        poll->start(100);
    };
    edit.show();
    whenFocused();
    QObject::connect(&app, &QGuiApplication::focusWindowChanged, [](QWindow* window) {
        if (!window) say("unfocused");
    });

    QSocketNotifier input(STDIN_FILENO, QSocketNotifier::Read);
    QByteArray pending;
    QObject::connect(&input, &QSocketNotifier::activated, [&] {
        char buffer[4096];
        const ssize_t got = ::read(STDIN_FILENO, buffer, sizeof buffer);
        if (got <= 0) {
            QApplication::quit();
            return;
        }
        pending.append(buffer, got);
        for (qsizetype end; (end = pending.indexOf('\n')) >= 0;) {
            const QByteArray command = pending.left(end).trimmed();
            pending.remove(0, end + 1);
            if (command == "clear") {
                edit.clear();
                say("cleared");
            } else if (command == "focus") {
                whenFocused();
            }
        }
    });
    const int status = QApplication::exec();
    if (display) XCloseDisplay(display);
    return status;
}
