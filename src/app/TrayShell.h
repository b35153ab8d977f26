#pragma once

#include "app/Shell.h"
#include "speech/SpeechSettings.h"
#include "ui/Hud.h"
#include "ui/Sounds.h"

#include <QPointer>
#include <QRect>

#include <functional>
#include <memory>

class QMenu;
class QSystemTrayIcon;

namespace pelix::app {

// The shell of the tray application: the status line, the sounds, the tray icon, and dialogs
// that never block the event loop (keys, timers and uploads go on while they are open).
class TrayShell final : public Shell {
public:
    explicit TrayShell(speech::SpeechSettings& speech);
    ~TrayShell() override;

    void show(const QString& line) override { hud_.show(line); }
    // Shows the status line through `overlay` (none: its own window).
    void setOverlay(platform::Overlay* overlay) { hud_.setOverlay(overlay); }
    void setLook(ui::TrayLook look) override;
    // The shade of the panel the icon is drawn for, where the tray does not recolour it.
    void setPanelShade(ui::PanelShade shade);
    void play(ui::Sound sound) override { sounds_.play(sound); }
    void ask(const Prompt& prompt, std::function<void(PromptAnswer)> answered) override;
    void askForSecret(const QString& label, std::function<void(QString)> entered) override;
    void report(const QString& title, const QStringList& lines) override;
    void chooseFile(const QString& title, const QString& filter,
                    std::function<void(QString)> chosen) override;
    void chooseFolder(const QString& title, const QString& start,
                      std::function<void(QString)> chosen) override;
    void editSpeech() override;

    // Puts the icon with `menu` into the tray; false when the desktop has no tray. A left click
    // on the icon calls `clicked` with where the desktop says the icon is (an empty rectangle
    // when it does not say).
    bool showIcon(QMenu* menu, std::function<void(const QRect&)> clicked);
    bool iconShown() const;
    // Where the desktop says the icon is; empty when it does not say or there is none.
    QRect iconGeometry() const;

private:
    speech::SpeechSettings& speech_;
    // The speech window while it is open.
    QPointer<QWidget> speechWindow_;
    ui::Hud hud_;
    ui::Sounds sounds_;
    std::unique_ptr<QSystemTrayIcon> icon_;
    ui::TrayLook look_ = ui::TrayLook::idle;
    ui::PanelShade shade_ = ui::PanelShade::dark;
};

}  // namespace pelix::app
