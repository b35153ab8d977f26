// The pelix program's modes that run without a desktop: the arguments, the clean-up filter and
// --call against the loopback backend.
#include "fakes/HostileServer.h"
#include "fakes/LoopbackBackend.h"
#include "support/TestSupport.h"

namespace pelix::app {
namespace {

using fakes::Reply;
using testing::runPelix;

QProcessEnvironment withEnv(std::initializer_list<std::pair<QString, QString>> values) {
    QProcessEnvironment env;
    for (const auto& [name, value] : values) env.insert(name, value);
    return env;
}

TEST(Cli, ArgumentsMatchAnywhereAndInOrder) {
    const struct {
        QStringList args;
        int exitCode;
        QByteArray outStart;
        QByteArray errStart;
    } cases[] = {
        // Found in any position; the self-test comes before the editor.
        {{"--edit", "lines", "--self-test", "words"}, 0, "words: 17 ok\n", ""},
        // The self-test needs "words" right after it; without it, the next mode is tested.
        {{"--self-test", "lines", "--help"}, 0, "Usage: pelix", ""},
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

// Every mode and option that takes a value says so when the value is missing (the word is last,
// or another option follows it), before anything runs: no tray, no panel, no backend.
TEST(Cli, AWordWithoutItsValueIsAUsageError) {
    const struct {
        QStringList args;
        const char* said;  // the word and its value as the usage names them
    } cases[] = {
        {{"--transcribe"}, "--transcribe PATH"},
        {{"--transcribe", "talk.mp4", "--lang"}, "--lang LOCALE"},
        {{"--lang", "--transcribe", "talk.mp4"}, "--lang LOCALE"},
        {{"--transcribe", "talk.mp4", "--engine"}, "--engine local|server"},
        {{"--memo", "--piece", "30"}, "--memo PATH"},
        {{"--memo", "talk.m4a", "--piece"}, "--piece SECONDS"},
        {{"--memo", "talk.m4a", "--token"}, "--token TOKEN"},
        {{"--self-test"}, "--self-test words"},
        {{"--call"}, "--call FUNCTION"},
        {{"--snapshot"}, "--snapshot DIR"},
        {{"--import-notes", "--from"}, "--from FILE"},
        {{"--import-notes", "--command", "--from", "notes.json"}, "--command CMD"},
        {{"--edit", "new", "clip.mp4", "--name"}, "--name NAME"},
        {{"--edit", "new", "clip.mp4", "--format", "--name", "x"}, "--format FORMAT"},
        {{"--edit", "export", "Morning", "--out"}, "--out FILE"},
        {{"--edit", "export", "Morning", "--scale"}, "--scale F"},
        {{"--edit", "style", "--set"}, "--set FILE"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.args.join(' ').toStdString());
        const auto r = runPelix(c.args, {}, withEnv({{"DISPLAY", ":97"}}));
        EXPECT_EQ(r.exitCode, 2);
        EXPECT_TRUE(r.out.isEmpty());
        const QString word = QString::fromUtf8(c.said).section(' ', 0, 0);
        EXPECT_EQ(r.err.toStdString(),
                  ("Pelix's option " + word + " needs a value after it: " + c.said + ".\n")
                      .toStdString());
    }
}

// Without a mode Pelix starts the tray; without a display that answers, one sentence says so
// instead of Qt ending the process.
TEST(Cli, AMissingOrSilentDisplayIsOneSentence) {
    const std::pair<QProcessEnvironment, QByteArray> cases[] = {
        {withEnv({{"DISPLAY", ":97"}, {"QT_QPA_PLATFORM", ""}}),
         "the display :97 does not answer (is its X server running?)"},
        {withEnv({{"DISPLAY", ""}, {"WAYLAND_DISPLAY", ""}, {"QT_QPA_PLATFORM", ""}}),
         "there is none here ($DISPLAY is not set)"},
    };
    for (const auto& [env, problem] : cases) {
        testing::IsolatedHome home;
        const auto r = runPelix({}, {}, env, 10000);
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_EQ(r.err, "Pelix lives in the tray of a desktop session, and " + problem +
                             "; pelix --help lists what runs without one.\n");
    }
}

TEST(Cli, CleanUpFiltersStandardInput) {
    const std::pair<QByteArray, QByteArray> cases[] = {
        {"Actually, it was, actually, fine.", "It was, fine."},
        // Untouched text comes back byte for byte, invalid UTF-8 and double spaces included.
        {"no  change\r\n\xff\xfe", "no  change\r\n\xff\xfe"},
        {"line one\nactually line two\n", "line one\nLine two\n"},
    };
    for (const auto& [in, out] : cases) {
        const auto r = runPelix({"--clean-up"}, in);
        EXPECT_EQ(r.exitCode, 0);
        EXPECT_EQ(r.out, out);
    }
}

class CallTest : public ::testing::Test {
protected:
    testing::ProcessResult call(const QStringList& args, const QString& base = {}) {
        return runPelix(
            QStringList{"--call"} + args, {},
            withEnv({{"PELIX_API_BASE", base.isEmpty() ? backend.base().toString() : base}}));
    }
    void storeToken(const QByteArray& token) { testing::writeFile(home.dataDir(), "token", token); }

    testing::IsolatedHome home;
    fakes::LoopbackBackend backend;
};

TEST_F(CallTest, SendsTheBodyWithTheStoredOrGivenKeyAndPrintsTheAnswer) {
    storeToken("pelix_cli\n");
    backend.answer("insights", Reply::json({{"insights", QJsonArray{}}}));
    const auto r = call({"insights", "{}"});
    EXPECT_EQ(r.exitCode, 0) << r.err.toStdString();
    EXPECT_EQ(QJsonDocument::fromJson(r.out).object(), (QJsonObject{{"insights", QJsonArray{}}}));
    EXPECT_EQ(call({"organize", R"({"text":"milk"})", "--token", "pelix_given"}).exitCode, 0);

    const auto seen = backend.requests();
    ASSERT_EQ(seen.size(), 2);
    EXPECT_EQ(seen[0].headers.value("authorization"), "Bearer pelix_cli");
    EXPECT_EQ(seen[1].body, R"({"text":"milk"})");
    EXPECT_EQ(seen[1].headers.value("authorization"), "Bearer pelix_given");
}

TEST_F(CallTest, FailuresAreOneSentenceOnStandardError) {
    backend.answer("chat", Reply::json({{"error", "Your plan has run out."}}, 402));
    const struct {
        QStringList args;
        bool signedIn;
        QByteArray err;
    } cases[] = {
        {{"chat", "{}"}, false, "Sign in first: tray icon → Sign in…\n"},
        {{"chat", "{}", "--token", "pelix_x\r\nX-Evil: 1"},
         false,
         "Couldn't use the key given with --token: a Pelix key begins pelix_ and holds only "
         "letters, digits, dots, dashes and underscores.\n"},
        {{"chat", "{}"}, true, "Your plan has run out.\n"},
        {{"chat", "[1]"},
         true,
         "The body of --call must be a JSON object, like '{\"key\":\"value\"}'.\n"},
    };
    for (const auto& c : cases) {
        if (c.signedIn) storeToken("pelix_cli");
        const auto r = call(c.args);
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_EQ(r.err, c.err);
        EXPECT_TRUE(r.out.isEmpty());
    }
    // Nothing went out without a usable key.
    EXPECT_EQ(backend.requests().size(), 1);
}

// A refusal's body is still shown, but the command fails: a script must not take it as done.
TEST_F(CallTest, ARefusalIsShownAndFails) {
    storeToken("pelix_cli");
    const struct {
        fakes::HostileServer::Script script;
        QByteArray out, err;
        int exitCode;
    } cases[] = {
        {fakes::HostileServer::badGatewayPage(), "{\n}\n",
         "Pelix answered 502 and did not say it was done.\n", 1},
        {fakes::HostileServer::invalidJwt(),
         "{\n    \"code\": 401,\n    \"message\": \"Invalid JWT\"\n}\n",
         "Pelix answered 401 and did not say it was done.\n", 1},
        {fakes::HostileServer::answer(200, "text/html", "<p>portal</p>"), "{\n}\n", "", 0},
    };
    for (const auto& c : cases) {
        fakes::HostileServer server(c.script);
        const auto r = call({"chat", "{}"}, server.base().toString());
        EXPECT_EQ(r.exitCode, c.exitCode);
        EXPECT_EQ(r.out.toStdString(), c.out.toStdString());
        EXPECT_EQ(r.err.toStdString(), c.err.toStdString());
    }
}

TEST_F(CallTest, TransportFailuresSayPelixCouldNotBeReached) {
    storeToken("pelix_cli");
    const std::pair<const char*, QByteArray> cases[] = {
        {"http://127.0.0.1:1", "Couldn't reach Pelix: Connection refused.\n"},
        {"http://10.255.255.1",
         "Couldn't reach Pelix: http://10.255.255.1 is plain http to another computer, which "
         "would show your key to the network; use https (plain http is only for this "
         "computer).\n"},
        {"api.pelix.app",
         "Couldn't reach Pelix: \"api.pelix.app\" is not a web address Pelix can use; it begins "
         "https://.\n"},
    };
    for (const auto& [base, err] : cases) {
        const auto r = call({"chat", "{}"}, base);
        EXPECT_EQ(r.exitCode, 1) << base;
        EXPECT_EQ(r.err.toStdString(), err.toStdString());
    }
}

}  // namespace
}  // namespace pelix::app
