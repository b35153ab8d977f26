#include "core/Clock.h"
#include "core/Json.h"
#include "core/Sentences.h"
#include "fakes/BackendRig.h"
#include "platform/Desktop.h"
#include "platform/SecretStore.h"
#include "service/FileBody.h"
#include "service/TokenStore.h"

#include <QTimeZone>

#include <atomic>
#include <random>

#include <libsecret/secret.h>

namespace pelix::service {
namespace {

using fakes::Reply;

class ApiTest : public ::testing::Test, protected fakes::BackendRig {
protected:
    Result<QJsonObject> call(const QString& name, const QJsonObject& body = {},
                             std::optional<QString> token = std::nullopt) {
        return testing::awaited<Result<QJsonObject>>(
                   [&](auto done) { api.call(name, body, token, 10, done); })
            .value_or(fail(-1, "no answer"));
    }
};

TEST_F(ApiTest, AnswerRules) {
    struct Case {
        const char* name;
        Reply reply;
        int code;  // 0: succeeds with `object`
        QString message = {};
        QJsonObject object = {};
    };
    const Case cases[] = {
        {"a 500 with a body that is not JSON succeeds empty", Reply::text("<html>", 500), 0},
        {"an empty object with 401 succeeds", Reply::text("{}", 401), 0},
        {"an error member fails with the status and the text unchanged",
         Reply::json({{"error", "Token expired — sign in again"}}, 401), 401,
         "Token expired — sign in again"},
        {"an error member with 200 still fails", Reply::json({{"error", "no"}}), 200, "no"},
        {"a token echoed in the error text is blanked, encoded or not",
         Reply::json({{"error", "Key pelix_test (pelix%5Ftest) is not known."}}, 401), 401,
         "Key … (…) is not known."},
        {"an error member that is not text is an answer",
         Reply::json({{"error", 3}}),
         0,
         {},
         {{"error", 3}}},
        {"a JSON array succeeds empty", Reply::text("[1,2]", 200), 0},
        {"an empty body succeeds empty", Reply::text("", 204), 0},
        {"any other object is the answer",
         Reply::json({{"reply", "hi"}}),
         0,
         {},
         {{"reply", "hi"}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        backend.answer("f", c.reply);
        const auto answer = call("f");
        ASSERT_EQ(answer.has_value(), c.code == 0);
        if (answer) {
            EXPECT_EQ(*answer, c.object);
        } else {
            EXPECT_EQ(answer.error(), (Error{"pelix", c.code, c.message}));
        }
    }
}

TEST_F(ApiTest, FramesTheRequestWithThePassedOrTheStoredKey) {
    ASSERT_TRUE(call("organize", {{"text", "buy milk"}, {"n", 2}}));
    ASSERT_TRUE(call("f", {}, QString("pelix_other")));
    const auto seen = backend.requests();
    ASSERT_EQ(seen.size(), 2);
    EXPECT_EQ(
        QStringList({seen[0].method, seen[0].path, seen[0].headers.value("content-type"),
                     seen[0].headers.value("authorization"), QString::fromUtf8(seen[0].body),
                     seen[1].headers.value("authorization")}),
        QStringList({"POST", "/functions/v1/organize", "application/json", "Bearer pelix_test",
                     R"({"n":2,"text":"buy milk"})", "Bearer pelix_other"}));
}

// Signed out, or given a key that would add a header: a 401 at once and nothing sent.
TEST_F(ApiTest, NothingIsSentWithoutAUsableKey) {
    const auto injected = call("f", {}, QString("pelix_x\r\nX-Evil: 1"));
    ASSERT_FALSE(injected);
    EXPECT_EQ(injected.error(), (Error{"pelix", 401, core::sentences::kNotAKey}));
    signOut();
    const auto none = call("insights");
    ASSERT_FALSE(none);
    EXPECT_EQ(none.error(), (Error{"pelix", 401, core::sentences::kSignInFirst}));
    EXPECT_TRUE(backend.requests().isEmpty());
}

TEST_F(ApiTest, ASlowServerGivesATransportErrorOnce) {
    Reply slow;
    slow.delayMs = 1500;
    backend.answer("slow", slow);
    std::atomic<int> calls{0};
    std::optional<Result<QJsonObject>> answer;
    api.call("slow", {}, std::nullopt, 0.3, [&](Result<QJsonObject> r) {
        ++calls;
        answer = r;
    });
    ASSERT_TRUE(testing::waitUntil([&] { return answer.has_value(); }));
    ASSERT_FALSE(answer->has_value());
    EXPECT_NE(answer->error().domain, "pelix");
    EXPECT_EQ(answer->error().message, "The request timed out.");
    testing::pause(1700);
    EXPECT_EQ(calls.load(), 1);
}

TEST_F(ApiTest, CallsFromAnotherThreadAnswerOnTheApisThread) {
    std::optional<Result<QJsonObject>> answer;
    QThread* answeredOn = nullptr;
    std::unique_ptr<QThread> worker(QThread::create([&] {
        api.call("f", {}, std::nullopt, 10, [&](Result<QJsonObject> r) {
            answeredOn = QThread::currentThread();
            answer = r;
        });
    }));
    worker->start();
    worker->wait();
    ASSERT_TRUE(testing::waitUntil([&] { return answer.has_value(); }));
    EXPECT_TRUE(answer->has_value());
    EXPECT_EQ(answeredOn, QThread::currentThread());
}

TEST_F(ApiTest, ContextCarriesEveryKey) {
    clock.setNow(QDateTime(QDate(2026, 11, 21), QTime(9, 5, 30), QTimeZone("America/St_Johns")));
    const QJsonObject c = api.context("voice", 12.5);
    EXPECT_EQ(c, (QJsonObject{{"recorded_at", "2026-11-21T09:05:30-03:30"},
                              {"tz", "America/St_Johns"},
                              {"tz_offset_min", -210},
                              {"hour", 9},
                              {"minute", 5},
                              {"weekday", 7},  // a Saturday
                              {"platform", "linux"},
                              {"locale", c.value("locale")},
                              {"input", "voice"},
                              {"duration_s", 13}}));
    EXPECT_FALSE(c.value("locale").toString().isEmpty());
    EXPECT_FALSE(api.context("typed").contains("duration_s"));
    EXPECT_EQ(api.context("voice", 12.49).value("duration_s").toInteger(), 12);
    clock.setNow(QDateTime(QDate(2026, 11, 22), QTime(23, 0), QTimeZone("UTC")));
    EXPECT_EQ(api.context("live").value("weekday").toInt(), 1);  // a Sunday
}

TEST_F(ApiTest, TheBaseIsTheEnvironmentsThenThePreferenceThenTheDefault) {
    EXPECT_EQ(Api::configuredBase(prefs), QUrl(Api::kDefaultBase));
    prefs.setValue("api.base", "http://127.0.0.1:9/x/");
    EXPECT_EQ(Api::configuredBase(prefs), QUrl("http://127.0.0.1:9/x/"));
    qputenv("PELIX_API_BASE", "http://127.0.0.1:8");
    EXPECT_EQ(Api::configuredBase(prefs), QUrl("http://127.0.0.1:8"));
    const Api other(QUrl("http://127.0.0.1:9/x/"), tokens, &network, &clock);
    EXPECT_EQ(other.functionUrl("braindump"), QUrl("http://127.0.0.1:9/x/functions/v1/braindump"));
}

// The body streamed from a file is byte for byte the compact JSON a document would make, read in
// steps of any size and from any place.
TEST(Base64FileBody, IsTheCompactJsonReadInAnySteps) {
    QTemporaryDir dir;
    std::mt19937 random(7);
    for (const int size : {0, 1, 2, 3, 4, 1000, 100001}) {
        SCOPED_TRACE(size);
        QByteArray bytes(size, Qt::Uninitialized);
        for (char& b : bytes) b = char(random());
        const QString path = testing::writeFile(dir.path(), "audio.m4a", bytes);

        const QJsonObject rest{{"filename", "piece-1.m4a"}, {"transcribe_only", true}};
        QJsonObject whole = rest;
        whole.insert("audio_base64", QString::fromLatin1(bytes.toBase64()));
        const QByteArray want = core::json::compact(whole);

        const auto body = Base64FileBody::open(rest, "audio_base64", path);
        ASSERT_TRUE(body);
        EXPECT_FALSE(body->isSequential());
        ASSERT_EQ(body->size(), want.size());
        QByteArray got;
        std::uniform_int_distribution<int> step(1, 70000);
        while (!body->atEnd()) got += body->read(step(random));
        EXPECT_EQ(got, want);
        // From the middle, as a resent upload reads it.
        ASSERT_TRUE(body->seek(want.size() / 3));
        EXPECT_EQ(body->readAll(), want.mid(want.size() / 3));
    }
    EXPECT_FALSE(Base64FileBody::open({}, "audio_base64", dir.filePath("missing.m4a")));
}

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
