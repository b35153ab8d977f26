#include "service/TokenStore.h"

#include "core/Clock.h"
#include "platform/Desktop.h"
#include "platform/SecretStore.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <map>

#include <libsecret/secret.h>

using pelix::OldKeyring;
using pelix::TokenStore;

namespace {

class FakeSecrets final : public pelix::platform::SecretStore {
public:
    std::map<std::pair<QString, QString>, QString> items;
    std::optional<QString> read(const QString& s, const QString& a) override {
        auto it = items.find({s, a});
        if (it == items.end()) return std::nullopt;
        return it->second;
    }
    bool remove(const QString& s, const QString& a) override { return items.erase({s, a}) > 0; }
};

// Stores a generic password the way an earlier version of the program did.
bool storeInKeyring(const char* service, const char* account, const char* secret) {
    static const SecretSchema schema = {"org.freedesktop.Secret.Generic",
                                        SECRET_SCHEMA_DONT_MATCH_NAME,
                                        {{"service", SECRET_SCHEMA_ATTRIBUTE_STRING},
                                         {"account", SECRET_SCHEMA_ATTRIBUTE_STRING},
                                         {nullptr, SECRET_SCHEMA_ATTRIBUTE_STRING}},
                                        0,
                                        nullptr,
                                        nullptr,
                                        nullptr,
                                        nullptr,
                                        nullptr,
                                        nullptr,
                                        nullptr};
    GError* error = nullptr;
    const bool ok = secret_password_store_sync(&schema, SECRET_COLLECTION_SESSION, "pelix test",
                                               secret, nullptr, &error, "service", service,
                                               "account", account, nullptr);
    if (error) g_error_free(error);
    return ok;
}

QByteArray contents(const QString& path) {
    QFile f(path);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}

class TokenStoreTest : public ::testing::Test {
protected:
    QTemporaryDir dir;
    FakeSecrets secrets;
    QString folder = dir.filePath("data/Pelix");
    TokenStore store{folder, OldKeyring(&secrets)};
};

TEST_F(TokenStoreTest, ReadsWhatItWroteWithPrivateModes) {
    store.write("pelix_abc");
    EXPECT_EQ(store.read(), "pelix_abc");
    EXPECT_TRUE(QFileInfo(folder).permissions() & QFileDevice::ExeOwner);
    EXPECT_EQ(QFileInfo(folder).permissions() & 0x0077, 0);
    EXPECT_EQ(QFileInfo(store.file("token")).permissions() & 0x7777,
              QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadUser |
                  QFileDevice::WriteUser);
}

TEST_F(TokenStoreTest, TrimsWhiteSpaceAndTreatsBlankAsNone) {
    const struct {
        QByteArray file;
        std::optional<QString> token;
    } cases[] = {
        {"pelix_abc\n", "pelix_abc"},
        {"  pelix_abc \r\n\t", "pelix_abc"},
        {" \n\t ", std::nullopt},
        {"", std::nullopt},
        // Not a key: a line break inside would add a header to every request.
        {"pelix_x\r\nX-Evil: injected", std::nullopt},
        {"bearer pelix_x", std::nullopt},
    };
    for (const auto& c : cases) {
        ASSERT_TRUE(QDir().mkpath(folder));
        QFile f(store.file("token"));
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(c.file);
        f.close();
        EXPECT_EQ(store.read(), c.token) << c.file.toStdString();
    }
}

TEST(PelixKey, IsPelixUnderscoreAndSafeCharacters) {
    for (const char* good : {"pelix_a", "pelix_AZaz09._-", "pelix_x.y-z_1"}) {
        EXPECT_TRUE(pelix::isPelixKey(QString::fromLatin1(good))) << good;
    }
    for (const QString& bad :
         {QString("pelix_"), QString("Pelix_a"), QString("pelix-a"), QString("pelix_a b"),
          QString("pelix_a\r\nX-Evil: 1"), QString("pelix_a\n"), QString("pelix_a:b"),
          QString("pelix_caf\u00e9"), QString("pelix_a%0D"),
          QString("pelix_") + QString(5000, 'a')}) {
        EXPECT_FALSE(pelix::isPelixKey(bad)) << bad.toStdString();
    }
}

TEST_F(TokenStoreTest, RefusesToStoreWhatIsNotAKey) {
    store.write("pelix_good");
    store.write("pelix_bad\r\nX-Evil: 1");
    EXPECT_EQ(contents(store.file("token")), "pelix_good");
}

TEST_F(TokenStoreTest, MovesAnOldKeyringTokenIntoTheFileOnce) {
    secrets.items[{OldKeyring::kService, OldKeyring::kAccount}] = "pelix_old";
    ASSERT_TRUE(QDir().mkpath(folder));
    QFile(store.file("token")).open(QIODevice::WriteOnly);  // empty file

    EXPECT_EQ(store.read(), "pelix_old");
    EXPECT_EQ(contents(store.file("token")), "pelix_old");
    EXPECT_TRUE(secrets.items.empty());
    EXPECT_EQ(store.read(), "pelix_old");  // now from the file
}

TEST_F(TokenStoreTest, NoFileAndNoOldKeyringIsNone) {
    EXPECT_EQ(store.read(), std::nullopt);
    EXPECT_EQ(TokenStore(folder).read(), std::nullopt);
}

TEST(WindowKeyStore, RoundTripsAndRejectsIncompletePairs) {
    QTemporaryDir dir;
    pelix::WindowKeyStore keys(dir.filePath("Pelix"));
    EXPECT_EQ(keys.read(), std::nullopt);
    keys.write("ann@example.org", "pelix_w");
    EXPECT_EQ(keys.read(), (pelix::WindowKeyStore::Key{"ann@example.org", "pelix_w"}));
    EXPECT_EQ(QFileInfo(dir.filePath("Pelix/window-key")).permissions() & 0x0077, 0);

    for (const QByteArray& bad :
         {QByteArray(R"({"user":"a"})"), QByteArray(R"({"user":1,"token":"t"})"),
          QByteArray("not json")}) {
        QFile f(dir.filePath("Pelix/window-key"));
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(bad);
        f.close();
        EXPECT_EQ(keys.read(), std::nullopt) << bad.toStdString();
    }
    keys.clear();
    EXPECT_FALSE(QFile::exists(dir.filePath("Pelix/window-key")));
}

// The real Secret Service: the GNOME keyring, started by D-Bus activation on the test session's
// bus. The old entry is put into the in-memory session collection, which needs no unlocking.
class DesktopKeyring : public ::testing::Test {
protected:
    pelix::testing::IsolatedHome home;

    void SetUp() override {
        if (qEnvironmentVariableIsEmpty("DBUS_SESSION_BUS_ADDRESS")) {
            FAIL() << "no D-Bus session bus: run the tests through scripts/test";
        }
    }
};

TEST_F(DesktopKeyring, MigratesTheOldTokenOutOfTheSecretService) {
    pelix::SystemClock clock;
    const auto desktop = pelix::platform::makeDesktop({.clock = clock, .cacheDir = QString()});
    pelix::platform::SecretStore& secrets = desktop->secrets();
    ASSERT_TRUE(pelix::testing::waitUntil(
        [] { return storeInKeyring(OldKeyring::kService, OldKeyring::kAccount, "pelix_kc"); },
        10000))
        << "the GNOME keyring never answered on the session bus";

    TokenStore store(home.dataDir(), OldKeyring(&secrets));
    EXPECT_EQ(store.read(), "pelix_kc");
    EXPECT_EQ(contents(store.file("token")), "pelix_kc");
    EXPECT_EQ(secrets.read(OldKeyring::kService, OldKeyring::kAccount), std::nullopt);
}

}  // namespace
