#pragma once

#include <QString>

#include <optional>

namespace pelix::platform {

// The desktop's password store, addressed by service and account.
class SecretStore {
public:
    virtual ~SecretStore() = default;
    // The secret stored under service and account, or none (also when no store answers).
    virtual std::optional<QString> read(const QString& service, const QString& account) = 0;
    // Removes the entry; true when the store answered.
    virtual bool remove(const QString& service, const QString& account) = 0;
};

}  // namespace pelix::platform
