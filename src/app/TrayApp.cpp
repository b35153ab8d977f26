#include "app/TrayApp.h"

#include "app/AppDictation.h"
#include "app/Application.h"
#include "app/Links.h"
#include "app/MainWindow.h"
#include "core/Log.h"
#include "core/Paths.h"
#include "core/Sentences.h"
#include "memos/MemoSender.h"
#include "memos/VoiceMemoWatcher.h"
#include "panel/PanelModel.h"
#include "panel/PanelWindow.h"
#include "platform/Autostart.h"
#include "platform/Desktop.h"
#include "platform/KeySource.h"
#include "platform/RemoteFiles.h"
#include "relay/Relay.h"
#include "relay/RelayBannerWindow.h"
#include "render/Renderer.h"
#include "speech/SpeechEngines.h"
#include "studio/EditorModel.h"
#include "studio/EditorWindow.h"
#include "studio/EngineAssistant.h"
#include "ui/BadgeWindow.h"
#include "ui/TrayLook.h"

#include <QCoreApplication>
#include <QCursor>
#include <QDesktopServices>
#include <QDir>
#include <QMenu>
#include <QPointer>

namespace pelix::app {

// The video editor and what it works with, the window last so that it goes first.
struct TrayApp::Editor {
    Editor(core::Timers& timers, service::Api& api, platform::Desktop& desktop,
           const speech::SpeechEngines& engines)
        : assistant(api),
          renderer(render::makeRenderer()),
          recognizer([&engines] { return dictationEngine(engines); }),
          dictation(recognizer, desktop.microphone(), desktop.typist(), timers),
          model(timers, &assistant),
          window(model, studio::EditorTools{renderer.get(), &engines, &dictation, {}, {}}) {}

