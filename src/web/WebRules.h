#pragma once

// The web window's rules, pure and on the program's side of the engine. A navigation is decided in
// this order: no address is allowed; the scheme "pelix-mac" goes to the link handler and a scheme
// other than http, https, about, blob and data to the desktop's handler, both only when asked by
// the main frame of an https page of the web app, and are refused otherwise (a frame or a new
// window cannot hand the application a key); a Google sign-in to sign-in in the browser; the web
// app's host, or a host equal to or under the backend's domain, is allowed; about, blob and data
// pages are allowed; another host opens in the default browser, however the navigation came
// about (a click, a script, a redirect). A frame's own loads that were not clicked are not asked
// about at all. Relay messages count only from the
// main frame of an https page of the web app's host, and carry a user and, at most, a Pelix key
// (what the service client sends): anything else is answered "off".

#include <QJsonValue>
#include <QString>
#include <QUrl>

#include <optional>

namespace pelix::core {
class Prefs;
}  // namespace pelix::core

namespace pelix::web {

// The addresses the web window knows: the web app (its home page is `base`), the backend's
// domain and Google's accounts host.
struct WebPlaces {
    static constexpr auto kDefaultBase = "https://pelix.app";
    static constexpr auto kGoogleAccounts = "accounts.google.com";

    QUrl base = QUrl(QString::fromLatin1(kDefaultBase));
    QString backendDomain = QStringLiteral("api.pelix.app");
    QString googleHost = QString::fromLatin1(kGoogleAccounts);

    // The web app from the preference "web.base" (else the public address); the backend's
    // domain is the host of the backend's base address.
    static WebPlaces from(const core::Prefs& prefs, const QUrl& apiBase);

    QString host() const { return base.host().toLower(); }
    // The base address with `path` in place of its own (query and fragment dropped).
    QUrl at(const QString& path) const;
};

// What the window does with one navigation request.
enum class Navigation {
    allow,
    macLink,  // cancel; the address goes to the application's link handler
    desktop,  // cancel; the desktop's handler for the scheme opens it
    signIn,   // cancel; sign-in runs in the default browser
    browser,  // cancel; the default browser opens it
    refuse,   // cancel, and nothing else
};

// The decision for a navigation to `url`; `fromWebApp` when the main frame of a page of the web app
// (`acceptsRelayMessage`) asked for it.
Navigation navigation(const QUrl& url, bool fromWebApp, const WebPlaces& places);

// Whether `url` starts a Google sign-in: Google's accounts host, or the backend's authorize
// address with the provider "google".
bool isGoogleSignIn(const QUrl& url, const WebPlaces& places);

// Whether a message to the relay bridge counts: it comes from the main frame of a page served
// over https from the web app's host. Anything else is ignored without a reply.
bool acceptsRelayMessage(const QUrl& pageUrl, bool mainFrame, const WebPlaces& places);

// A message of the page to the relay bridge, read: an account user and maybe its key.
struct RelayAccountMessage {
    QString user;
    std::optional<QString> token;
    bool operator==(const RelayAccountMessage&) const = default;
};

// The message's content; none when it is not an object with a user identifier in "user" (and,
// when present, a Pelix key in "token"), which is answered "off".
std::optional<RelayAccountMessage> relayAccountMessage(const QJsonValue& body);

// The page shown in place of one that could not be reached; its "Try again" link goes back to
// `failed`.
QString offlinePage(const QUrl& failed);

// The script the file picker runs first: it reads and clears the page's hint.
inline constexpr auto kPickHintScript =
    "(() => { const h = window.__pelixPick || ''; window.__pelixPick = ''; return h; })()";
inline constexpr auto kVoiceMemosHint = "voice-memos";

}  // namespace pelix::web
