#pragma once

#include "core/Clock.h"
#include "core/Prefs.h"
#include "service/Api.h"

#include <QNetworkAccessManager>

namespace pelix {

namespace platform {
class SecretStore;
}

// What one process needs to reach the user's account: the clock, the preferences, the token
// store (with the desktop's secret store, where an old token may wait) and the one Api. Made
// once, after the Qt application object, by whoever runs the process (a command-line mode or
// the tray application), and handed down.
class ServiceContext {
public:
    ServiceContext(const Clock& clock, platform::SecretStore& secrets);
    ServiceContext(const ServiceContext&) = delete;
    ServiceContext& operator=(const ServiceContext&) = delete;

    const Clock& clock() const { return clock_; }
    Prefs& prefs() { return prefs_; }
    const TokenStore& tokens() const { return tokens_; }
    Api& api() { return api_; }
    QNetworkAccessManager& network() { return network_; }

private:
    const Clock& clock_;
    Prefs prefs_;
    TokenStore tokens_;
    QNetworkAccessManager network_;
    Api api_;
};

}  // namespace pelix
