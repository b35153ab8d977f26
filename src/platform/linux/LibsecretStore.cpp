#include "platform/linux/LibsecretStore.h"

#include <libsecret/secret.h>

namespace pelix::platform {
namespace {

const SecretSchema* schema() {
    static const SecretSchema kSchema = {"org.freedesktop.Secret.Generic",
                                         SECRET_SCHEMA_DONT_MATCH_NAME,
                                         {
                                             {"service", SECRET_SCHEMA_ATTRIBUTE_STRING},
                                             {"account", SECRET_SCHEMA_ATTRIBUTE_STRING},
                                             {nullptr, SECRET_SCHEMA_ATTRIBUTE_STRING},
                                         },
                                         0,
                                         nullptr,
                                         nullptr,
                                         nullptr,
                                         nullptr,
                                         nullptr,
                                         nullptr,
                                         nullptr};
    return &kSchema;
}

bool sessionBusPresent() {
    // libsecret would otherwise try to autolaunch a bus and print warnings.
    return !qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS") ||
           !qEnvironmentVariableIsEmpty("XDG_RUNTIME_DIR");
}

}  // namespace

std::optional<QString> LibsecretStore::read(const QString& service, const QString& account) {
    if (!sessionBusPresent()) return std::nullopt;
    const QByteArray s = service.toUtf8(), a = account.toUtf8();
    GError* error = nullptr;
    gchar* secret = secret_password_lookup_sync(schema(), nullptr, &error, "service", s.constData(),
                                                "account", a.constData(), nullptr);
    if (error) {
        // No Secret Service on this desktop: there is simply no old token.
        g_error_free(error);
        return std::nullopt;
    }
    if (!secret) return std::nullopt;
    QString value = QString::fromUtf8(secret);
    secret_password_free(secret);
    return value;
}

bool LibsecretStore::remove(const QString& service, const QString& account) {
    if (!sessionBusPresent()) return false;
    const QByteArray s = service.toUtf8(), a = account.toUtf8();
    GError* error = nullptr;
    secret_password_clear_sync(schema(), nullptr, &error, "service", s.constData(), "account",
                               a.constData(), nullptr);
    if (error) {
        g_error_free(error);
        return false;
    }
    return true;
}

}  // namespace pelix::platform
