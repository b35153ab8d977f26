// The braindump sender against the loopback backend.
#include "braindump/Braindump.h"
#include "core/Sentences.h"
#include "fakes/BackendRig.h"

namespace pelix::braindump {
namespace {

class BraindumpSenderTest : public ::testing::Test, protected fakes::BackendRig {
protected:
    // A recording of `bytes` in the home folder.
    QString recording(const QByteArray& bytes = "m4a bytes") {
        return testing::writeFile(home.path(), "pelix-1790000000.m4a", bytes);
    }
    // Sends through `through` and waits for the answer.
    Result<QString> send(BraindumpSender& through, const QString& path, double seconds = 2) {
        std::optional<Result<QString>> answer;
        through.send(path, seconds, [&](Result<QString> line) { answer = std::move(line); });
        EXPECT_TRUE(testing::waitUntil([&] { return answer.has_value(); }));
        return answer.value_or(fail(0, "no answer"));
    }

    BraindumpSender sender{api};
};

TEST_F(BraindumpSenderTest, EachAnswerGivesItsLineAndTheRecordingGoes) {
    struct Case {
        fakes::Reply reply;
        QString line;
    };
    const QList<Case> cases{
        {fakes::Reply::json({}), "In Pelix"},
        {fakes::Reply::json({{"error", "Your storage is full."}}, 200), "Your storage is full."},
        {fakes::Reply::json({{"error", "Token expired"}}, 401), "Token expired"},
        {fakes::Reply::text("", 201), "Pelix answered 201."},
        {fakes::Reply::text("<html>oops</html>", 500), "Pelix answered 500."},
    };
    for (const Case& c : cases) {
        backend.answer("braindump", c.reply);
        const QString path = recording();
        EXPECT_EQ(send(sender, path).value_or("failed"), c.line);
        EXPECT_FALSE(QFile::exists(path)) << c.line.toStdString();
    }
    const fakes::Recorded first = backend.requests("braindump").at(0);
    EXPECT_EQ(QByteArray::fromBase64(first.json.value("audio_base64").toString().toLatin1()),
              "m4a bytes");
    EXPECT_EQ(first.json.value("filename").toString(), "pelix-1790000000.m4a");

    service::Api nowhere(QUrl("http://127.0.0.1:1"), tokens, &network, &clock);
    BraindumpSender unreachable(nowhere);
    const QString path = recording();
    EXPECT_TRUE(
        send(unreachable, path).value_or("failed").startsWith(core::sentences::kCouldntReachPelix));
    EXPECT_FALSE(QFile::exists(path));
}

TEST_F(BraindumpSenderTest, AnUnreadableRecordingIsAFailureAndNothingIsSent) {
    const Result<QString> missing = send(sender, home.path() + "/pelix-1.m4a");
    ASSERT_FALSE(missing);
    EXPECT_EQ(missing.error().message, core::sentences::kRecordingUnreadable);

    signOut();
    const QString path = recording();
    EXPECT_EQ(send(sender, path).value_or("failed"), core::sentences::kRecordingUnreadable);
    EXPECT_TRUE(backend.requests("braindump").isEmpty());
}

TEST_F(BraindumpSenderTest, ASenderGoneBeforeTheAnswerCallsNoOneButTheRecordingStillGoes) {
    fakes::Reply slow = fakes::Reply::json({});
    slow.delayMs = 300;
    backend.answer("braindump", slow);
    const QString path = recording();
    bool called = false;
    {
        BraindumpSender early(api);
        early.send(path, 2, [&](Result<QString>) { called = true; });
        ASSERT_TRUE(backend.waitFor("braindump", 1));
    }
    EXPECT_TRUE(testing::waitUntil([&] { return !QFile::exists(path); }));
    EXPECT_FALSE(called);
}

}  // namespace
}  // namespace pelix::braindump
