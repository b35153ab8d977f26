#pragma once

#include "app/AppDelegate.h"
#include "app/TrayShell.h"
#include "core/Timers.h"
#include "service/ServiceContext.h"

#include <QObject>

#include <memory>

class QMenu;

namespace pelix {

namespace platform {
class Desktop;
}
class AppDictation;

// The tray application: the desktop's services and the account put together around the
// AppDelegate, started in order.
class TrayApp : public QObject {
    Q_OBJECT
public:
    static constexpr auto kNoTray =
        "This desktop has no tray, so Pelix runs without an icon: run pelix again to open its "
        "menu.";

    TrayApp(platform::Desktop& desktop, ServiceContext& context, QObject* parent = nullptr);
    ~TrayApp() override;

    // Start-up: the tray icon and menu, the keys, opening at login, the sign-in prompt.
    void start();
    // What a second `pelix` handed over: a link, or nothing to open the menu.
    void receive(const QString& message);

    // The state of the desktop; `devices` also asks the display, the sound server and the disk.
    DesktopFacts facts(bool devices) const;

private:
    void rebuildMenu();
    void registerAtLogin();

    platform::Desktop& desktop_;
    ServiceContext& context_;
    QtTimers timers_;
    // The menu outlives the tray icon that shows it.
    std::unique_ptr<QMenu> menu_;
    TrayShell shell_;
    std::unique_ptr<Recorder> recorder_;
    std::unique_ptr<AppDictation> dictation_;
    std::unique_ptr<AppDelegate> delegate_;
    std::unique_ptr<PendingTimer> followUp_;
};

}  // namespace pelix
