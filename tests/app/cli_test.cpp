#include "fakes/LoopbackBackend.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

using pelix::fakes::LoopbackBackend;
using pelix::fakes::Reply;
using pelix::testing::runPelix;

namespace {

TEST(Cli, SelfTestPassesAndSaysSo) {
    const auto r = runPelix({"--self-test", "words"});
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.out, "words: 17 ok\n");
}

TEST(Cli, ArgumentsMatchAnywhereAndInOrder) {
    const struct {
        QStringList args;
        int exitCode;
        QByteArray outStart;
        QByteArray errStart;
    } cases[] = {
        // Found in any position; the self-test comes before the editor.
        {{"--edit", "lines", "--self-test", "words"}, 0, "words: 17 ok", ""},
        // The self-test needs "words" right after it; without it, the next mode is tested.
        {{"--self-test", "lines", "--help"}, 0, "Usage: pelix", ""},
        // --memo with no path after it is not selected, so the clean-up filter is next.
        {{"--clean-up", "--memo"}, 0, "", ""},
        {{"--version"}, 0, "pelix ", ""},
        {{"--frobnicate"}, 2, "", "Pelix has no option --frobnicate;"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args.join(' ').toStdString());
        const auto r = runPelix(c.args);
        EXPECT_EQ(r.exitCode, c.exitCode);
        EXPECT_TRUE(r.out.startsWith(c.outStart)) << r.out.toStdString();
        EXPECT_TRUE(r.err.startsWith(c.errStart)) << r.err.toStdString();
    }
}

// A mode whose value is missing starts the tray; when the display named does not answer, one
// sentence says so instead of Qt ending the process.
TEST(Cli, ADisplayThatDoesNotAnswerIsOneSentence) {
    QProcessEnvironment env;
    env.insert("DISPLAY", ":97");  // no X server there
    env.insert("QT_QPA_PLATFORM", "");
    const auto r = runPelix({"--transcribe"}, {}, env);
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err,
              "Pelix lives in the tray of a desktop session, and the display :97 does not answer "
              "(is its X server running?); pelix --help lists what runs without one.\n");
}

TEST(Cli, CleanUpFiltersStandardInput) {
    const struct {
        QByteArray in, out;
    } cases[] = {
        {"Actually, it was, actually, fine.", "It was, fine."},
        // Untouched text comes back byte for byte, invalid UTF-8 and double spaces included.
        {"no  change\r\n\xff\xfe", "no  change\r\n\xff\xfe"},
        {"", ""},
        {"line one\nactually line two\n", "line one\nLine two\n"},
    };
    for (const auto& c : cases) {
        const auto r = runPelix({"--clean-up"}, c.in);
        EXPECT_EQ(r.exitCode, 0);
        EXPECT_EQ(r.out, c.out);
    }
}

class CallTest : public ::testing::Test {
protected:
    pelix::testing::IsolatedHome home;
    LoopbackBackend backend;
    QProcessEnvironment env() const {
        QProcessEnvironment e;
        e.insert("PELIX_API_BASE", backend.base().toString());
        return e;
    }
    void storeToken(const QByteArray& token) {
        QDir().mkpath(home.dataDir());
        QFile f(home.dataDir() + "/token");
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write(token);
    }
};

TEST_F(CallTest, PrintsTheAnswerObject) {
    storeToken("pelix_cli\n");
    backend.answer("insights", Reply::json({{"insights", QJsonArray{}}}));
    const auto r = runPelix({"--call", "insights", "{}"}, {}, env());
    EXPECT_EQ(r.exitCode, 0) << r.err.toStdString();
    EXPECT_EQ(QJsonDocument::fromJson(r.out).object(), (QJsonObject{{"insights", QJsonArray{}}}));
    ASSERT_EQ(backend.requests("insights").size(), 1);
    EXPECT_EQ(backend.requests("insights")[0].headers.value("authorization"), "Bearer pelix_cli");
}

TEST_F(CallTest, SendsTheGivenBodyAndToken) {
    const auto r =
        runPelix({"--call", "organize", R"({"text":"milk"})", "--token", "pelix_given"}, {}, env());
    EXPECT_EQ(r.exitCode, 0) << r.err.toStdString();
    const auto seen = backend.requests("organize");
    ASSERT_EQ(seen.size(), 1);
    EXPECT_EQ(seen[0].body, R"({"text":"milk"})");
    EXPECT_EQ(seen[0].headers.value("authorization"), "Bearer pelix_given");
}

TEST_F(CallTest, FailuresAreOneSentenceOnStandardError) {
    storeToken("pelix_cli");
    backend.answer("chat", Reply::json({{"error", "Your plan has run out."}}, 402));
    const struct {
        QStringList args;
        QByteArray err;
    } cases[] = {
        {{"--call", "chat", "{}"}, "Your plan has run out.\n"},
        {{"--call", "chat", "[1]"},
         "The body of --call must be a JSON object, like '{\"key\":\"value\"}'.\n"},
    };
    for (const auto& c : cases) {
        const auto r = runPelix(c.args, {}, env());
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_EQ(r.err, c.err);
        EXPECT_TRUE(r.out.isEmpty());
    }
}

TEST_F(CallTest, TransportFailuresSayPelixCouldNotBeReached) {
    storeToken("pelix_cli");
    const struct {
        const char* base;
        QByteArray err;
    } cases[] = {
        {"http://127.0.0.1:1", "Couldn't reach Pelix: Connection refused.\n"},
        {"http://10.255.255.1",
         "Couldn't reach Pelix: http://10.255.255.1 is plain http to another computer, which "
         "would show your key to the network; use https (plain http is only for this "
         "computer).\n"},
        {"api.pelix.app",
         "Couldn't reach Pelix: \"api.pelix.app\" is not a web address Pelix can use; it begins "
         "https://.\n"},
    };
    for (const auto& c : cases) {
        QProcessEnvironment e;
        e.insert("PELIX_API_BASE", c.base);
        const auto r = runPelix({"--call", "chat", "{}"}, {}, e);
        EXPECT_EQ(r.exitCode, 1) << c.base;
        EXPECT_EQ(r.err.toStdString(), c.err.toStdString());
    }
}

TEST_F(CallTest, AKeyThatWouldAddAHeaderIsRefusedWhereItEnters) {
    const auto r = runPelix({"--call", "chat", "{}", "--token", "pelix_x\r\nX-Evil: 1"}, {}, env());
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err,
              "Couldn't use the key given with --token: a Pelix key begins pelix_ and holds only "
              "letters, digits, dots, dashes and underscores.\n");
    EXPECT_TRUE(backend.requests().isEmpty());
}

TEST_F(CallTest, WithoutATokenSaysHowToSignIn) {
    const auto r = runPelix({"--call", "insights", "{}"}, {}, env());
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err, "Sign in first: tray icon → Sign in…\n");
    EXPECT_TRUE(backend.requests().isEmpty());
}

}  // namespace
