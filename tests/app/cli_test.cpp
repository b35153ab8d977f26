// The pelix program's modes that run without a desktop, as a person or a script runs them.
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

// Every mode and option that takes a value says so when the value is missing (the word is last,
// or another option follows it), before anything runs: no tray, no panel, no backend.
TEST(Cli, AWordWithoutItsValueIsAUsageError) {
    const struct {
        QStringList args;
        const char* said;  // the word and its value as the usage names them
    } cases[] = {
        {{"--transcribe"}, "--transcribe PATH"},
        {{"--lang", "--transcribe", "talk.mp4"}, "--lang LOCALE"},
        {{"--memo", "--piece", "30"}, "--memo PATH"},
        {{"--edit", "new", "clip.mp4", "--format", "--name", "x"}, "--format FORMAT"},
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

// Without a mode Pelix starts the tray; with no display that answers, one sentence says so.
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

// Text the filter leaves alone comes back byte for byte, invalid UTF-8 and double spaces included.
TEST(Cli, CleanUpHandsUntouchedTextBackByteForByte) {
    const auto r = runPelix({"--clean-up"}, "no  change\r\n\xff\xfe");
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_EQ(r.out, "no  change\r\n\xff\xfe");
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

TEST_F(CallTest, FailuresAreOneSentenceAndNothingGoesOutWithoutAUsableKey) {
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
    // Plain http to another computer would show the key to the network.
    EXPECT_EQ(call({"chat", "{}"}, "http://10.255.255.1").err,
              "Couldn't reach Pelix: http://10.255.255.1 is plain http to another computer, which "
              "would show your key to the network; use https (plain http is only for this "
              "computer).\n");
    EXPECT_EQ(backend.requests().size(), 1);
}

// A refusal's body is still shown, but the command fails: a script must not take it as done.
TEST_F(CallTest, ARefusalIsShownAndFails) {
    storeToken("pelix_cli");
    fakes::HostileServer server(fakes::HostileServer::badGatewayPage());
    const auto r = call({"chat", "{}"}, server.base().toString());
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.out, "{\n}\n");
    EXPECT_EQ(r.err, "Pelix answered 502 and did not say it was done.\n");
}

}  // namespace
}  // namespace pelix::app
