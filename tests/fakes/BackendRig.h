#pragma once

// The loopback backend behind a signed-in service client, in a home of the test's own.
#include "core/Prefs.h"
#include "fakes/LoopbackBackend.h"
#include "fakes/ManualTime.h"
#include "service/Api.h"
#include "service/TokenStore.h"
#include "support/TestSupport.h"

#include <QNetworkAccessManager>

namespace pelix::fakes {

class BackendRig {
public:
    // Signed in with `token`; an empty one leaves the user signed out.
    explicit BackendRig(const QString& token = "pelix_test") {
        if (!token.isEmpty()) tokens.write(token);
    }

    QProcessEnvironment backendEnv() const {
        QProcessEnvironment env;
        env.insert("PELIX_API_BASE", backend.base().toString());
        return env;
    }
    // The bodies of the requests of `function`; with `action`, only those with that "action".
    QList<QJsonObject> sent(const QString& function, const QString& action = {}) const {
        QList<QJsonObject> bodies;
        for (const Recorded& r : backend.requests(function)) {
            if (action.isEmpty() || r.json.value("action") == action) bodies << r.json;
        }
        return bodies;
    }
    void signOut() { QFile::remove(tokens.file("token")); }

    testing::IsolatedHome home;
    LoopbackBackend backend;
    QNetworkAccessManager network;
    ManualClock clock;
    service::TokenStore tokens{home.dataDir()};
    core::Prefs prefs{home.configDir() + "/Pelix.conf"};
    service::Api api{backend.base(), tokens, &network, &clock};
};

}  // namespace pelix::fakes
