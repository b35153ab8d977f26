#include "core/Json.h"
#include "core/Sentences.h"
#include "fakes/BackendRig.h"
#include "service/FileBody.h"

#include <QTimeZone>

#include <atomic>
#include <random>

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

}  // namespace
}  // namespace pelix::service