    studio::EngineAssistant assistant;
    std::unique_ptr<render::Renderer> renderer;
    dictation::EngineRecognizer recognizer;
    dictation::LiveDictation dictation;
    studio::EditorModel model;
    studio::EditorWindow window;
};

TrayApp::TrayApp(platform::Desktop& desktop, service::ServiceContext& context, QObject* parent)
    : QObject(parent),
      desktop_(desktop),
      context_(context),
      speech_(context.prefs(), speech::SpeechKeyStore(core::paths::dataDir())),
      recorder_(std::make_unique<braindump::MicRecorder>(desktop.microphone(), context.clock(),
                                                         core::paths::tempDir())),
      dictation_(std::make_unique<AppDictation>(timers_, shell_, desktop.microphone(),
                                                desktop.typist(), desktop.clipboard())),
      engines_(std::make_unique<speech::SpeechEngines>(speech::SpeechEngines::standard())),
      memoTicker_(std::make_unique<memos::QtTicker>()),
      memoSender_(std::make_unique<memos::MemoSender>(context.api(), context.prefs(),
                                                      context.clock(), memos::machineTools())),
      watcher_(std::make_unique<memos::VoiceMemoWatcher>(*memoSender_, context.prefs(),
                                                         context.clock(), *memoTicker_)) {
    // On a desktop whose new windows take the focus, the status line must not be one.
    shell_.setOverlay(desktop.overlay());
    memoSender_->onStatus([this](const QString& line) { shell_.show(line); });
    platform::RemoteFiles& remote = desktop.remoteFiles();
    features_ = std::make_unique<AppFeatures>(FeatureParts{
        .prefs = context.prefs(),
        .api = context.api(),
        .clock = context.clock(),
        .timers = timers_,
        .shell = shell_,
        .sender = *memoSender_,
        .watcher = *watcher_,
        .engines = *engines_,
        .fetch = [&remote](const QUrl& location,
                           const QString& target) { return remote.fetch(location, target); },
    });
    router_ = std::make_unique<AppRouter>(AppParts{
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
        .features = features_.get(),
        .switchRelay = [this](bool on) { on ? relay_->start() : relay_->stop(); },
    });

    banner_ = std::make_unique<relay::RelayBanner>(timers_);
    bannerWindow_ = std::make_unique<relay::RelayBannerWindow>(*banner_);
    relay_ = std::make_unique<relay::Relay>(relay::RelayParts{
        .clock = context.clock(),
        .timers = timers_,
        .prefs = context.prefs(),
        .tokens = context.tokens(),
        .windowKeys = service::WindowKeyStore(core::paths::dataDir()),
        .api = context.api(),
        .apps = desktop.apps(),
        .accessibility = desktop.accessibility(),
        .session = desktop.session(),
        .typist = desktop.typist(),
        .clipboard = desktop.clipboard(),
        .banner = *banner_,
        .show = [this](const QString& line) { shell_.show(line); },
        .places = relay::Relay::placesFrom(context.prefs()),
        .timings = qEnvironmentVariableIsSet("PELIX_RELAY_QUICK") ? relay::RelayTimings::quick()
                                                                  : relay::RelayTimings{},
    });
}

TrayApp::~TrayApp() {
    // The windows draw the delegate's panel model: they go first.
    panel_.reset();
    badge_.reset();
    // Transcript windows stop their runs as they go, and the features' worker waits for the runs,
    // which use the engines until they notice, and for a notes import still reading.
    features_.reset();
}

DesktopFacts TrayApp::facts(bool devices) const {
    DesktopFacts facts;
    facts.program = QCoreApplication::applicationFilePath();
    facts.installed = QDir(QCoreApplication::applicationDirPath()) == QDir(PELIX_INSTALL_BINDIR);
    facts.keysSeen = desktop_.keysHeard();
    facts.token = context_.tokens().read().has_value();
    facts.openAtLogin = desktop_.autostart().enabled();
    facts.insertIntoApp = context_.prefs().insertIntoApp();
    facts.badgeShown = badge_ && badge_->isVisible();
    facts.voiceMemosOn = features_->voiceMemosOn();
    facts.recordingsReadable = features_->recordingsReadable();
    facts.relay = context_.prefs().relay();
    facts.speechServer = !speech_.stored().server.trimmed().isEmpty();
    facts.outboxWaiting = router_->outbox().waiting();
    if (devices) {
        const platform::Probes probes = desktop_.probe();
        facts.keysSeen = probes.keysSeen;
        facts.microphone = probes.microphone;
        facts.typing = probes.typing;
        facts.fakeInput = probes.typingRoute == platform::TypingRoute::fakeInput;
        facts.typingPortal = probes.typingRoute == platform::TypingRoute::portal;
        facts.keysByShortcuts = probes.keysByShortcuts;
        facts.wayland = probes.session == QLatin1String("wayland");
        facts.inputDevices = probes.inputDevices;
        facts.inputReadable = probes.inputReadable;
        facts.pasting = probes.pasting;
        facts.frontKnown = probes.frontKnown;
        facts.frontByAccessibility = probes.frontByAccessibility;
        facts.speechModel = dictationReady(speech::SpeechEngines::standard());
    }
    return facts;
}

void TrayApp::start() {
    // A tray host may come up after Pelix at login: look again a little later.
    followUp_ = timers_.after(8, [this] {
        followUp_.reset();
        if (!shell_.iconShown() &&
            shell_.showIcon(menu_.get(), [this](const QRect& icon) { togglePanel(icon); })) {
            core::logLine("tray", "icon shown");
        }
    });

    menu_ = std::make_unique<QMenu>();
    menu_->setToolTipsVisible(true);
    connect(menu_.get(), &QMenu::aboutToShow, this, &TrayApp::rebuildMenu);
    rebuildMenu();
    const bool signedIn = context_.tokens().read().has_value();
    shell_.setLook(signedIn ? ui::TrayLook::idle : ui::TrayLook::signedOut);
    if (!shell_.showIcon(menu_.get(), [this](const QRect& icon) { togglePanel(icon); })) {
        core::logLine("tray", core::sentences::kNoTray);
        shell_.show(core::sentences::kNoTray);
    }

    const bool askedBefore = context_.prefs().keysPromptShown();
    if (!askedBefore) context_.prefs().setKeysPromptShown(true);
    const Status listening = desktop_.keys().start({
        .modifiersChanged = [this](Mods mods, double now) { router_->modifiersChanged(mods, now); },
        .otherInput = [this](const platform::OtherInput& input) { router_->otherInput(input); },
    });
    if (!listening) {
        core::logLine("keys", listening.error().message);
        if (!askedBefore) shell_.show(listening.error().message);
    }
    registerAtLogin();

    // The badge and the panel, built now so that a click shows them at once.
    panel::PanelModel& model = router_->panel();
    panel_ = std::make_unique<panel::PanelWindow>(model);
    connect(panel_.get(), &panel::PanelWindow::settingsClicked, this, [this](QWidget* anchor) {
        rebuildMenu();
        menu_->popup(anchor->mapToGlobal(QPoint(0, anchor->height())));
    });
    connect(panel_.get(), &panel::PanelWindow::openMainClicked, this, &TrayApp::openWeb);
    badge_ = std::make_unique<ui::BadgeWindow>(&context_.prefs());
    connect(badge_.get(), &ui::BadgeWindow::clicked, this,
            [this] { togglePanel(badge_->frameGeometry()); });
    connect(badge_.get(), &ui::BadgeWindow::filesDropped, features_.get(),
            &AppFeatures::sendDropped);
    connect(router_.get(), &AppRouter::recordingChanged, badge_.get(),
            [this](bool recording, bool filed) {
                badge_->setLook(!recording ? ui::BadgeLook::idle
                                : filed    ? ui::BadgeLook::recording
                                           : ui::BadgeLook::dictating);
            });
    showBadge(!context_.prefs().value(kBadgeHidden, false).toBool());
    // The menu was made before the badge: it names what the badge does next.
    rebuildMenu();

    if (signedIn) {
        model.refreshInsights(false);
    } else {
        router_->promptToSignIn();
    }
    features_->start();
    if (context_.prefs().relay()) relay_->start();
    // Braindumps kept when the account could not be reached go first thing.
    // Queued: "Discard" changes the count from inside the menu item it removes.
    connect(&router_->outbox(), &braindump::Outbox::changed, this, &TrayApp::rebuildMenu,
            Qt::QueuedConnection);
    router_->outbox().start();
}

void TrayApp::togglePanel(const QRect& anchor) {
    if (panel_) panel_->toggle(anchor);
}

void TrayApp::showBadge(bool shown) {
    context_.prefs().setValue(kBadgeHidden, !shown);
    if (!shown) {
        badge_->hide();
        return;
    }
    badge_->place();
    badge_->show();
    badge_->raise();
}

void TrayApp::registerAtLogin() {
    core::Prefs& prefs = context_.prefs();
    if (prefs.loginAsked() || !facts(false).installed) return;
    prefs.setLoginAsked(true);
    platform::Autostart& autostart = desktop_.autostart();
    if (autostart.enabled()) return;
    if (const Status done = autostart.enable(QCoreApplication::applicationFilePath()); done) {
        shell_.show(core::sentences::kOpensAtLogin);
    } else {
        shell_.show(core::sentences::couldntChangeThat(done.error().message));
    }
}

void TrayApp::rebuildMenu() {
    menu_->clear();
    for (const MenuItem& item : menuItems(facts(false))) {
        if (item.action == MenuAction::section) {
            // A heading of its own rather than QMenu::addSection: a tray menu shown over D-Bus
            // keeps only the line of a section, not its title.
            if (!menu_->isEmpty()) menu_->addSeparator();
            QAction* heading = menu_->addAction(item.text);
            heading->setEnabled(false);
            QFont bold = heading->font();
            bold.setBold(true);
            heading->setFont(bold);
            continue;
        }
        QAction* action = menu_->addAction(item.text);
        action->setEnabled(item.enabled);
        action->setCheckable(item.checkable);
        action->setChecked(item.checked);
        action->setToolTip(item.toolTip);
        const MenuAction what = item.action;
        connect(action, &QAction::triggered, this, [this, what] {
            if (what == MenuAction::toggleBadge) return showBadge(!badge_->isVisible());
            if (what == MenuAction::videoEditor) return openEditor();
            if (what == MenuAction::openPelix) return openWeb();
            router_->perform(what);
        });
    }
}

void TrayApp::receive(const QString& message) {
    if (message.isEmpty()) {
        // Running pelix again opens the panel, beside the tray icon when the desktop says where.
        if (panel_ && !panel_->isVisible()) {
            panel_->open(shell_.iconGeometry());
            core::logLine("panel", "opened");
        }
        return;
    }
    if (message == QLatin1String(kDictateWord)) {
        core::logLine("dictation", "toggled from the command line");
        router_->toggleDictation();
        return;
    }
    const QUrl url(message);
    if (const auto link = readLink(url); link && link->kind == Link::Kind::editor) {
        openEditor();
        return;
    }
    if (const auto link = readLink(url); link && link->kind == Link::Kind::authCallback) {
        // The sign-in finishes in the window that started it; there is none to finish without
        // one.
        if (web_) web_->finishSignIn(url);
        return;
    }
    router_->openLink(url);
}

void TrayApp::openWeb() {
    if (!web_) {
        web::WebWindowParts parts = mainWindowParts(desktop_, context_, timers_, *memoSender_,
                                                    [this] { shell_.play(ui::Sound::done); });
        parts.onMacLink = [this](const QUrl& url) { receive(url.toString()); };
        parts.onRelayAccount = [this](const web::RelayAccountMessage& message,
                                      std::function<void(QString)> reply) {
            relay_->windowAccount(message.user, message.token, std::move(reply));
        };
        Result<std::unique_ptr<web::WebWindow>> made = web::WebWindow::make(std::move(parts));
        if (!made) {
            // The web app in the browser is the next best thing.
            shell_.show(made.error().message);
            core::Prefs& prefs = context_.prefs();
            QDesktopServices::openUrl(
                web::WebPlaces::from(prefs, service::Api::configuredBase(prefs)).base);
            return;
        }
        web_ = std::move(*made);
    }
    web_->open();
}

studio::EditorWindow* TrayApp::editorWindow() const {
    return editor_ ? &editor_->window : nullptr;
}

void TrayApp::openEditor() {
    if (!editor_) {
        editor_ = std::make_unique<Editor>(timers_, context_.api(), desktop_, *engines_);
        QPointer<studio::EditorModel> model(&editor_->model);
        editor_->assistant.loadRules([model](Result<QStringList> rules) {
            QMetaObject::invokeMethod(model, [model, rules = std::move(rules)] {
                if (model && rules) model->setStyle(*rules);
            });
        });
    }
    editor_->window.refreshVideos();
    editor_->window.show();
    editor_->window.raise();
    editor_->window.activateWindow();
    core::logLine("editor", "opened");
}

}  // namespace pelix::app
