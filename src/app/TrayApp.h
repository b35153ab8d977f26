#pragma once

#include "app/AppDelegate.h"
#include "app/Shell.h"
#include "core/Timers.h"
#include "service/Backend.h"
#include "ui/Hud.h"
#include "ui/Sounds.h"

#include <QObject>

#include <memory>

class QMenu;
class QSystemTrayIcon;

namespace pelix {

namespace platform {
class KeySource;
class Microphone;
}  // namespace platform

// The status line, sounds and icon of the tray.
class TrayShell final : public Shell {
public:
    TrayShell();
    ~TrayShell() override;

    void show(const QString& line) override { hud_.show(line); }
    void setLook(ui::TrayLook look) override;
    void play(ui::Sound sound) override { sounds_.play(sound); }

    // Puts the icon with `menu` into the tray; false when the desktop has no tray.
    bool showIcon(QMenu* menu);
    bool iconShown() const;

private:
    ui::Hud hud_;
    ui::Sounds sounds_;
    std::unique_ptr<QSystemTrayIcon> icon_;
    ui::TrayLook look_ = ui::TrayLook::idle;
};

// The tray application: the real parts of the desktop put together around the AppDelegate,
// started in order.
class TrayApp : public QObject {
    Q_OBJECT
public:
    static constexpr auto kNoTray =
        "This desktop has no tray, so Pelix runs without an icon: run pelix again to open its "
        "menu.";

    explicit TrayApp(Backend& backend, QObject* parent = nullptr);
    ~TrayApp() override;

    // Start-up: the tray icon and menu, the keys, opening at login, the sign-in prompt.
    void start();
    // What a second `pelix` handed over: a link, or nothing to open the menu.
    void receive(const QString& message);

    // The state of the desktop; `devices` also asks the sound server and the disk.
    DesktopFacts facts(bool devices) const;

private:
    void rebuildMenu();
    void registerAtLogin();

    Backend& backend_;
    QtTimers timers_;
    // The menu outlives the tray icon that shows it.
    std::unique_ptr<QMenu> menu_;
    TrayShell shell_;
    std::unique_ptr<platform::KeySource> keys_;
    std::unique_ptr<platform::Microphone> microphone_;
    std::unique_ptr<Recorder> recorder_;
    std::unique_ptr<Dictation> dictation_;
    std::unique_ptr<AppDelegate> delegate_;
    std::unique_ptr<PendingTimer> followUp_;
};

}  // namespace pelix
