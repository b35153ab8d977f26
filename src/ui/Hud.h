#pragma once

#include <QString>

#include <memory>

class QLabel;
class QTimer;
class QWidget;

namespace pelix::platform {
class Overlay;
}  // namespace pelix::platform

namespace pelix::ui {

// The status line: a small frameless window at the top of the screen that shows one line of
// text for a few seconds. Every line is also logged ("hud: …"). The window is made on first use.
// With an overlay (a desktop whose windows could take the focus), the window is only drawn and
// its picture goes to the overlay.
class Hud {
public:
    // Each line shows for `showMs` from when it was given.
    explicit Hud(int showMs = kShowMs);
    ~Hud();

    // Shows the lines through `overlay` from now on; none shows the window itself.
    void setOverlay(platform::Overlay* overlay) { overlay_ = overlay; }

    void show(const QString& line);
    // The line on show, empty once it is hidden.
    QString visibleLine() const;

    static constexpr int kShowMs = 3500;

private:
    int showMs_;
    std::unique_ptr<QWidget> window_;
    QLabel* label_ = nullptr;
    QTimer* hideTimer_ = nullptr;
    platform::Overlay* overlay_ = nullptr;
    bool overlaid_ = false;  // the line on show is in the overlay
};

}  // namespace pelix::ui
