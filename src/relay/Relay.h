#pragma once

// The focus checks of a delivery. The applications expected in front are RelayPlaces' list plus,
// for the Claude app, the handler of the Claude app's link (what opens the link is the app) and,
// for the browser, the handler of ChatGPT's address (the default browser); the application in
// front matches by desktop entry or window class, whatever the case. Accessibility is switched on
// just before the link is opened, so that the assistant it starts exposes its interface; the
// focused element is then asked of AT-SPI (platform/linux/AtspiAccessibility.h) and must pass
// safeToType. A window that names no process cannot be inspected and is typed into, as is an
// application whose focused element cannot be found. "sent" is reported only when the typist
// handed every key over and the application checked stayed in front from before the paste
// until after Return; else "failed". A locked screen delivers nothing. Every
// path reports "done" exactly once (a guard in `report`), and a sent prompt asks again 2 s later.
// The log says "relay: <id>: counting down for <label>" and "relay: <id>: <result>", never the
// prompt's text. PELIX_RELAY_QUICK in the environment gives the tray RelayTimings::quick(), for
// the desktop tests.

#include "core/Clock.h"
#include "core/Prefs.h"
#include "core/Timers.h"
#include "platform/Accessibility.h"
#include "platform/Apps.h"
#include "platform/Session.h"
#include "platform/Typist.h"
#include "relay/RelayBanner.h"
#include "relay/RelayPlanner.h"
#include "service/Api.h"
#include "service/TokenStore.h"

#include <QObject>
#include <QString>
#include <QStringList>

#include <functional>
#include <memory>
#include <optional>

namespace pelix::relay {

// How long each step of the relay waits, in seconds.
struct RelayTimings {
    double poll = 15.0;        // between two asks for prompts
    double afterWake = 3.0;    // from the machine waking to the next ask
    double afterSent = 2.0;    // from a prompt sent to the next ask
    int countdown = 5;         // the banner, in whole seconds
    double frontLimit = 10.0;  // for the assistant to come to the front after opening it
    double frontCheck = 0.25;  // between two looks at the application in front
    double settleBrowser = 4.0;
    double settleClaudePaste = 2.0;
    double settleClaudeLink = 1.5;
    double afterPaste = 0.5;  // from the paste to Return
    double afterLink = 0.1;   // from the focus check to Return when the link carried the text
    double request = 20.0;    // time limit of each request

    // Short waits for the desktop tests (the countdown, the limit and the settling), the rest
    // unchanged.
    static RelayTimings quick();
};

// Everything the relay works with, handed in by the application (or a test with fakes).
struct RelayParts {
    const core::Clock& clock;
    core::Timers& timers;
    core::Prefs& prefs;
    const service::TokenStore& tokens;
    service::WindowKeyStore windowKeys;
    service::Api& api;
    platform::Apps& apps;
    platform::Accessibility& accessibility;
    platform::Session& session;
    platform::Typist& typist;
    platform::Clipboard& clipboard;
    RelayBanner& banner;
    // Shows one status line.
    std::function<void(const QString&)> show;
    RelayPlaces places = {};
    RelayTimings timings = {};
};

// Prompts spoken on the phone, delivered into Claude or ChatGPT on this desktop. Asks the
// backend function "relay" every 15 s (and 3 s after the machine wakes) with each account key,
// one prompt at a time: plans it, counts down in the banner, opens the assistant, waits for it
// to come to the front and settle, checks that the keyboard focus is somewhere safe to type,
// pastes, presses Return, and reports the outcome ("sent", "cancelled" or "failed") with
// "done". Main thread only.
class Relay : public QObject {
    Q_OBJECT
public:
    static constexpr auto kFunction = "relay";

    explicit Relay(RelayParts parts, QObject* parent = nullptr);
    ~Relay() override;

    // Starts polling and asks at once; later calls do nothing until `stop`.
    void start();
    // Stops polling; a countdown on show is cancelled, a delivery under way ends as it would.
    void stop();
    bool started() const { return started_; }
    // A prompt is being asked for or delivered: from the first "next" until its "done" answered.
    bool busy() const { return busy_; }

    // One ask for prompts, unless the relay is switched off, busy or the screen is locked.
    void poll();

    // The outside places with the applications named in the preferences "relay.claudeApps" and
    // "relay.chatgptApps" (comma-separated desktop entries or window classes), when set.
    static RelayPlaces placesFrom(const core::Prefs& prefs);

    // The account user the web window learned for the main token.
    void learnedUser(const QString& token, const QString& user);

    // The web window shows the account of `user` (with its key when the page sent one); `reply`
    // gets "have", "need", "later" or "off" (RelayAccounts::windowAccount). When another user's
    // key replaces the window account, the service is first asked with the old key to forget
    // this device ("relay" {"action":"forget"}); without an answer nothing changes ("later").
    void windowAccount(const QString& user, const std::optional<QString>& token,
                       std::function<void(QString)> reply);

    // Whether typing into `focused` is safe: not on a button, link, menu item, box or tab, nor
    // in a one-line field that reads like an address or search bar. An element that cannot be
    // found counts as safe.
    static bool safeToType(const std::optional<platform::FocusedElement>& focused);
    // Whether `front` is one of `identities` (desktop entries, with or without ".desktop", or
    // window classes; case does not matter).
    static bool isOneOf(const platform::FrontApp& front, const QStringList& identities);

Q_SIGNALS:
    // The "done" report of prompt `id` was answered (whatever the answer).
    void finished(const QString& id, const QString& result);

private:
    struct Delivery;

    void arm();
    void ask(QStringList keys, int index);
    void handle(const RelayPrompt& prompt, const QString& key);
    void deliver();
    void open();
    void lookForFront();
    void focusFound(const std::optional<platform::FocusedElement>& focused);
    void pressReturn();
    // Whether the keys so far were handed over and the application checked is still in front;
    // else the delivery fails.
    bool stillDelivering();
    void fail(const QString& line);
    void report(const QString& result);
    void finish(const QString& id, const QString& result);
    // A step `seconds` from now, dropped with the relay.
    std::unique_ptr<core::PendingTimer> later(double seconds, void (Relay::*step)());

    RelayParts parts_;
    bool started_ = false;
    bool busy_ = false;
    std::optional<std::pair<QString, QString>> mainWho_;
    std::unique_ptr<core::PendingTimer> pollTimer_;
    std::unique_ptr<core::PendingTimer> wakeTimer_;
    std::unique_ptr<core::PendingTimer> nextTimer_;
    std::unique_ptr<core::PendingTimer> stepTimer_;
    std::unique_ptr<Delivery> delivery_;
};

}  // namespace pelix::relay
