#pragma once

#include "platform/SecretStore.h"

#include <QString>

#include <optional>
#include <utility>

namespace pelix::service {

// Whether `token` is a Pelix key: "pelix_" followed by one or more ASCII letters, digits, ".",
// "_" or "-" (4096 characters at most). Nothing else is stored or sent: a line break in a key
// would otherwise end the Authorization header and start another.
bool isPelixKey(QStringView token);

// The old home of the token: one generic password in the desktop's secret store. Only read and
// removed, to move the token into its file.
class OldKeyring {
public:
    static constexpr auto kService = "com.tessaran.pelix.flow";
    static constexpr auto kAccount = "pelix-token";

    // Without a store (none on this desktop) there is never an old token.
    explicit OldKeyring(platform::SecretStore* store = nullptr) : store_(store) {}

    std::optional<QString> read() const;
    void remove() const;

private:
    platform::SecretStore* store_;
};

// The user's access token in the private file "token" of the Pelix data folder. Every call goes
// to the file system anew, so it may be used from any thread; the last writer wins.
class TokenStore {
public:
    explicit TokenStore(QString folder, OldKeyring oldKeyring = OldKeyring())
        : folder_(std::move(folder)), oldKeyring_(oldKeyring) {}

    // The stored token with white space trimmed; else one moved over from the old keyring entry;
    // else none. White space alone counts as none, and so does a file that does not hold a Pelix
    // key (which is logged).
    std::optional<QString> read() const;
    // Stores the token atomically with mode 0600 in a 0700 folder; a failure keeps the old file.
    // Anything but a Pelix key is refused (and logged) without touching the file.
    void write(const QString& token) const;
    // The address of a file in the Pelix data folder.
    QString file(const QString& name) const;

private:
    QString folder_;
    OldKeyring oldKeyring_;
};

// The web window's sign-in pair, a JSON object {"user","token"} in the private file
// "window-key".
class WindowKeyStore {
public:
    struct Key {
        QString user;
        QString token;
        bool operator==(const Key&) const = default;
    };

    explicit WindowKeyStore(QString folder) : folder_(std::move(folder)) {}

    std::optional<Key> read() const;
    void write(const QString& user, const QString& token) const;
    void clear() const;

private:
    QString path() const;
    QString folder_;
};

}  // namespace pelix::service
