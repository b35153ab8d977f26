#pragma once

#include <QPoint>
#include <QStringList>
#include <QWidget>

namespace pelix::core {
class Prefs;
}  // namespace pelix::core

namespace pelix::ui {

// What the badge shows: the application at rest, recording a braindump, or dictating live.
enum class BadgeLook { idle, recording, dictating };

// The floating badge: a small round window that stays on top of the others. A click on it is
// `clicked`; dragging moves it, and where it is left is kept in "badge.x" and "badge.y"; files
// dropped on it come out of `filesDropped`.
class BadgeWindow : public QWidget {
    Q_OBJECT
public:
    static constexpr int kSize = 52;
    // How far the pointer moves before a press becomes a drag.
    static constexpr int kDragDistance = 4;

    explicit BadgeWindow(core::Prefs* prefs = nullptr, QWidget* parent = nullptr);

    void setLook(BadgeLook look);
    BadgeLook look() const { return look_; }

    // Moves the badge where it was left, else to the lower right of the screen, kept on it.
    void place();

Q_SIGNALS:
    void clicked();
    void filesDropped(const QStringList& paths);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;

private:
    core::Prefs* prefs_;
    BadgeLook look_ = BadgeLook::idle;
    bool dropping_ = false;
    bool pressed_ = false;
    bool dragging_ = false;
    QPoint pressAt_;   // global position of the press
    QPoint startPos_;  // window position at the press
};

// The local files among dropped URLs, in their order.
QStringList droppedFiles(const QList<QUrl>& urls);

}  // namespace pelix::ui
