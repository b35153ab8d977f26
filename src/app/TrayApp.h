#pragma once

// The start-up order: the tray icon and menu (or, without a tray, one sentence saying how to reach
// the panel), the key source (its failure shown once, the first time, "keys.promptShown"), opening
// at login (asked once, "login.asked", only for an installed copy), the panel and the badge (built
// now, so that a click only shows them), the insights when a key is stored or the sign-in prompt
// when none is, the voice memo watcher when "voiceMemos.on" is on, the relay when "relay.enabled"
// is on; and 8 s later the icon once more, when a tray has come up since. A copy is installed when
// its folder is the bin folder of the prefix it was built for (PELIX_INSTALL_BINDIR): /usr/bin for
// the Debian package, or wherever `cmake --install` put it; a copy in a build folder never is.

#include "app/AppFeatures.h"
#include "app/AppRouter.h"
#include "app/TrayShell.h"
#include "core/Timers.h"
#include "service/ServiceContext.h"

#include <QObject>

#include <memory>

class QMenu;
class QRect;

namespace pelix::platform {
class Desktop;
}  // namespace pelix::platform
namespace pelix::panel {
class PanelWindow;
}  // namespace pelix::panel
namespace pelix::ui {
class BadgeWindow;
}  // namespace pelix::ui
namespace pelix::studio {
class EditorModel;
class EditorWindow;
}  // namespace pelix::studio
namespace pelix::memos {
class QtTicker;
class MemoSender;
class VoiceMemoWatcher;
}  // namespace pelix::memos
namespace pelix::speech {
class SpeechEngines;
}  // namespace pelix::speech
namespace pelix::relay {
class Relay;
class RelayBanner;
class RelayBannerWindow;
}  // namespace pelix::relay
namespace pelix::web {
class WebWindow;
}  // namespace pelix::web

namespace pelix::app {

class AppDictation;

// The tray application: the desktop's services and the account put together around the
// AppRouter, started in order.
class TrayApp : public QObject {
    Q_OBJECT
public:
    static constexpr auto kBadgeHidden = "badge.hidden";

    TrayApp(platform::Desktop& desktop, service::ServiceContext& context,
            QObject* parent = nullptr);
    ~TrayApp() override;

    // The shade of the desktop's panel, for the tray icon's pictures; before `start`.
    void setPanelShade(ui::PanelShade shade) { shell_.setPanelShade(shade); }
    // Start-up: the tray icon and menu, the keys, opening at login, the sign-in prompt, the
    // relay.
    void start();
    // What a second `pelix` handed over: a link, `kDictateWord`, or nothing to open the
    // panel.
    void receive(const QString& message);

    // Opens the Tell/Ask panel beside `anchor` (the tray icon or the badge; an empty rectangle
    // for the corner of the screen), or closes it when it is open.
    void togglePanel(const QRect& anchor);
    panel::PanelWindow* panelWindow() const { return panel_.get(); }
    ui::BadgeWindow* badge() const { return badge_.get(); }
    // Opens the video editor, made on first use; there is one.
    void openEditor();
    studio::EditorWindow* editorWindow() const;
    // Opens the main web window, made (and the web engine loaded) on first use; there is one.
    // Without the web engine the web app opens in the browser.
    void openWeb();
    web::WebWindow* webWindow() const { return web_.get(); }

    // The state of the desktop; `devices` also asks the display, the sound server and the disk.
    DesktopFacts facts(bool devices) const;

private:
    void rebuildMenu();
    void registerAtLogin();
    void showBadge(bool shown);

    platform::Desktop& desktop_;
    service::ServiceContext& context_;
    core::QtTimers timers_;
    speech::SpeechSettings speech_;
    // The menu outlives the tray icon that shows it.
    std::unique_ptr<QMenu> menu_;
    TrayShell shell_{speech_};
    std::unique_ptr<braindump::Recorder> recorder_;
    std::unique_ptr<AppDictation> dictation_;
    std::unique_ptr<speech::SpeechEngines> engines_;
    std::unique_ptr<memos::QtTicker> memoTicker_;
    std::unique_ptr<memos::MemoSender> memoSender_;
    std::unique_ptr<memos::VoiceMemoWatcher> watcher_;
    std::unique_ptr<AppFeatures> features_;
    std::unique_ptr<AppRouter> router_;
    std::unique_ptr<relay::RelayBanner> banner_;
    std::unique_ptr<relay::RelayBannerWindow> bannerWindow_;
    std::unique_ptr<relay::Relay> relay_;
    std::unique_ptr<core::PendingTimer> followUp_;
    std::unique_ptr<panel::PanelWindow> panel_;
    std::unique_ptr<ui::BadgeWindow> badge_;
    struct Editor;
    std::unique_ptr<Editor> editor_;
    std::unique_ptr<web::WebWindow> web_;
};

}  // namespace pelix::app
