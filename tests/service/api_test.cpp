#include "core/Sentences.h"
#include "fakes/BackendRig.h"
#include "service/TokenStore.h"

#include <QTimeZone>

#include <atomic>

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
    clock.setNow(QDateTime(QDate(2026, 11, 22), QTime(23, 0), QTimeZone("UTC")));
    EXPECT_EQ(api.context("live").value("weekday").toInt(), 1);  // a Sunday
}

// Modes are those of core's private files, which the store writes through.
TEST(TokenStore, WritesOnlyKeysAndReadsWhatIsNotAKeyAsNone) {
    QTemporaryDir dir;
    TokenStore store(dir.filePath("data/Pelix"));
    store.write("pelix_abc");
    store.write("pelix_bad\r\nX-Evil: 1");
    EXPECT_EQ(testing::readFile(store.file("token")), "pelix_abc");
    const std::pair<QByteArray, std::optional<QString>> cases[] = {
        {"  pelix_abc \r\n\t", "pelix_abc"},
        {" \n\t ", std::nullopt},
        // A line break inside would add a header to every request.
        {"pelix_x\r\nX-Evil: injected", std::nullopt},
        {"bearer pelix_x", std::nullopt},
    };
    for (const auto& [file, token] : cases) {
        testing::writeFile(dir.filePath("data/Pelix"), "token", file);
        EXPECT_EQ(store.read(), token) << file.toStdString();
    }
}

}  // namespace
}  // namespace pelix::service
