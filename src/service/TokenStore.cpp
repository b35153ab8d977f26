#include "service/TokenStore.h"

#include "core/Json.h"
#include "core/Log.h"
#include "core/PrivateFile.h"

#include <QFile>
#include <QJsonObject>

namespace pelix::service {

bool isPelixKey(QStringView token) {
    static constexpr QStringView kPrefix = u"pelix_";
    if (!token.startsWith(kPrefix) || token.size() == kPrefix.size() || token.size() > 4096) {
        return false;
    }
    for (const QChar c : token.mid(kPrefix.size())) {
        const char16_t u = c.unicode();
        const bool safe = (u >= u'a' && u <= u'z') || (u >= u'A' && u <= u'Z') ||
                          (u >= u'0' && u <= u'9') || u == u'.' || u == u'_' || u == u'-';
        if (!safe) return false;
    }
    return true;
}

std::optional<QString> OldKeyring::read() const {
    if (!store_) return std::nullopt;
    auto secret = store_->read(kService, kAccount);
    if (secret) *secret = secret->trimmed();
    if (!secret || secret->isEmpty()) return std::nullopt;
    if (!isPelixKey(*secret)) {
        core::logLine("token",
                      "the keyring's old entry is not a Pelix key, so it is left where it is");
        return std::nullopt;
    }
    return secret;
}

void OldKeyring::remove() const {
    if (store_) store_->remove(kService, kAccount);
}

QString TokenStore::file(const QString& name) const {
    return folder_ + "/" + name;
}

std::optional<QString> TokenStore::read() const {
    QFile f(file("token"));
    if (f.open(QIODevice::ReadOnly)) {
        // More than any key: a large file is not read whole.
        const QString token = QString::fromUtf8(f.read(8192)).trimmed();
        if (isPelixKey(token)) return token;
        if (!token.isEmpty()) {
            core::logLine("token",
                          "the token file does not hold a Pelix key, so it is not used; sign "
                          "in again");
        }
    }
    if (auto old = oldKeyring_.read()) {
        write(*old);
        oldKeyring_.remove();
        core::logLine("token", "moved the token from the old keyring entry into its file");
        return old;
    }
    return std::nullopt;
}

void TokenStore::write(const QString& token) const {
    if (!isPelixKey(token)) {
        core::logLine("token", "refused to store something that is not a Pelix key");
        return;
    }
    if (auto saved = core::writePrivateFile(file("token"), token.toUtf8()); !saved) {
        core::logLine("token", saved.error().message);
    }
}

QString WindowKeyStore::path() const {
    return folder_ + "/window-key";
}

std::optional<WindowKeyStore::Key> WindowKeyStore::read() const {
    QFile f(path());
    if (!f.open(QIODevice::ReadOnly)) return std::nullopt;
    const auto object = core::json::parseObject(f.readAll());
    if (!object) return std::nullopt;
    const QJsonValue user = object->value("user"), token = object->value("token");
    if (!user.isString() || !token.isString()) return std::nullopt;
    return Key{user.toString(), token.toString()};
}

void WindowKeyStore::write(const QString& user, const QString& token) const {
    const QJsonObject object{{"user", user}, {"token", token}};
    if (auto saved = core::writePrivateFile(path(), core::json::compact(object)); !saved) {
        core::logLine("window key", saved.error().message);
    }
}

void WindowKeyStore::clear() const {
    QFile::remove(path());
}

}  // namespace pelix::service
