#pragma once

#include "core/Clock.h"
#include "core/Prefs.h"
#include "service/Api.h"

#include <QNetworkAccessManager>

namespace pelix::platform {
class SecretStore;
}  // namespace pelix::platform

namespace pelix::service {

// What one process needs to reach the user's account: the clock, the preferences, the token
// store (with the desktop's secret store, where an old token may wait) and the one Api. Made
// once, after the Qt application object, by whoever runs the process (a command-line mode or
// the tray application), and handed down.
class ServiceContext {
public:
    ServiceContext(const core::Clock& clock, platform::SecretStore& secrets);
    ServiceContext(const ServiceContext&) = delete;
    ServiceContext& operator=(const ServiceContext&) = delete;

    const core::Clock& clock() const { return clock_; }
    core::Prefs& prefs() { return prefs_; }
    const TokenStore& tokens() const { return tokens_; }
    Api& api() { return api_; }
    QNetworkAccessManager& network() { return network_; }

private:
    const core::Clock& clock_;
    core::Prefs prefs_;
    TokenStore tokens_;
    QNetworkAccessManager network_;
    Api api_;
};

}  // namespace pelix::service
