#pragma once

#include "platform/SecretStore.h"

namespace pelix::platform {

// The Secret Service (GNOME Keyring, KWallet) through libsecret, as generic passwords with the
// attributes "service" and "account". Where no Secret Service answers on the session bus,
// reads find nothing and removals do nothing, without waiting for a prompt.
class LibsecretStore final : public SecretStore {
public:
    std::optional<QString> read(const QString& service, const QString& account) override;
    bool remove(const QString& service, const QString& account) override;
};

}  // namespace pelix::platform
