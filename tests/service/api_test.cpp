#include "core/Sentences.h"
#include "fakes/BackendRig.h"
#include "service/TokenStore.h"

namespace pelix::service {
namespace {

using fakes::Reply;

// "ok <compact JSON>" or "<domain> <code>: <message>".
QString show(const Result<QJsonObject>& r) {
    if (r) return "ok " + QString::fromUtf8(QJsonDocument(*r).toJson(QJsonDocument::Compact));
    return QStringLiteral("%1 %2: %3")
        .arg(r.error().domain)
        .arg(r.error().code)
        .arg(r.error().message);
}

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
    const std::pair<Reply, QString> cases[] = {
        // A body that is not JSON succeeds empty.
        {Reply::text("<html>", 500), "ok {}"},
        {Reply::json({{"error", "Token expired — sign in again"}}, 401),
         "pelix 401: Token expired — sign in again"},
        {Reply::json({{"error", "no"}}), "pelix 200: no"},
        // A token echoed in the error text is blanked, encoded or not.
        {Reply::json({{"error", "Key pelix_test (pelix%5Ftest) is not known."}}, 401),
         "pelix 401: Key … (…) is not known."},
        {Reply::json({{"error", 3}}), R"(ok {"error":3})"},
        {Reply::json({{"reply", "hi"}}), R"(ok {"reply":"hi"})"},
    };
    for (const auto& [reply, want] : cases) {
        backend.answer("f", reply);
        EXPECT_EQ(show(call("f")), want);
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
    EXPECT_EQ(show(call("f", {}, QString("pelix_x\r\nX-Evil: 1"))),
              QString("pelix 401: ") + core::sentences::kNotAKey);
    signOut();
    EXPECT_EQ(show(call("insights")), QString("pelix 401: ") + core::sentences::kSignInFirst);
    EXPECT_TRUE(backend.requests().isEmpty());
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
