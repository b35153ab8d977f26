#include "app/TrayApp.h"

#include "app/AppDictation.h"
#include "core/Log.h"
#include "core/Paths.h"
#include "platform/Autostart.h"
#include "platform/linux/QtMicrophone.h"
#include "platform/linux/X11KeySource.h"
#include "ui/TrayLook.h"

#include <QCoreApplication>
#include <QCursor>
#include <QDir>
#include <QFileInfo>
#include <QMenu>
#include <QSystemTrayIcon>

namespace pelix {

TrayShell::TrayShell() = default;
TrayShell::~TrayShell() = default;

void TrayShell::setLook(ui::TrayLook look) {
    look_ = look;
    if (icon_) icon_->setIcon(ui::trayIcon(look));
}

bool TrayShell::showIcon(QMenu* menu) {
    if (icon_) return true;
    if (!QSystemTrayIcon::isSystemTrayAvailable()) return false;
    icon_ = std::make_unique<QSystemTrayIcon>(ui::trayIcon(look_));
    icon_->setToolTip("Pelix");
    icon_->setContextMenu(menu);
    QObject::connect(icon_.get(), &QSystemTrayIcon::activated, menu,
                     [menu](QSystemTrayIcon::ActivationReason reason) {
                         if (reason == QSystemTrayIcon::Trigger) menu->popup(QCursor::pos());
                     });
    icon_->show();
    return true;
}

bool TrayShell::iconShown() const {
    return icon_ != nullptr;
}

TrayApp::TrayApp(Backend& backend, QObject* parent)
    : QObject(parent),
      backend_(backend),
      keys_(std::make_unique<platform::X11KeySource>(backend.clock())),
      microphone_(std::make_unique<platform::QtMicrophone>()),
      recorder_(std::make_unique<MicRecorder>(*microphone_, backend.clock(), paths::tempDir())),
      dictation_(
          std::make_unique<AppDictation>(backend.clock(), timers_, shell_, *microphone_, *keys_)) {
    delegate_ = std::make_unique<AppDelegate>(AppParts{
        .clock = backend.clock(),
        .prefs = backend.prefs(),
        .tokens = backend.tokens(),
        .api = backend.api(),
        .timers = timers_,
        .recorder = *recorder_,
        .shell = shell_,
        .dictation = dictation_.get(),
        .facts = [this] { return facts(true); },
    });
}

TrayApp::~TrayApp() = default;

DesktopFacts TrayApp::facts(bool devices) const {
    DesktopFacts facts;
    facts.program = QCoreApplication::applicationFilePath();
    facts.installed = QDir(QCoreApplication::applicationDirPath()) == QDir(PELIX_INSTALL_BINDIR);
    // Under Wayland, X11 clients see only the keys typed into other X11 clients.
    facts.keysSeen = keys_->listening() && qEnvironmentVariable("XDG_SESSION_TYPE") != "wayland";
    facts.token = backend_.tokens().read().has_value();
    facts.openAtLogin = platform::Autostart::enabled();
    facts.insertIntoApp = backend_.prefs().insertIntoApp();
    if (devices) {
        facts.microphone = platform::QtMicrophone::present();
        facts.speechModel = QFileInfo::exists(PELIX_SPEECH_MODEL_DIR "/en-us/en-us");
        facts.typing = platform::X11KeySource::probe().xtest;
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
    const bool signedIn = backend_.tokens().read().has_value();
    shell_.setLook(signedIn ? ui::TrayLook::idle : ui::TrayLook::signedOut);
    if (!shell_.showIcon(menu_.get())) {
        logLine("tray", kNoTray);
        shell_.show(kNoTray);
    }

    const bool askedBefore = backend_.prefs().axAsked();
    if (!askedBefore) backend_.prefs().setAxAsked(true);
    const Status listening = keys_->start({
        .flagsChanged = [this](Mods mods, double now) { delegate_->flagsChanged(mods, now); },
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
    Prefs& prefs = backend_.prefs();
    if (prefs.loginAsked() || !facts(false).installed) return;
    prefs.setLoginAsked(true);
    if (platform::Autostart::enabled()) return;
    if (const Status done = platform::Autostart::enable(QCoreApplication::applicationFilePath());
        done) {
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
