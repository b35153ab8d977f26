#pragma once

#include "core/Error.h"
#include "core/Timers.h"
#include "memos/Drops.h"
#include "platform/Apps.h"
#include "web/SignIn.h"
#include "web/WebRules.h"
#include "web/WebSurface.h"

#include <QPointer>
#include <QWidget>

#include <functional>
#include <memory>

namespace pelix::memos {
class DropCatcher;
}  // namespace pelix::memos

namespace pelix::web {

// A request of the page for files.
struct FilePick {
    QString start;  // the folder to start in; empty: where the chooser likes
    QString label;  // the chooser's title; empty: its own
    bool multiple = false;
    QStringList accept;  // the page's accepted types (".m4a", "audio/*"), maybe none
};

// Everything the web window works with, handed in by the application (or a test).
struct WebWindowParts {
    WebPlaces places;
    core::Timers& timers;
    // Opens addresses with the desktop: other schemes with their handler, web pages in the
    // default browser.
    platform::Apps& apps;
    QString storage;     // the web engine's own folder
    QString version;     // the application's version
    QString recordings;  // the recordings folder, where the voice memo chooser starts
    // "pelix-mac:" links from the page.
    std::function<void(const QUrl&)> onMacLink;
    // The account the page shows, for the relay; the reply is "have", "need", "later" or
    // "off". Without it every message is answered "off".
    std::function<void(const RelayAccountMessage&, std::function<void(QString)>)> onRelayAccount;
    // The file chooser; it may run a dialog.
    std::function<QStringList(const FilePick&)> chooseFiles;
    // The drop layer: fetching dropped locations, the library fallback, sending, the chime.
    memos::drops::Fetch fetch;
    memos::drops::Library library;
    memos::drops::Sender::Send send;
    std::function<void()> chime;
};

// The main window: the web app in a web view, with sign-in through the default browser, a file
// chooser that can start in the recordings folder, the relay bridge and the drop layer over it.
// The web engine is loaded when the window is made.
class WebWindow : public QWidget {
    Q_OBJECT
public:
    // The window, or why the web engine could not be loaded.
    static Result<std::unique_ptr<WebWindow>> make(WebWindowParts parts);
    ~WebWindow() override;

    // Shows the window (loading the home page the first time) and brings it forward.
    void open();
    // A "pelix-mac://auth-callback" link: with the state this window gave out, the web app's
    // "/auth-callback" page is loaded with the link's query and fragment; otherwise nothing.
    // True when it was loaded.
    bool finishSignIn(const QUrl& callback);

    WebSurface& surface() { return *surface_; }
    memos::DropCatcher& drops() { return *drops_; }
    const SignIn& signIn() const { return signIn_; }
    const WebPlaces& places() const { return parts_.places; }

Q_SIGNALS:
    // A message to the relay bridge was ignored: it did not come from the main frame of an
    // https page of the web app.
    void relayIgnored(const QUrl& page);

private:
    explicit WebWindow(WebWindowParts parts);
    WebSurfaceHooks hooks();
    void attach(std::unique_ptr<WebSurface> surface);

    bool navigate(const QUrl& url, bool mainFrame);
    void startSignIn();
    void openOutside(const QUrl& url);
    void relayMessage(const QUrl& page, bool mainFrame, const QJsonValue& body,
                      std::function<void(QString)> reply);
    QStringList pick(const QString& hint, bool multiple, const QStringList& accept);
    void loadWithin(const QUrl& url, double seconds);

    WebWindowParts parts_;
    std::unique_ptr<WebSurface> surface_;
    memos::DropCatcher* drops_ = nullptr;
    std::unique_ptr<memos::drops::Sender> sender_;
    SignIn signIn_;
    bool loaded_ = false;
    std::unique_ptr<core::PendingTimer> loadLimit_;
};

}  // namespace pelix::web
