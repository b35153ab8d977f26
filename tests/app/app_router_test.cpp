// The AppRouter with a fake recorder, shell and timers, and the loopback backend for the service.
#include "app/AppRouter.h"
#include "app/Menu.h"
#include "core/Sentences.h"
#include "fakes/AppFakes.h"
#include "fakes/BackendRig.h"

namespace pelix::app {
namespace {

constexpr int kA = Mods::kAlt, kC = Mods::kControl, kS = Mods::kShift;
const platform::OtherInput kLetter{true, 'a', 0};

class AppRouterTest : public ::testing::Test, protected fakes::BackendRig {
protected:
    AppRouter& app() {
        if (!router) {
            router = std::make_unique<AppRouter>(AppParts{
                .clock = clock,
                .prefs = prefs,
                .tokens = tokens,
                .api = api,
                .timers = timers,
                .recorder = recorder,
                .shell = shell,
                .autostart = autostart,
                .openUrl = [this](const QUrl& url) { return opened << url, true; },
                .dictation = dictation,
                .facts = [this] { return facts; },
                .switchRelay = [](bool) {},
            });
            QObject::connect(router.get(), &AppRouter::uploaded, [this] { ++answers; });
        }
        return *router;
    }

    void flags(int mods, double at) {
        timers.advanceTo(at);
        app().modifiersChanged(Mods{mods}, at);
    }
    void tapAlt(double at) {
        flags(kA, at);
        flags(0, at + 0.1);
    }

