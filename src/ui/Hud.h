#pragma once

#include <QString>

#include <memory>

class QLabel;
class QTimer;
class QWidget;

namespace pelix::ui {

// The status line: a small frameless window at the top of the screen that shows one line of
// text for a few seconds. Every line is also logged ("hud: …"). The window is made on first use.
class Hud {
public:
    Hud();
    ~Hud();

    void show(const QString& line);
    // The line on show, empty once it is hidden.
    QString visibleLine() const;

    static constexpr int kShowMs = 3500;

private:
    std::unique_ptr<QWidget> window_;
    QLabel* label_ = nullptr;
    QTimer* hideTimer_ = nullptr;
};

}  // namespace pelix::ui
