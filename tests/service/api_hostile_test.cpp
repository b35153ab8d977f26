// The service client against servers that misbehave on purpose: every failure is one sentence,
// limits hold, and the token goes nowhere but the configured address.

#include "core/Sentences.h"
#include "fakes/BackendRig.h"
#include "fakes/HostileServer.h"

#include <QElapsedTimer>
#include <QSslKey>
#include <QSslServer>
#include <QSslSocket>

namespace pelix::service {
namespace {

using fakes::HostileServer;

qint64 peakMegabytes() {
    QFile status("/proc/self/status");
    if (!status.open(QIODevice::ReadOnly)) return -1;
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmHWM:"))
            return line.mid(6).trimmed().split(' ').value(0).toLongLong() / 1024;
    }
    return -1;
}

struct Outcome {
    Result<QJsonObject> answer = fail(-1, "no answer");
    double seconds = 0;
};

class HostileApiTest : public ::testing::Test, protected fakes::BackendRig {
protected:
    HostileApiTest() : BackendRig("pelix_secret_token") {}

    Outcome call(const QUrl& base, double limit, std::optional<Needs> needs = std::nullopt) {
        Api client(base, tokens, &network, &clock);
        std::optional<Result<QJsonObject>> answer;
        QElapsedTimer elapsed;
        elapsed.start();
        auto done = [&](Result<QJsonObject> r) { answer = r; };
        if (needs) {
            client.call("f", {{"x", 1}}, std::nullopt, limit, *needs, done);
        } else {
            client.call("f", {{"x", 1}}, std::nullopt, limit, done);
        }
        EXPECT_TRUE(testing::waitUntil([&] { return answer.has_value(); }, 30000));
        return Outcome{answer.value_or(fail(-1, "no answer")), double(elapsed.elapsed()) / 1000};
    }

