// A stand-in for a chat assistant, for the relay's desktop tests. The desktop starts it as the
// handler of a link scheme (`relay_target --report SOCKET --focus WHERE LINK`); it reports to
// the test over a local socket (or on standard output without one), one line each, and ends
// when the test closes the socket:
//   link <base64 of the link>      at start
//   ready                          once its window is active with the focus where asked
//   text <base64>                  every change of the chat input
//   return <field> <base64>        Return pressed in a field ("chat" or "address")
//   activated                      the "Attach" button was pressed
// WHERE is "chat" (the chat input, filled from the link's "q" like a new chat), "button", or
// "address" (a one-line field whose placeholder reads like a browser's address bar), or
// "nowhere" (the program starts but never shows a window).
#include <QApplication>
#include <QCommandLineParser>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QLocalSocket>
#include <QPushButton>
#include <QTimer>
#include <QUrl>
#include <QUrlQuery>
#include <QVBoxLayout>
#include <QWidget>

#include <cstdio>

// X headers last: their macros clash with Qt's names.
#include <X11/Xlib.h>

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    QApplication::setApplicationName("pelix-relay-target");
    QCommandLineParser parser;
    parser.addOption({"report", "Local socket to report to.", "name"});
    parser.addOption({"focus", "Where the focus starts.", "where", "chat"});
    parser.addPositionalArgument("link", "The link the desktop hands over.");
    parser.process(app);

    // Without a socket to report to, the lines go to standard output.
    QLocalSocket report;
    const bool reporting = parser.isSet("report");
    if (reporting) {
        report.connectToServer(parser.value("report"));
        if (!report.waitForConnected(5000)) return 1;
        QObject::connect(&report, &QLocalSocket::disconnected, &app, &QApplication::quit);
    }
    auto say = [&report, reporting](const QByteArray& line) {
        if (!reporting) {
            std::printf("%s\n", line.constData());
            std::fflush(stdout);
            return;
        }
        report.write(line + '\n');
        report.flush();
    };
    const QString link = parser.positionalArguments().value(0);
    say("link " + link.toUtf8().toBase64());

    const QString where = parser.value("focus");
    if (where == "nowhere") return QApplication::exec();

    QWidget window;
    window.setWindowTitle("Relay target");
    auto* layout = new QVBoxLayout(&window);
    auto* address = new QLineEdit;
    address->setObjectName("address");
    address->setPlaceholderText("Search or enter address");
    auto* row = new QHBoxLayout;
    auto* chat = new QLineEdit;
    chat->setObjectName("chat");
    chat->setPlaceholderText("Reply to Claude");
    auto* attach = new QPushButton("Attach");
    row->addWidget(chat);
    row->addWidget(attach);
    layout->addWidget(address);
    layout->addLayout(row);
    window.resize(500, 120);

    chat->setText(QUrlQuery(QUrl(link)).queryItemValue("q", QUrl::FullyDecoded));
    QObject::connect(chat, &QLineEdit::textChanged,
                     [&](const QString& text) { say("text " + text.toUtf8().toBase64()); });
    for (QLineEdit* field : {chat, address}) {
        QObject::connect(field, &QLineEdit::returnPressed, [&say, field] {
            say("return " + field->objectName().toUtf8() + ' ' + field->text().toUtf8().toBase64());
        });
    }
    QObject::connect(attach, &QPushButton::clicked, [&] { say("activated"); });

    QWidget* focus = where == "button"    ? static_cast<QWidget*>(attach)
                     : where == "address" ? static_cast<QWidget*>(address)
                                          : static_cast<QWidget*>(chat);
    window.show();

    // The window manager may keep a new window from taking the focus (focus stealing
    // prevention), so the window takes it itself, as an assistant opened by a link does.
    Display* display = XOpenDisplay(nullptr);
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout, [&] {
        if (window.isActiveWindow() && focus->hasFocus()) {
            poll.stop();
            say("ready");
            return;
        }
        window.activateWindow();
        window.raise();
        focus->setFocus();
        if (display) {
            XRaiseWindow(display, window.winId());
            XSetInputFocus(display, window.winId(), RevertToParent, CurrentTime);
            XFlush(display);
        }
    });
    poll.start(50);
    const int status = QApplication::exec();
    if (display) XCloseDisplay(display);
    return status;
}
