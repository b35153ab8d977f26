#pragma once

#include "app/Gestures.h"
#include "app/Links.h"
#include "app/Menu.h"
#include "app/Shell.h"
#include "braindump/Braindump.h"
#include "braindump/Outbox.h"
#include "braindump/Recorder.h"
#include "core/Clock.h"
#include "core/Paths.h"
#include "core/Prefs.h"
#include "core/Timers.h"
#include "panel/PanelModel.h"
#include "platform/Autostart.h"
#include "platform/Keys.h"
#include "service/Api.h"
#include "service/TokenStore.h"

#include <QObject>
#include <QUrl>

#include <functional>
#include <memory>

namespace pelix::app {

class AppFeatures;

// What the application is made of, handed in by whoever starts it (the tray application, or a
// test with fakes).
struct AppParts {
    const core::Clock& clock;
    core::Prefs& prefs;
    const service::TokenStore& tokens;
    service::Api& api;
    core::Timers& timers;
    braindump::Recorder& recorder;
    Shell& shell;
    platform::Autostart& autostart;
    // Opens a web page in the user's browser.
    std::function<bool(const QUrl&)> openUrl = [](const QUrl&) { return false; };
    // Typed recordings and live dictation; none in a build without them.
    Dictation* dictation = nullptr;
    // Reads the state of the desktop for the menu and the permission report.
    std::function<DesktopFacts()> facts = [] { return DesktopFacts{}; };
    // Voice memos, notes and transcripts; none in a build without them.
    AppFeatures* features = nullptr;
    // Starts (true) or stops the relay of prompts from the phone.
    std::function<void(bool)> switchRelay = [](bool) {};
    // Where braindumps that could not reach the account wait.
    QString outboxFolder = braindump::outbox::folderIn(core::paths::dataDir());
};

// The application's hub: reads the Alt tap and the Ctrl hold, begins, ends and drops
// recordings, files braindumps, answers "pelix-mac:" links and the menu's actions. Lives on the
// main thread.
class AppRouter : public QObject {
    Q_OBJECT
public:
    // The web app's sign-in page, unless the preference "web.signIn" says otherwise.
    static constexpr auto kSignInPage = "https://pelix.app/sign-in?client=linux";

    // The alert that asks the user to sign in; "again" after the first time.
    static Prompt signInPrompt(bool again);

    explicit AppRouter(AppParts parts, QObject* parent = nullptr);
    ~AppRouter() override;

    // Every modifier change of the session, with its up-time.
    void modifiersChanged(Mods mods, double now);
    // Every other key press or click.
    void otherInput(const platform::OtherInput& input);

    void beginRecording();
    void endRecording();
    // `pelix --dictate`: starts live dictation, or ends whatever recording runs (a shortcut of
    // the desktop's running it where the keys can't be seen).
    void toggleDictation();
    void discardRecording();
    void upload(const QString& path, double seconds);

    // A "pelix-mac:" link; anything else is ignored.
    void openLink(const QUrl& url);
    // A menu item was chosen.
    void perform(MenuAction action);

    // The alert asking the user to sign in; its title says "again" after the first time.
    void promptToSignIn();
    // The field into which a key from the web app is pasted.
    void promptForToken();
    // The permission report, one line per check.
    void checkPermissions();
    void toggleLogin();

    bool recording() const { return recording_; }
    bool fileIt() const { return fileIt_; }
    const TapGesture& gesture() const { return gesture_; }
    const HoldGesture& hold() const { return hold_; }
    bool holdTimerPending() const { return holdTimer_ != nullptr; }

    // The Tell/Ask panel's model: braindump lines join its conversation, its microphone button
    // starts and stops a braindump, and a stored key or a filed braindump refreshes its
    // insights.
    panel::PanelModel& panel() { return panel_; }
    // Braindumps waiting to be filed; the tray starts it.
    braindump::Outbox& outbox() { return outbox_; }

    static constexpr double kInsightsAfterBraindump = 2;
    static constexpr double kInsightsAfterConnect = 90;  // the fetch's time limit

Q_SIGNALS:
    // An upload got its answer and the line was shown.
    void uploaded(const QString& line);
    // A recording began or ended; `filed` tells a braindump from a dictation.
    void recordingChanged(bool recording, bool filed);

private:
    void holdFired();
    // A key from a "connect" link: stored, after asking when it would replace another.
    void replaceToken(const QString& token);
    void storeToken(const QString& token);
    void recordingShown();
    void filed(const QString& line);

    AppParts parts_;
    TapGesture gesture_;
    HoldGesture hold_;
    std::unique_ptr<core::PendingTimer> holdTimer_;
    std::unique_ptr<core::PendingTimer> maxTimer_;
    std::unique_ptr<core::PendingTimer> insightsTimer_;
    panel::PanelModel panel_;
    braindump::Outbox outbox_;
    braindump::BraindumpSender braindumps_;
    bool recording_ = false;
    bool fileIt_ = true;
};

}  // namespace pelix::app
