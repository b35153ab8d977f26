#pragma once

// The seam between the application and its web engine. The engine lives in a module of its own
// (`pelix-web-engine`, loaded on first use by `WebEngineLoader`), so that a tray application
// whose window is never opened never loads it. Only Qt types cross the seam; the rules stay on
// the application's side, handed in as functions.

#include <QJsonValue>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <functional>

class QWidget;

namespace pelix::web {

// What a web surface asks of its owner. Every call comes on the main thread.
struct WebSurfaceHooks {
    // Whether a navigation to `url` goes ahead in the surface: every one of the main frame
    // (`mainFrame`), redirects included, and the clicked links of other frames. The owner acts
    // on the ones it cancels.
    std::function<bool(const QUrl& url, bool mainFrame)> navigate;
    // The page opened a new window for `url` (a link with a target, window.open); the owner
    // decides where it goes.
    std::function<void(const QUrl& url)> newWindow;
    // A message to the relay bridge from `pageUrl` (`mainFrame` is false for sub-frames);
    // `reply` answers it at most once. The owner ignores (never replies to) messages it does not
    // accept.
    std::function<void(const QUrl& pageUrl, bool mainFrame, const QJsonValue& body,
                       std::function<void(QString)> reply)>
        relayMessage;
    // The page asks for files; `hint` is what the page left in `window.__pelixPick`. Answers
    // the chosen files (none when the user cancels); may run a dialog.
    std::function<QStringList(const QString& hint, bool multiple, const QStringList& accept)> pick;
    // A main-frame load of `url` failed before anything came (no connection, no such host);
    // the owner puts another page in its place.
    std::function<void(const QUrl& url)> unreachable;
};

// What the engine needs at start.
struct WebSurfaceSetup {
    QString storage;  // the folder of the profile's cookies and caches
    QString version;  // the application's version, made known to the page
    WebSurfaceHooks hooks;
};

// One web view with the relay bridge: the page's
// `window.webkit.messageHandlers.pelixRelay.postMessage(body)` gives a promise of the reply,
// `window.pelixVersion` and the user agent's "Pelix/<version>" name the application.
class WebSurface {
public:
    virtual ~WebSurface() = default;
    // The view; owned by the surface until the owner gives it a parent.
    virtual QWidget* widget() = 0;
    virtual void load(const QUrl& url) = 0;
    // Shows `html` in place of the page, as if at `url`'s place in the history.
    virtual void showHtml(const QString& html) = 0;
    // The address of the main frame.
    virtual QUrl url() const = 0;
    // Runs a script in the page; `done` gets its result as text.
    virtual void run(const QString& script, std::function<void(QString)> done) = 0;
    // Stops a load under way.
    virtual void stop() = 0;
    // The load under way finished (successfully or not); for waiting.
    virtual void onLoaded(std::function<void(bool ok)> loaded) = 0;
};

// The module's one entry point, found by name.
using MakeWebSurface = WebSurface* (*)(const WebSurfaceSetup* setup);
inline constexpr auto kMakeWebSurface = "pelixMakeWebSurface";

}  // namespace pelix::web
