#include "service/Api.h"

#include "core/Prefs.h"
#include "core/Sentences.h"

#include "fakes/LoopbackBackend.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <QNetworkAccessManager>
#include <QTemporaryDir>
#include <QThread>
#include <QTimeZone>

#include <atomic>

using pelix::Api;
using pelix::fakes::LoopbackBackend;
using pelix::fakes::Reply;

namespace {

class FixedClock final : public pelix::Clock {
public:
    QDateTime time;
    double uptime() const override { return 0; }
    QDateTime now() const override { return time; }
};

class ApiTest : public ::testing::Test {
protected:
    QTemporaryDir home;
    LoopbackBackend backend;
    FixedClock clock;
    QNetworkAccessManager network;
    pelix::TokenStore tokens{home.filePath("Pelix")};
    Api api{backend.base(), tokens, &network, &clock};

    void SetUp() override { tokens.write("pelix_test_token"); }

    pelix::Result<QJsonObject> call(const QString& name, const QJsonObject& body = {},
                                    double timeout = 10,
                                    std::optional<QString> token = std::nullopt) {
        std::optional<pelix::Result<QJsonObject>> answer;
        api.call(name, body, token, timeout, [&](pelix::Result<QJsonObject> r) { answer = r; });
        EXPECT_TRUE(pelix::testing::waitUntil([&] { return answer.has_value(); }, 15000));
        return answer.value_or(pelix::fail(-1, "no answer"));
    }
};

TEST_F(ApiTest, AnswerRules) {
    struct Case {
        const char* name;
        Reply reply;
        bool ok;
        int code;
        QString message;
        QJsonObject object;
    };
    const Case cases[] = {
        {"a 500 with a body that is not JSON succeeds empty",
         Reply::text("<html>oops</html>", 500),
         true,
         0,
         {},
         {}},
        {"an empty object with 401 succeeds", Reply::text("{}", 401), true, 0, {}, {}},
        {"an error member fails with the status and the text unchanged",
         Reply::json({{"error", "Token expired — sign in again"}}, 401),
         false,
         401,
         "Token expired — sign in again",
         {}},
        {"an error member with 200 still fails",
         Reply::json({{"error", "no"}}),
         false,
         200,
         "no",
         {}},
        {"an error member that is not text is an answer",
         Reply::json({{"error", 3}}),
         true,
         0,
         {},
         {{"error", 3}}},
        {"a JSON array succeeds empty", Reply::text("[1,2]", 200), true, 0, {}, {}},
        {"an empty body succeeds empty", Reply::text("", 204), true, 0, {}, {}},
        {"any other object is the answer",
         Reply::json({{"reply", "hi"}}),
         true,
         0,
         {},
         {{"reply", "hi"}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        backend.answer("f", c.reply);
        const auto answer = call("f");
        ASSERT_EQ(answer.has_value(), c.ok);
        if (c.ok) {
            EXPECT_EQ(*answer, c.object);
        } else {
            EXPECT_EQ(answer.error().domain, "pelix");
            EXPECT_EQ(answer.error().code, c.code);
            EXPECT_EQ(answer.error().message, c.message);
        }
    }
}

TEST_F(ApiTest, WithoutATokenFailsAtOnceAndSendsNothing) {
    QFile::remove(tokens.file("token"));
    const auto answer = call("insights");
    ASSERT_FALSE(answer.has_value());
    EXPECT_EQ(answer.error().code, 401);
    EXPECT_EQ(answer.error().message, pelix::core::sentences::kSignInFirst);
    EXPECT_TRUE(backend.requests().isEmpty());
}

TEST_F(ApiTest, FramesTheRequest) {
    ASSERT_TRUE(call("organize", {{"text", "buy milk"}, {"n", 2}}).has_value());
    const auto seen = backend.requests("organize");
    ASSERT_EQ(seen.size(), 1);
    EXPECT_EQ(seen[0].method, "POST");
    EXPECT_EQ(seen[0].path, "/functions/v1/organize");
    EXPECT_EQ(seen[0].headers.value("content-type"), "application/json");
    EXPECT_EQ(seen[0].headers.value("authorization"), "Bearer pelix_test_token");
    EXPECT_EQ(seen[0].body, R"({"n":2,"text":"buy milk"})");
}

TEST_F(ApiTest, APassedTokenWinsOverTheStoredOne) {
    ASSERT_TRUE(call("f", {}, 10, QString("pelix_other")).has_value());
    EXPECT_EQ(backend.requests("f").value(0).headers.value("authorization"), "Bearer pelix_other");
}

TEST_F(ApiTest, ASlowServerGivesATransportErrorOnce) {
    Reply slow;
    slow.delayMs = 1500;
    backend.answer("slow", slow);
    std::atomic<int> calls{0};
    std::optional<pelix::Result<QJsonObject>> answer;
    api.call("slow", {}, std::nullopt, 0.3, [&](pelix::Result<QJsonObject> r) {
        ++calls;
        answer = r;
    });
    ASSERT_TRUE(pelix::testing::waitUntil([&] { return answer.has_value(); }));
    ASSERT_FALSE(answer->has_value());
    EXPECT_NE(answer->error().domain, "pelix");
    EXPECT_EQ(answer->error().message, "The request timed out.");
    EXPECT_FALSE(answer->error().message.contains("pelix_test_token"));
    pelix::testing::waitUntil([] { return false; }, 1700);
    EXPECT_EQ(calls.load(), 1);
}

TEST_F(ApiTest, NoServerGivesTheTransportsDescription) {
    QNetworkAccessManager other;
    Api nowhere(QUrl("http://127.0.0.1:1"), tokens, &other, &clock);
    std::optional<pelix::Result<QJsonObject>> answer;
    nowhere.call("f", {}, std::nullopt, 5, [&](auto r) { answer = r; });
    ASSERT_TRUE(pelix::testing::waitUntil([&] { return answer.has_value(); }));
    ASSERT_FALSE(answer->has_value());
    EXPECT_FALSE(answer->error().message.isEmpty());
}

TEST_F(ApiTest, CallsFromAnotherThreadAnswerOnTheApisThread) {
    std::optional<pelix::Result<QJsonObject>> answer;
    QThread* answeredOn = nullptr;
    std::unique_ptr<QThread> worker(QThread::create([&] {
        api.call("f", {}, std::nullopt, 10, [&](pelix::Result<QJsonObject> r) {
            answeredOn = QThread::currentThread();
            answer = r;
        });
    }));
    worker->start();
    worker->wait();
    ASSERT_TRUE(pelix::testing::waitUntil([&] { return answer.has_value(); }));
    EXPECT_TRUE(answer->has_value());
    EXPECT_EQ(answeredOn, QThread::currentThread());
}

TEST_F(ApiTest, ContextCarriesEveryKey) {
    clock.time = QDateTime(QDate(2026, 11, 21), QTime(9, 5, 30), QTimeZone("America/St_Johns"));
    const QJsonObject c = api.context("voice", 12.5);
    EXPECT_EQ(c.value("recorded_at").toString(), "2026-11-21T09:05:30-03:30");
    EXPECT_EQ(c.value("tz").toString(), "America/St_Johns");
    EXPECT_EQ(c.value("tz_offset_min").toInt(), -210);
    EXPECT_EQ(c.value("hour").toInt(), 9);
    EXPECT_EQ(c.value("minute").toInt(), 5);
    EXPECT_EQ(c.value("weekday").toInt(), 7);  // a Saturday
    EXPECT_EQ(c.value("platform").toString(), "linux");
    EXPECT_FALSE(c.value("locale").toString().isEmpty());
    EXPECT_EQ(c.value("input").toString(), "voice");
    EXPECT_EQ(c.value("duration_s").toInteger(), 13);
    EXPECT_EQ(c.size(), 10);

    EXPECT_FALSE(api.context("typed").contains("duration_s"));
    EXPECT_EQ(api.context("voice", 12.49).value("duration_s").toInteger(), 12);
    clock.time = QDateTime(QDate(2026, 11, 22), QTime(23, 0), QTimeZone("UTC"));
    EXPECT_EQ(api.context("live").value("weekday").toInt(), 1);  // a Sunday
}

TEST_F(ApiTest, ThinOperationsReadTheirMembers) {
    backend.answer("organize",
                   Reply::json({{"tasks", QJsonArray{QJsonObject{{"title", "Call Ann"}}}},
                                {"notes", QJsonArray{}}}));
    backend.answer("chat", Reply::json({{"reply", "Tuesday."}}));
    backend.answer(
        "insights",
        Reply::json({{"insights", QJsonArray{QJsonObject{{"title", "T"}, {"body", "B"}}}}}));

    std::optional<pelix::Result<pelix::Filed>> filed;
    api.tell("call ann", "typed", 10, [&](auto r) { filed = r; });
    std::optional<pelix::Result<QString>> reply;
    api.ask(QJsonArray{QJsonObject{{"role", "user"}, {"content", "When?"}}},
            [&](auto r) { reply = r; });
    std::optional<pelix::Result<QList<pelix::Insight>>> insights;
    api.insights({}, 10, [&](auto r) { insights = r; });
    ASSERT_TRUE(pelix::testing::waitUntil([&] { return filed && reply && insights; }));

    EXPECT_EQ((*filed)->tasks, QStringList{"Call Ann"});
    EXPECT_EQ(**reply, "Tuesday.");
    ASSERT_EQ((*insights)->size(), 1);
    EXPECT_EQ((*insights)->at(0).kind, "connection");
    EXPECT_EQ(backend.requests("organize").value(0).json.value("context").toObject().value("input"),
              "typed");
}

TEST(ApiBase, EnvironmentThenPreferenceThenDefault) {
    pelix::testing::IsolatedHome home;
    pelix::Prefs prefs(home.configDir() + "/Pelix.conf");
    EXPECT_EQ(Api::configuredBase(prefs), QUrl(Api::kDefaultBase));
    prefs.setValue("api.base", "http://127.0.0.1:9/x/");
    EXPECT_EQ(Api::configuredBase(prefs), QUrl("http://127.0.0.1:9/x/"));
    qputenv("PELIX_API_BASE", "http://127.0.0.1:8");
    EXPECT_EQ(Api::configuredBase(prefs), QUrl("http://127.0.0.1:8"));

    QNetworkAccessManager network;
    FixedClock clock;
    Api api(QUrl("http://127.0.0.1:9/x/"), pelix::TokenStore(home.dataDir()), &network, &clock);
    EXPECT_EQ(api.functionUrl("braindump"), QUrl("http://127.0.0.1:9/x/functions/v1/braindump"));
}

}  // namespace
