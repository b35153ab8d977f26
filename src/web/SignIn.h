#pragma once

#include "web/WebRules.h"

#include <QString>
#include <QUrl>

#include <functional>
#include <optional>

namespace pelix::web {

// Sign-in in the user's default browser. `start` gives the web app's "/mac-sign-in" address
// carrying a fresh, unguessable `state`; the web app sends the browser back to
// "pelix-mac://auth-callback?…#…" with that state, and `finish` turns such a link into the web
// app's "/auth-callback" address with the link's query and fragment. A link whose state is
// not the one given out (or that comes when no sign-in runs) gives nothing: another program
// cannot plant a sign-in in the window. Each state is good for one callback.
class SignIn {
public:
    static constexpr auto kStartPath = "/mac-sign-in";
    static constexpr auto kCallbackPath = "/auth-callback";
    static constexpr double kLoadLimit = 60;  // seconds for loading the callback address

    // `random` gives the state; by default 32 bytes from the system's generator.
    explicit SignIn(std::function<QString()> random = {});

    // Starts a sign-in (replacing one that runs) and gives the address to open.
    QUrl start(const WebPlaces& places);
    // The address to load for a callback link; none when its state does not match.
    std::optional<QUrl> finish(const QUrl& callback, const WebPlaces& places);
    bool running() const { return state_.has_value(); }

private:
    std::function<QString()> random_;
    std::optional<QString> state_;
};

}  // namespace pelix::web
