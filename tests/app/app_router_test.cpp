// The AppRouter's road of a recording, with a fake recorder, shell and timers, and the
// loopback backend in place of the service.
#include "app/AppRouter.h"
#include "app/Menu.h"
#include "braindump/Braindump.h"
#include "core/Sentences.h"
#include "fakes/AppFakes.h"
#include "fakes/BackendRig.h"

namespace pelix::app {
namespace {

constexpr int kA = Mods::kAlt, kC = Mods::kControl;
const platform::OtherInput kEscape{true, 0xff1b, 0};
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
                .switchRelay = [this](bool on) { relaySwitched << on; },
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
    // Waits for the next upload's answer and returns the line shown.
    QString answered() {
        const int before = answers;
        app();
        EXPECT_TRUE(testing::waitUntil([&] { return answers > before; }));
        return shell.lines.value(shell.lines.size() - 1);
    }
    void dictateWith(fakes::FakeDictation& live) {
        dictation = &live;
        router.reset();
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
    QList<bool> relaySwitched;
};

// The tray's end-to-end test checks the request's key, name and context; here, that the
// recorder's own file is what goes, and the sounds and looks on the way.
TEST_F(AppRouterTest, TwoTapsSendTheRecordersFileWithSoundsAndLooksOnTheWay) {
    tapAlt(100);
    ASSERT_TRUE(app().recording());
    EXPECT_EQ(shell.look, ui::TrayLook::recording);
    tapAlt(102.1);
    EXPECT_EQ(answered(), "In Pelix");
    const QJsonObject body = sent("braindump").value(0);
    EXPECT_EQ(QByteArray::fromBase64(body["audio_base64"].toString().toLatin1()), recorder.content);
    EXPECT_EQ(body["filename"].toString(), QFileInfo(recorder.path).fileName());
    EXPECT_FALSE(QFile::exists(recorder.path));
    EXPECT_EQ(shell.sounds, (std::vector{ui::Sound::begin, ui::Sound::end}));
    EXPECT_EQ(shell.look, ui::TrayLook::idle);
}

TEST_F(AppRouterTest, RecordingsUnderTheMinimumAreDeletedAndNeverSent) {
    for (const double seconds : {0.79, 0.8}) {
        shell.lines.clear();
        const double start = clock.uptime() + 10;
        flags(kA, start - 0.1);
        flags(0, start);  // the start is the release
        ASSERT_TRUE(app().recording());
        timers.advanceTo(start + seconds);
        app().endRecording();  // a tap would be ignored inside the settle time
        if (seconds < 0.8) {
            EXPECT_EQ(shell.lines, QStringList{core::sentences::kTooShort});
            EXPECT_FALSE(QFile::exists(recorder.path));
        }
    }
    EXPECT_TRUE(backend.waitFor("braindump", 1));
    testing::pause(100);
    EXPECT_EQ(backend.requests("braindump").size(), 1);
}

TEST_F(AppRouterTest, AnUnreadableRecordingOrTokenIsSaidAndNothingIsSent) {
    app().upload(home.path() + "/pelix-1.m4a", 2);  // no such file
    EXPECT_TRUE(testing::waitUntil([&] { return !shell.lines.isEmpty(); }));
    signOut();
    QFile(home.path() + "/pelix-2.m4a").open(QIODevice::WriteOnly);
    app().upload(home.path() + "/pelix-2.m4a", 2);
    EXPECT_TRUE(testing::waitUntil([&] { return shell.lines.size() == 2; }));
    EXPECT_EQ(shell.lines, QStringList(2, core::sentences::kRecordingUnreadable));
    testing::pause(100);
    EXPECT_TRUE(backend.requests("braindump").isEmpty());
}

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

TEST_F(AppRouterTest, EscapeDropsTheRecordingOtherKeysDoNot) {
    tapAlt(100);
    app().otherInput(kLetter);
    EXPECT_TRUE(app().recording());
    app().otherInput(kEscape);
    EXPECT_FALSE(app().recording());
    EXPECT_EQ(recorder.cancels, 1);
    EXPECT_EQ(timers.pending(), 0);
    tapAlt(100.5);  // the next tap starts anew
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
        EXPECT_FALSE(app().recording());
        EXPECT_FALSE(app().gesture().recordingSince.has_value());
        EXPECT_EQ(timers.pending(), 0);
        EXPECT_EQ(shell.lines, QStringList{line});
        EXPECT_EQ(shell.look, ui::TrayLook::idle);
        EXPECT_EQ(recorder.starts, 0);
    }
}

TEST_F(AppRouterTest, HoldingCtrlDictatesUntilReleased) {
    fakes::FakeDictation live;
    dictateWith(live);
    flags(kC, 100);
    timers.advanceTo(100.27);
    EXPECT_EQ(live.starts, 0);
    timers.advanceTo(100.28);
    EXPECT_EQ(live.starts, 1);
    EXPECT_TRUE(app().recording());
    EXPECT_FALSE(app().fileIt());
    flags(0, 101);
    EXPECT_FALSE(app().recording());
    EXPECT_EQ(live.finishes, 1);

    // A hold let go early leaves no timer; Ctrl+letter is a shortcut, not a hold.
    flags(kC, 102);
    flags(0, 102.2);
    EXPECT_FALSE(app().holdTimerPending());
    flags(kC, 105);
    app().otherInput(kLetter);
    timers.advanceTo(106);
    EXPECT_EQ(live.starts, 1);
    EXPECT_EQ(recorder.starts, 0);
}

TEST_F(AppRouterTest, CtrlWithTheAltTapStartsATypedRecording) {
    fakes::FakeDictation live;
    dictateWith(live);
    flags(kA, 100);
    flags(kA | kC, 100.05);
    flags(kC, 100.1);
    EXPECT_TRUE(app().recording());
    EXPECT_FALSE(app().fileIt());
    EXPECT_EQ(live.starts, 1);
    flags(0, 100.2);  // letting go of Ctrl does not end a tap-started recording
    EXPECT_TRUE(app().recording());
    app().otherInput(kEscape);
    EXPECT_EQ(live.cancels, 1);
    EXPECT_EQ(recorder.starts, 0);
}

TEST_F(AppRouterTest, LinksConnectOnlyWithAPelixKey) {
    const QString connected = core::sentences::kConnected,
                  notAKey = core::sentences::kLinkWithoutKey;
    const std::tuple<const char*, std::optional<QString>, QString> cases[] = {
        {"pelix-mac://connect?token=pelix_new", "pelix_new", connected},
        {"PELIX-MAC://Connect?token=pelix_caps", "pelix_caps", connected},
        {"pelix-mac://connect?token=abc", std::nullopt, notAKey},
        {"pelix-mac://connect?token=pelix_x%0D%0AX-Evil:%20injected", std::nullopt, notAKey},
        {"pelix-mac://connect", std::nullopt, notAKey},
        {"https://connect?token=pelix_web", std::nullopt, {}},
        {"pelix-mac://somewhere?token=pelix_x", std::nullopt, {}},
        {"pelix-mac://editor", std::nullopt, {}},
    };
    for (const auto& [link, stored, line] : cases) {
        signOut();
        shell.lines.clear();
        app().openLink(QUrl(link));
        EXPECT_EQ(tokens.read(), stored) << link;
        EXPECT_EQ(shell.lines.join(""), line) << link;
    }
    // Each stored key fetches the insights with it; the two requests may arrive in either order.
    ASSERT_TRUE(backend.waitFor("insights", 2));
    QStringList keys;
    for (const auto& request : backend.requests("insights")) {
        keys << request.headers.value("authorization");
    }
    keys.sort();
    EXPECT_EQ(keys, (QStringList{"Bearer pelix_caps", "Bearer pelix_new"}));
}

// A link may come from any page or program: one that would replace the stored key asks first.
TEST_F(AppRouterTest, AConnectLinkAsksBeforeReplacingTheKeyItFinds) {
    const struct {
        const char* what;
        std::optional<QString> before;
        std::optional<PromptAnswer> answer;  // none: no question
        QString after;
        QString line;
    } cases[] = {
        {"signed out", std::nullopt, std::nullopt, "pelix_new", core::sentences::kConnected},
        {"the same key", "pelix_new", std::nullopt, "pelix_new", core::sentences::kConnected},
        {"another key, replaced", "pelix_old", PromptAnswer::accept, "pelix_new",
         core::sentences::kConnected},
        {"another key, kept", "pelix_old", PromptAnswer::reject, "pelix_old",
         core::sentences::kKeptKey},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        signOut();
        if (c.before) tokens.write(*c.before);
        shell.lines.clear();
        shell.prompts.clear();
        app().openLink(QUrl("pelix-mac://connect?token=pelix_new"));
        ASSERT_EQ(shell.prompts.size(), c.answer ? 1u : 0u);
        if (c.answer) {
            EXPECT_EQ(shell.prompts[0].title, core::sentences::kReplaceKeyTitle);
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
    ASSERT_TRUE(app().recording());
    EXPECT_TRUE(app().fileIt());
    EXPECT_TRUE(panel.recording());
    timers.advance(2);
    panel.tapMic();
    EXPECT_FALSE(app().recording());
    EXPECT_FALSE(panel.recording());
    EXPECT_EQ(answered(), "In Pelix");
    EXPECT_EQ(panel.bubbles().constLast().text, "In Pelix");
    // The insights follow two seconds after a braindump is filed, not before.
    timers.advance(1.9);
    QCoreApplication::processEvents();
    EXPECT_TRUE(backend.requests("insights").isEmpty());
    timers.advance(0.1);
    ASSERT_TRUE(backend.waitFor("insights", 1));

    // A refused braindump shows its sentence there too, and asks for no insights.
    backend.answer("braindump", fakes::Reply::json({{"error", "Too much at once."}}, 429));
    panel.tapMic();
    timers.advance(2);
    panel.tapMic();
    ASSERT_TRUE(testing::waitUntil([&] { return answers == 2; }));
    EXPECT_EQ(panel.bubbles().constLast().text, "Too much at once.");
    timers.advance(10);
    QCoreApplication::processEvents();
    EXPECT_EQ(backend.requests("insights").size(), 1);
}

TEST_F(AppRouterTest, TheTypingAndRelaySwitchesFlipTheirPreferenceAndTick) {
    const auto ticked = [this](MenuAction action) {
        DesktopFacts facts;
        facts.insertIntoApp = prefs.insertIntoApp();
        facts.relay = prefs.relay();
        return std::ranges::any_of(menuItems(facts), [&](const MenuItem& item) {
            return item.action == action && item.checked;
        });
    };
    for (const MenuAction action : {MenuAction::toggleInsert, MenuAction::toggleRelay}) {
        EXPECT_TRUE(ticked(action));
        app().perform(action);
        EXPECT_FALSE(ticked(action));
        app().perform(action);
        EXPECT_TRUE(ticked(action));
    }
    EXPECT_EQ(relaySwitched, (QList<bool>{false, true}));
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
            if (item.action == MenuAction::keysOff) {
                EXPECT_TRUE(section.isEmpty()) << "the warning comes first";
            }
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
    ASSERT_EQ(shell.prompts.size(), 1u);
    EXPECT_EQ(shell.prompts[0].title, "Sign in to Pelix");
    EXPECT_EQ(shell.prompts[0].reject, "Later");
    shell.answerPrompt(PromptAnswer::accept);
    EXPECT_EQ(opened, QList<QUrl>{QUrl(AppRouter::kSignInPage)});
    EXPECT_EQ(shell.lines.value(0), "Finish signing in in your browser.");

    // The second time the title says "again"; the other button asks for a key.
    app().promptToSignIn();
    ASSERT_EQ(shell.prompts.size(), 2u);
    EXPECT_EQ(shell.prompts[1].title, "Sign in to Pelix again");
    EXPECT_EQ(shell.prompts[1].reject, "Cancel");
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

    // Later (or closing the alert) does nothing more.
    app().promptToSignIn();
    shell.answerPrompt(PromptAnswer::reject);
    EXPECT_EQ(opened.size(), 1);
    EXPECT_EQ(shell.secretLabels.size(), 1);
}

TEST_F(AppRouterTest, ThePermissionReportShowsALinePerCheckAndLoginFollowsTheSwitch) {
    facts.keysSeen = true;
    facts.program = "/usr/bin/pelix";
    app().perform(MenuAction::checkPermissions);
    ASSERT_EQ(shell.reports.size(), 1u);
    EXPECT_EQ(shell.reports[0].second, permissionLines(facts));

    app().perform(MenuAction::openAtLogin);
    EXPECT_TRUE(autostart.on);
    EXPECT_EQ(autostart.program, "/usr/bin/pelix");
    EXPECT_EQ(shell.lines.last(), "Pelix will open at login.");
    app().perform(MenuAction::openAtLogin);
    EXPECT_FALSE(autostart.on);

    autostart.failWith = Error{"pelix", 1, "The folder is read-only."};
    app().perform(MenuAction::openAtLogin);
    EXPECT_EQ(shell.lines.last(), "Couldn't change that: The folder is read-only.");
}

TEST(PermissionReport, AWaylandSessionSaysWhatEachPathNeeds) {
    DesktopFacts wayland;
    wayland.wayland = true;
    wayland.program = "/usr/bin/pelix";
    // Keyboards there, none readable: the report names the command that fixes it.
    wayland.inputDevices = 3;
    QStringList lines = permissionLines(wayland);
    ASSERT_EQ(lines.size(), 8);
    EXPECT_EQ(lines[2],
              "Alt key: NOT seen - Pelix may not read the keyboards: run sudo usermod -aG input "
              "$USER, then log out and in again");
    // GNOME: no virtual keyboard, no data control, no window list.
    EXPECT_TRUE(lines[3].startsWith("Typing: NOT possible"));
    EXPECT_TRUE(lines[4].startsWith("Pasting: NOT possible"));
    EXPECT_TRUE(lines[5].startsWith("App in front: unknown"));
    // GNOME with its portal: typing through it, the application from the accessibility bus.
    wayland.typing = wayland.typingPortal = wayland.frontByAccessibility = true;
    EXPECT_EQ(permissionLines(wayland).mid(3, 3),
              (QStringList{"Typing: possible (typing through the remote-desktop portal; the "
                           "desktop asks once)",
                           "Pasting: NOT possible - this Wayland desktop keeps the clipboard from "
                           "applications in the background",
                           "App in front: known (the accessibility bus names the focused "
                           "application)"}));
    wayland.typing = wayland.typingPortal = wayland.frontByAccessibility = false;

    wayland.inputDevices = 0;
    EXPECT_EQ(permissionLines(wayland)[2],
              "Alt key: NOT seen - no keyboard was found under /dev/input");

    // A wlroots desktop for a user in the input group.
    wayland.inputDevices = wayland.inputReadable = 2;
    wayland.keysSeen = wayland.typing = wayland.pasting = wayland.frontKnown = true;
    lines = permissionLines(wayland);
    EXPECT_EQ(lines.mid(2, 4), (QStringList{"Alt key: seen (the keyboards under /dev/input)",
                                            "Typing: possible (the compositor's virtual keyboard)",
                                            "Pasting: possible (the compositor's data control)",
                                            "App in front: known (the compositor's window list)"}));
}

}  // namespace
}  // namespace pelix::app
