#include "service/TokenStore.h"

#include "core/Clock.h"
#include "platform/Desktop.h"
#include "platform/SecretStore.h"
#include "support/TestSupport.h"

#include <libsecret/secret.h>

namespace pelix::service {
namespace {

using testing::readFile;

void put(const QString& path, const QByteArray& bytes) {
    testing::writeFile(QFileInfo(path).absolutePath(), QFileInfo(path).fileName(), bytes);
}

class TokenStoreTest : public ::testing::Test {
protected:
    QTemporaryDir dir;
    QString folder = dir.filePath("data/Pelix");
    TokenStore store{folder};
};

// Modes are those of core's private files, which the store writes through.
TEST_F(TokenStoreTest, WritesOnlyKeysAndReadsWhatIsNotAKeyAsNone) {
    store.write("pelix_abc");
    store.write("pelix_bad\r\nX-Evil: 1");
    EXPECT_EQ(readFile(store.file("token")), "pelix_abc");
    const std::pair<QByteArray, std::optional<QString>> cases[] = {
        {"  pelix_abc \r\n\t", "pelix_abc"},
        {" \n\t ", std::nullopt},
        // A line break inside would add a header to every request.
        {"pelix_x\r\nX-Evil: injected", std::nullopt},
        {"bearer pelix_x", std::nullopt},
    };
    for (const auto& [file, token] : cases) {
        put(store.file("token"), file);
        EXPECT_EQ(store.read(), token) << file.toStdString();
    }
}

TEST(PelixKey, IsPelixUnderscoreAndSafeCharacters) {
    for (const char* good : {"pelix_a", "pelix_AZaz09._-"}) {
        EXPECT_TRUE(isPelixKey(QString::fromLatin1(good))) << good;
    }
    for (const QString& bad :
         {QString("pelix_"), QString("Pelix_a"), QString("pelix-a"), QString("pelix_a b"),
          QString("pelix_a\n"), QString("pelix_a:b"), QString("pelix_caf\u00e9"),
          QString("pelix_a%0D"), QString("pelix_") + QString(5000, 'a')}) {
        EXPECT_FALSE(isPelixKey(bad)) << bad.toStdString();
    }
}

TEST(WindowKeyStore, RoundTripsAndRejectsIncompletePairs) {
    QTemporaryDir dir;
    WindowKeyStore keys(dir.filePath("Pelix"));
    EXPECT_EQ(keys.read(), std::nullopt);
    keys.write("ann@example.org", "pelix_w");
    EXPECT_EQ(keys.read(), (WindowKeyStore::Key{"ann@example.org", "pelix_w"}));
    for (const QByteArray& bad : {QByteArray(R"({"user":"a"})"),
                                  QByteArray(R"({"user":1,"token":"t"})"), QByteArray("x")}) {
        put(dir.filePath("Pelix/window-key"), bad);
        EXPECT_EQ(keys.read(), std::nullopt) << bad.toStdString();
    }
    keys.clear();
    EXPECT_FALSE(QFile::exists(dir.filePath("Pelix/window-key")));
}

// The real Secret Service: the GNOME keyring, started by D-Bus activation on the test session's
// bus. The old entry is put, as an earlier version of the program stored it, into the in-memory
// session collection, which needs no unlocking; an empty token file counts as none.
TEST(DesktopKeyring, MigratesTheOldTokenOutOfTheSecretService) {
    ASSERT_FALSE(qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS"))
        << "no D-Bus session bus: run the tests inside scripts/with-desktop";
    testing::IsolatedHome home;
    core::SystemClock clock;
    const auto desktop = platform::makeDesktop({.clock = clock, .cacheDir = QString()});
    platform::SecretStore& secrets = desktop->secrets();
    TokenStore store(home.dataDir(), OldKeyring(&secrets));
    EXPECT_EQ(store.read(), std::nullopt);
    put(store.file("token"), "");
    SecretSchema schema{};
    schema.name = "org.freedesktop.Secret.Generic";
    schema.flags = SECRET_SCHEMA_DONT_MATCH_NAME;
    schema.attributes[0] = {"service", SECRET_SCHEMA_ATTRIBUTE_STRING};
    schema.attributes[1] = {"account", SECRET_SCHEMA_ATTRIBUTE_STRING};
    ASSERT_TRUE(testing::waitUntil(
        [&] {
            return secret_password_store_sync(
                &schema, SECRET_COLLECTION_SESSION, "pelix test", "pelix_kc", nullptr, nullptr,
                "service", OldKeyring::kService, "account", OldKeyring::kAccount, nullptr);
        },
        10000))
        << "the GNOME keyring never answered on the session bus";

    EXPECT_EQ(store.read(), "pelix_kc");
    EXPECT_EQ(readFile(store.file("token")), "pelix_kc");
    EXPECT_EQ(secrets.read(OldKeyring::kService, OldKeyring::kAccount), std::nullopt);
}

}  // namespace
}  // namespace pelix::service
