#include "app/TrayApp.h"

#include "app/AppDictation.h"
#include "core/Log.h"
#include "core/Paths.h"
#include "platform/Autostart.h"
#include "platform/Desktop.h"
#include "platform/KeySource.h"
#include "ui/TrayLook.h"

#include <QCoreApplication>
#include <QCursor>
#include <QDesktopServices>
#include <QDir>
#include <QMenu>

namespace pelix {

TrayApp::TrayApp(platform::Desktop& desktop, ServiceContext& context, QObject* parent)
    : QObject(parent),
      desktop_(desktop),
      context_(context),
      recorder_(
          std::make_unique<MicRecorder>(desktop.microphone(), context.clock(), paths::tempDir())),
      dictation_(std::make_unique<AppDictation>(timers_, shell_, desktop.microphone(),
                                                desktop.typist())) {
    delegate_ = std::make_unique<AppDelegate>(AppParts{
        .clock = context.clock(),
        .prefs = context.prefs(),
        .tokens = context.tokens(),
        .api = context.api(),
        .timers = timers_,
        .recorder = *recorder_,
        .shell = shell_,
        .autostart = desktop.autostart(),
        .openUrl = [](const QUrl& url) { return QDesktopServices::openUrl(url); },
        .dictation = dictation_.get(),
        .facts = [this] { return facts(true); },
    });
}

TrayApp::~TrayApp() = default;

DesktopFacts TrayApp::facts(bool devices) const {
    DesktopFacts facts;
    facts.program = QCoreApplication::applicationFilePath();
    facts.installed = QDir(QCoreApplication::applicationDirPath()) == QDir(PELIX_INSTALL_BINDIR);
    facts.keysSeen = desktop_.keysHeard();
    facts.token = context_.tokens().read().has_value();
    facts.openAtLogin = desktop_.autostart().enabled();
    facts.insertIntoApp = context_.prefs().insertIntoApp();
    if (devices) {
        const platform::Probes probes = desktop_.probe();
        facts.keysSeen = probes.keysSeen;
        facts.microphone = probes.microphone;
        facts.typing = probes.typing;
        facts.speechModel = dictationReady(SpeechEngines::standard());
    }
    return facts;
}

void TrayApp::start() {
    // A tray host may come up after Pelix at login: look again a little later.
    followUp_ = timers_.after(8, [this] {
        followUp_.reset();
        if (!shell_.iconShown() && shell_.showIcon(menu_.get())) logLine("tray", "icon shown");
    });

    menu_ = std::make_unique<QMenu>();
    connect(menu_.get(), &QMenu::aboutToShow, this, &TrayApp::rebuildMenu);
    rebuildMenu();
    const bool signedIn = context_.tokens().read().has_value();
    shell_.setLook(signedIn ? ui::TrayLook::idle : ui::TrayLook::signedOut);
    if (!shell_.showIcon(menu_.get())) {
        logLine("tray", kNoTray);
        shell_.show(kNoTray);
    }

    const bool askedBefore = context_.prefs().axAsked();
    if (!askedBefore) context_.prefs().setAxAsked(true);
    const Status listening = desktop_.keys().start({
        .modifiersChanged = [this](Mods mods, double now) { delegate_->modifiersChanged(mods, now); },
        .otherInput = [this](const platform::OtherInput& input) { delegate_->otherInput(input); },
    });
    if (!listening) {
        logLine("keys", listening.error().message);
        if (!askedBefore) shell_.show(listening.error().message);
    }
    registerAtLogin();

    if (!signedIn) delegate_->promptToSignIn();
}

void TrayApp::registerAtLogin() {
    Prefs& prefs = context_.prefs();
    if (prefs.loginAsked() || !facts(false).installed) return;
    prefs.setLoginAsked(true);
    platform::Autostart& autostart = desktop_.autostart();
    if (autostart.enabled()) return;
    if (const Status done = autostart.enable(QCoreApplication::applicationFilePath()); done) {
        shell_.show("Pelix will open at login.");
    } else {
        shell_.show("Couldn't change that: " + done.error().message);
    }
}

void TrayApp::rebuildMenu() {
    menu_->clear();
    for (const MenuItem& item : menuItems(facts(false))) {
        if (item.action == MenuAction::quit) menu_->addSeparator();
        QAction* action = menu_->addAction(item.text);
        action->setEnabled(item.enabled);
        action->setCheckable(item.checkable);
        action->setChecked(item.checked);
        const MenuAction what = item.action;
        connect(action, &QAction::triggered, this, [this, what] { delegate_->perform(what); });
    }
}

void TrayApp::receive(const QString& message) {
    if (message.isEmpty()) {
        rebuildMenu();
        menu_->popup(QCursor::pos());
        return;
    }
    delegate_->openLink(QUrl(message));
}

}  // namespace pelix