    fakes::ManualTimers timers{clock};
    fakes::FakeRecorder recorder{clock, home.path()};
    fakes::FakeShell shell;
    fakes::FakeAutostart autostart;
    QList<QUrl> opened;
    DesktopFacts facts;
    Dictation* dictation = nullptr;
    std::unique_ptr<AppRouter> router;
    int answers = 0;
};

TEST_F(AppRouterTest, TheTimeLimitEndsAndFilesTheRecording) {
    tapAlt(100);
    timers.advanceTo(100.1 + 299.9);
    EXPECT_TRUE(app().recording());
    timers.advanceTo(100.1 + 300);
    EXPECT_FALSE(app().recording());
    ASSERT_TRUE(backend.waitFor("braindump", 1));
    EXPECT_EQ(sent("braindump")[0]["context"].toObject()["duration_s"].toInt(), 300);
    // The next tap starts a new recording rather than stopping the old one.
    tapAlt(500);
    EXPECT_TRUE(app().recording());
}

TEST_F(AppRouterTest, StartsThatFailLeaveNoRecordingState) {
    const std::pair<std::optional<Error>, QString> cases[] = {
        {std::nullopt, core::sentences::kSetTokenFirst},  // signed out
        {Error::pelix(1, "There is no microphone."),
         "Couldn't start the microphone: There is no microphone."},
    };
    for (const auto& [microphone, line] : cases) {
        SCOPED_TRACE(line.toStdString());
        signOut();
        if (microphone) tokens.write("pelix_test");
        recorder.failWith = microphone;
        router.reset();
        shell.lines.clear();
        tapAlt(clock.uptime() + 10);
        EXPECT_FALSE(app().recording() || app().gesture().recordingSince || timers.pending());
        EXPECT_EQ(shell.lines, QStringList{line});
        EXPECT_EQ(shell.look, ui::TrayLook::idle);
    }
}

TEST_F(AppRouterTest, HoldingCtrlDictatesUntilReleased) {
    fakes::FakeDictation live;
    dictation = &live;
    flags(kC, 100);
    timers.advanceTo(100.27);
    EXPECT_EQ(live.starts, 0);
    timers.advanceTo(100.28);
    EXPECT_EQ(live.starts, 1);
    EXPECT_TRUE(app().recording() && !app().fileIt());
    flags(0, 101);
    EXPECT_FALSE(app().recording());
    EXPECT_EQ(live.finishes, 1);

    // A hold let go early leaves no timer; Ctrl+letter and Ctrl+Shift are shortcuts, not a
    // hold, even when Shift is let go before Ctrl.
    flags(kC, 102);
    flags(0, 102.2);
    EXPECT_FALSE(app().holdTimerPending());
    flags(kC, 105);
    app().otherInput(kLetter);
    timers.advanceTo(106);
    flags(kC | kS, 107);
    flags(kC, 107.05);
    timers.advanceTo(108);
    EXPECT_EQ(live.starts, 1);
    EXPECT_EQ(recorder.starts, 0);
}

// A link may come from any page or program: only a well-formed Pelix key is taken, and one that
// would replace the stored key asks first.
TEST_F(AppRouterTest, LinksConnectOnlyWithAPelixKeyAndAskBeforeReplacingOne) {
    namespace sentences = core::sentences;
    const QString link = "pelix-mac://connect?token=pelix_new";
    const struct {
        QString link;
        std::optional<QString> before;
        std::optional<PromptAnswer> answer;  // none: no question
        std::optional<QString> after;
        QString line;
    } cases[] = {
        {link, std::nullopt, std::nullopt, "pelix_new", sentences::kConnected},
        {"pelix-mac://connect?token=abc", std::nullopt, std::nullopt, std::nullopt,
         sentences::kLinkWithoutKey},
        {"pelix-mac://connect?token=pelix_x%0D%0AX-Evil:%20injected", std::nullopt, std::nullopt,
         std::nullopt, sentences::kLinkWithoutKey},
        {"https://connect?token=pelix_web", std::nullopt, std::nullopt, std::nullopt, {}},
        {link, "pelix_old", PromptAnswer::accept, "pelix_new", sentences::kConnected},
        {link, "pelix_old", PromptAnswer::reject, "pelix_old", sentences::kKeptKey},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.link.toStdString());
        signOut();
        if (c.before) tokens.write(*c.before);
        shell.lines.clear();
        shell.prompts.clear();
        app().openLink(QUrl(c.link));
        ASSERT_EQ(shell.prompts.size(), c.answer ? 1u : 0u);
        if (c.answer) {
            EXPECT_EQ(tokens.read(), c.before) << "nothing changes before the answer";
            shell.answerPrompt(*c.answer);
        }
        EXPECT_EQ(tokens.read(), c.after);
        EXPECT_EQ(shell.lines.join(""), c.line);
    }
}

TEST_F(AppRouterTest, ThePanelsMicrophoneFilesABraindumpWhoseLineJoinsTheConversation) {
    panel::PanelModel& panel = app().panel();
    panel.tapMic();
    EXPECT_TRUE(app().recording() && app().fileIt() && panel.recording());
    timers.advance(2);
    panel.tapMic();
    EXPECT_FALSE(app().recording() || panel.recording());
    ASSERT_TRUE(testing::waitUntil([&] { return answers == 1; }));
    EXPECT_EQ(panel.bubbles().constLast().text, "In Pelix");
}

// Items sit under the headings a person looks for them under, whatever the desktop's state; only
// the warning that the keys are off comes before them all.
TEST(Menu, ItemsAreGroupedUnderTheirSections) {
    const QMap<QString, QString> under{
        {"Type into the app I'm in", "Recording"},
        {"Open Pelix", "Features"},
        {"Choose recordings folder…", "Features"},
        {"Set Pelix token…", "Account"},
        {"⚠ Allow Pelix to read the recordings folder…", "Features"},
        {"Quit Pelix", "Pelix"},
    };
    for (const bool problems : {false, true}) {
        DesktopFacts facts;
        facts.keysSeen = !problems;
        facts.recordingsReadable = !problems;
        QStringList sections;
        QString section;
        for (const MenuItem& item : menuItems(facts)) {
            if (item.action == MenuAction::section) sections << (section = item.text);
            EXPECT_TRUE(item.action != MenuAction::keysOff || section.isEmpty())
                << "the warning comes first";
            if (under.contains(item.text)) {
                EXPECT_EQ(section, under.value(item.text)) << item.text.toStdString();
            }
        }
        EXPECT_EQ(sections, QStringList({"Recording", "Features", "Account", "Pelix"}));
    }
}

TEST_F(AppRouterTest, TheSignInPromptOpensTheBrowserOrTakesAPastedKey) {
    signOut();
    app().promptToSignIn();
    shell.answerPrompt(PromptAnswer::accept);
    EXPECT_EQ(opened, QList<QUrl>{QUrl(AppRouter::kSignInPage)});

    // The other button asks for a key, and only a key is stored.
    app().promptToSignIn();
    shell.answerPrompt(PromptAnswer::other);
    ASSERT_EQ(shell.secretLabels, QStringList{core::sentences::kPasteTheKey});

    for (const char* bad : {"not a key", "pelix_x\r\nX-Evil: 1"}) {
        shell.enterSecret(bad);
        EXPECT_EQ(shell.lines.last(), core::sentences::kNotAKey) << bad;
        EXPECT_EQ(tokens.read(), std::nullopt);
    }
    shell.enterSecret("  pelix_pasted \n");
    EXPECT_EQ(tokens.read(), "pelix_pasted");
    EXPECT_EQ(shell.lines.last(), core::sentences::kConnected);
}

}  // namespace
}  // namespace pelix::app
