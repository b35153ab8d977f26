#pragma once

#include "core/Clock.h"
#include "core/Prefs.h"
#include "platform/linux/LibsecretStore.h"
#include "service/Api.h"

#include <QNetworkAccessManager>

namespace pelix {

// What a process needs to reach the user's account: the clock, the preferences, the token store
// with its keychain, and the one Api. Made once, after the Qt application object, by whoever
// runs the process (a command-line mode or the tray application), and handed down.
class Backend {
public:
    Backend();
    Backend(const Backend&) = delete;
    Backend& operator=(const Backend&) = delete;

    const Clock& clock() const { return clock_; }
    Prefs& prefs() { return prefs_; }
    const TokenStore& tokens() const { return tokens_; }
    Api& api() { return api_; }
    QNetworkAccessManager& network() { return network_; }

private:
    SystemClock clock_;
    Prefs prefs_;
    platform::LibsecretStore secrets_;
    TokenStore tokens_;
    QNetworkAccessManager network_;
    Api api_;
};

}  // namespace pelix
