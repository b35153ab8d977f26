#include "relay/RelayAccounts.h"

namespace pelix::RelayAccounts {

QStringList keys(const std::optional<QString>& main, const std::optional<QString>& mainUser,
                 const std::optional<WindowKeyStore::Key>& window) {
    QStringList keys;
    if (main) keys.append(*main);
    if (window && !(main && mainUser && *mainUser == window->user)) keys.append(window->token);
    return keys;
}

bool isUser(const QString& text) {
    if (text.size() != 36) return false;
    for (const QChar c : text) {
        const char16_t u = c.unicode();
        const bool hex = (u >= '0' && u <= '9') || (u >= 'a' && u <= 'f') || (u >= 'A' && u <= 'F');
        if (!hex && u != '-') return false;
    }
    return true;
}

}  // namespace pelix::RelayAccounts