    // A transport failure shown to the user is one sentence naming Pelix, with no token in it.
    static void expectOneSentence(const Error& error) {
        const QString shown = Api::describe(error);
        EXPECT_TRUE(shown.startsWith(core::sentences::kCouldntReachPelix)) << shown.toStdString();
        EXPECT_TRUE(shown.endsWith('.')) << shown.toStdString();
        EXPECT_FALSE(shown.contains("secret")) << shown.toStdString();
        EXPECT_EQ(shown.count(". "), 0) << shown.toStdString();
    }
};

TEST_F(HostileApiTest, RedirectsAreAnswersAndTheTokenStaysHome) {
    QUrl stolen = backend.base();
    stolen.setPath("/stolen");
    for (const int status : {301, 302, 303, 307, 308}) {
        SCOPED_TRACE(status);
        HostileServer server(HostileServer::redirect(status, stolen));
        const Outcome o = call(server.base(), 10);
        // A JSON object without "error" is a success whatever the status.
        ASSERT_TRUE(o.answer.has_value()) << o.answer.error().message.toStdString();
        EXPECT_EQ(o.answer->value("moved").toBool(), true);
        ASSERT_EQ(server.requests().size(), 1);
        EXPECT_EQ(server.requests()[0].method, "POST");
    }
    EXPECT_TRUE(backend.requests().isEmpty());
}

// A caller that acts on an answer takes only one that carries what it needs; a caller that needs
// nothing does not take a gateway's refusal as done. The client itself stays lenient. (Gateway
// pages and invalid JWTs are refused through the callers' own tests: --call, --edit, memos.)
TEST_F(HostileApiTest, AnActingCallerTakesOnlyAnAnswerThatCarriesWhatItNeeds) {
    const Needs plan = Needs::one("the edit plan", "cut", QJsonValue::Array);
    const auto json = [](int status, const char* body) {
        return HostileServer::answer(status, "application/json", body);
    };
    const struct {
        const char* name;
        HostileServer::Script script;
        std::optional<Needs> needs;
        // Empty: taken.
        QString refusal;
    } cases[] = {
        {"lenient client, 502 page", HostileServer::badGatewayPage(), std::nullopt, {}},
        {"plan, 200 without it", json(200, R"({"reply":"Sure."})"), plan,
         "Pelix answered 200 without the edit plan, so nothing was changed."},
        {"plan, of the wrong kind", json(200, R"({"cut":"all"})"), plan,
         "Pelix answered 200 without the edit plan, so nothing was changed."},
        {"plan, carried", json(200, R"({"cut":[]})"), plan, {}},
        {"plan, the backend's own error", json(401, R"({"error":"Token expired."})"), plan,
         "Token expired."},
        {"nothing, 403 msg", json(403, R"({"msg":"Forbidden"})"), Needs::nothing(),
         "Pelix answered 403 and did not say it was done."},
        {"nothing, 404 page",
         HostileServer::answer(404, "text/html", "<h1>no</h1>"),
         Needs::nothing(),
         {}},
        {"filing, null result", json(200, R"({"result":null})"), Needs::filing(),
         "Pelix answered 200 without the filing's id, so nothing was changed."},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        HostileServer server(c.script);
        const Outcome o = call(server.base(), 10, c.needs);
        if (c.refusal.isEmpty()) {
            EXPECT_TRUE(o.answer.has_value()) << o.answer.error().message.toStdString();
        } else {
            ASSERT_FALSE(o.answer.has_value());
            EXPECT_EQ(Api::describe(o.answer.error()), c.refusal);
            EXPECT_FALSE(Api::isTransport(o.answer.error()));
        }
    }
}

// An answer, its headers or one line of a chunked frame's trailers that never ends is cut off at
// its limit, which the sentence names; the rest is what the sockets' buffers held, and memory grew
// by a few copies of it at most, sanitizer's quarantine included.
TEST_F(HostileApiTest, WhatNeverEndsIsCutOffAtItsLimitWithBoundedMemory) {
    const std::pair<HostileServer::Script, QString> cases[] = {
        {HostileServer::endless(), QStringLiteral(" %1 MB").arg(Api::kAnswerLimit >> 20)},
        {HostileServer::endlessHeaders(),
         QStringLiteral(" %1 KB").arg(HttpExchange::kHeaderLimit >> 10)},
        {HostileServer::endlessTrailer(),
         QStringLiteral(" %1 KB").arg(HttpExchange::kLineLimit >> 10)},
    };
    for (const auto& [script, limit] : cases) {
        SCOPED_TRACE(limit.toStdString());
        HostileServer server(script);
        const qint64 before = peakMegabytes();
        const Outcome o = call(server.base(), 30);
        ASSERT_FALSE(o.answer.has_value());
        EXPECT_EQ(o.answer.error().code, Api::kTooLarge);
        EXPECT_TRUE(o.answer.error().message.contains(limit))
            << o.answer.error().message.toStdString();
        expectOneSentence(o.answer.error());
        EXPECT_LT(server.bytesSent(), 4 * Api::kAnswerLimit);
        EXPECT_LT(peakMegabytes() - before, 400);
    }
}

TEST_F(HostileApiTest, AnAnswerCutShortIsATransportFailure) {
    const QByteArray body = R"({"text":"the whole answer is longer than this"})";
    for (const auto& [name, script] :
         {std::pair{"content length", HostileServer::cutShort(body, 10)},
          std::pair{"chunked", HostileServer::chunkedCutShort()}}) {
        SCOPED_TRACE(name);
        HostileServer server(script);
        const Outcome o = call(server.base(), 10);
        ASSERT_FALSE(o.answer.has_value());
        expectOneSentence(o.answer.error());
    }
    HostileServer whole(HostileServer::cutShort(body, int(body.size())));
    const Outcome o = call(whole.base(), 10);
    ASSERT_TRUE(o.answer.has_value());
    EXPECT_EQ(o.answer->value("text").toString(), "the whole answer is longer than this");
}

TEST_F(HostileApiTest, OnlyLoopbackMayUsePlainHttp) {
    const std::pair<const char*, bool> cases[] = {
        {"https://api.pelix.app", true},
        {"http://127.0.0.1:9", true},
        {"http://[::1]:9", true},
        {"http://localhost:9/x", true},
        {"http://10.255.255.1", false},
        {"http://api.pelix.app", false},
        {"http://127.0.0.1.evil.example", false},
        {"ftp://127.0.0.1", false},
        {"localhost:9", false},
        {"https://", false},
    };
    for (const auto& [base, allowed] : cases) {
        const auto why = Api::unsafeBase(QUrl(base));
        EXPECT_EQ(!why.has_value(), allowed) << base;
        EXPECT_TRUE(why.value_or(".").endsWith('.')) << base;
    }
    // Refused before anything is sent: the answer comes at once.
    const Outcome o = call(QUrl("http://10.255.255.1"), 30);
    ASSERT_FALSE(o.answer.has_value());
    EXPECT_EQ(o.answer.error().code, Api::kUnsafeBase);
    EXPECT_LT(o.seconds, 1.0);
    expectOneSentence(o.answer.error());
}

// TLS verification stays on: a server with a certificate nobody vouches for gets a handshake
// and nothing more.
TEST_F(HostileApiTest, AServerWithAnUntrustedCertificateGetsNoRequest) {
    QTemporaryDir keys;
    ASSERT_TRUE(testing::makeCertificate(keys.path()));
    QSslConfiguration tls = QSslConfiguration::defaultConfiguration();
    tls.setLocalCertificate(QSslCertificate(testing::readFile(keys.filePath("cert.pem"))));
    tls.setPrivateKey(QSslKey(testing::readFile(keys.filePath("key.pem")), QSsl::Rsa));
    QSslServer server;
    server.setSslConfiguration(tls);
    ASSERT_TRUE(server.listen(QHostAddress::LocalHost));
    QByteArray received;
    QObject::connect(&server, &QTcpServer::pendingConnectionAvailable, [&] {
        while (QTcpSocket* socket = server.nextPendingConnection()) {
            QObject::connect(socket, &QIODevice::readyRead,
                             [socket, &received] { received += socket->readAll(); });
        }
    });
    const Outcome o =
        call(QUrl(QStringLiteral("https://127.0.0.1:%1").arg(server.serverPort())), 10);
    ASSERT_FALSE(o.answer.has_value());
    EXPECT_EQ(o.answer.error().domain, "network");
    expectOneSentence(o.answer.error());
    EXPECT_TRUE(received.isEmpty()) << received.toStdString();
}

}  // namespace
}  // namespace pelix::service
