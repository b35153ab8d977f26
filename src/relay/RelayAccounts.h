#pragma once

#include "service/TokenStore.h"

#include <QString>
#include <QStringList>

#include <optional>

namespace pelix::RelayAccounts {

// The account keys to ask for prompts, in order: the main token, then the web window's
// account, unless it is known to be the main token's user (one account is asked once).
QStringList keys(const std::optional<QString>& main, const std::optional<QString>& mainUser,
                 const std::optional<WindowKeyStore::Key>& window);

// Whether `text` is an account's user identifier: 36 hexadecimal digits and dashes.
bool isUser(const QString& text);

}  // namespace pelix::RelayAccounts
