#include "ui/BadgeWindow.h"

#include "core/Prefs.h"
#include "core/Sentences.h"
#include "ui/Theme.h"

#include <QDragEnterEvent>
#include <QDropEvent>
#include <QGuiApplication>
#include <QMimeData>
#include <QMouseEvent>
#include <QPainter>
#include <QPainterPath>
#include <QRadialGradient>
#include <QScreen>
#include <QUrl>

#include <algorithm>

namespace pelix::ui {
namespace {

constexpr auto kX = "badge.x";
constexpr auto kY = "badge.y";

void drawMicrophone(QPainter& p, const QPointF& centre, const QColor& ink) {
    p.save();
    p.translate(centre);
    QPen pen(ink, 1.9, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    p.setPen(pen);
    p.setBrush(Qt::NoBrush);
    p.drawRoundedRect(QRectF(-3.6, -9.5, 7.2, 12.2), 3.6, 3.6);
    QPainterPath cup;
    cup.moveTo(-7, -1.2);
    cup.cubicTo(-7, 8.2, 7, 8.2, 7, -1.2);
    p.drawPath(cup);
    p.drawLine(QPointF(0, 5.9), QPointF(0, 9.4));
    p.restore();
}

void drawWave(QPainter& p, const QPointF& centre, const QColor& ink) {
    p.save();
    p.translate(centre);
    p.setPen(QPen(ink, 2.4, Qt::SolidLine, Qt::RoundCap));
    const double heights[] = {5, 11, 16, 9, 13};
    for (int i = 0; i < 5; ++i) {
        const double x = (i - 2) * 4.6;
        p.drawLine(QPointF(x, -heights[i] / 2), QPointF(x, heights[i] / 2));
    }
    p.restore();
}

}  // namespace

QStringList droppedFiles(const QList<QUrl>& urls) {
    QStringList files;
    for (const QUrl& url : urls) {
        if (url.isLocalFile()) files << url.toLocalFile();
    }
    return files;
}

BadgeWindow::BadgeWindow(core::Prefs* prefs, QWidget* parent)
    : QWidget(parent, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                          Qt::WindowDoesNotAcceptFocus),
      prefs_(prefs) {
    setObjectName("pelixBadge");
    setWindowTitle(core::sentences::kPelix);
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAcceptDrops(true);
    setFixedSize(kSize, kSize);
    // Without a compositor the corners would show on X11; there the window is cut to its circle.
    if (QGuiApplication::platformName() == QLatin1String("xcb")) {
        setMask(QRegion(rect(), QRegion::Ellipse));
    }
    setToolTip(core::sentences::kBadgeTip);
    setCursor(Qt::PointingHandCursor);
}

void BadgeWindow::setLook(BadgeLook look) {
    if (look_ == look) return;
    look_ = look;
    update();
}

void BadgeWindow::place() {
    QPoint at;
    const QScreen* screen = QGuiApplication::primaryScreen();
    const QRect area = screen ? screen->availableGeometry() : QRect(0, 0, 1280, 800);
    if (prefs_ && prefs_->contains(kX) && prefs_->contains(kY)) {
        at = QPoint(prefs_->value(kX).toInt(), prefs_->value(kY).toInt());
    } else {
        at = area.bottomRight() - QPoint(kSize + 32, kSize + 96);
    }
    // A badge left on a screen that has gone comes back onto this one.
    at.setX(std::clamp(at.x(), area.left(), area.right() - kSize + 1));
    at.setY(std::clamp(at.y(), area.top(), area.bottom() - kSize + 1));
    move(at);
}

void BadgeWindow::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    const QRectF disc = QRectF(rect()).adjusted(2, 2, -2, -2);
    const QPointF centre = disc.center();

    QColor fill = theme::kSurface;
    QColor ring = theme::kBorder;
    QColor ink = theme::kText;
    switch (look_) {
        case BadgeLook::idle:
            ring = dropping_ ? theme::kAccent : theme::kBorder;
            break;
        case BadgeLook::recording:
            fill = theme::kRecording;
            ring = theme::kRecording.lighter(125);
            ink = theme::kOnAccent;
            break;
        case BadgeLook::dictating:
            fill = theme::kLive;
            ring = theme::kLive.lighter(125);
            ink = theme::kOnAccent;
            break;
    }
    if (dropping_) fill = fill.lighter(130);

    // A soft edge below the disc, then the disc with a light from above.
    p.setPen(Qt::NoPen);
    p.setBrush(QColor(0, 0, 0, 70));
    p.drawEllipse(disc.translated(0, 1.5).adjusted(-1, -1, 1, 1));
    QRadialGradient light(centre.x(), disc.top(), disc.height());
    light.setColorAt(0, fill.lighter(135));
    light.setColorAt(1, fill);
    p.setBrush(light);
    p.setPen(QPen(ring, 1.5));
    p.drawEllipse(disc.adjusted(0.75, 0.75, -0.75, -0.75));

    if (look_ == BadgeLook::dictating) {
        drawWave(p, centre, ink);
    } else {
        drawMicrophone(p, centre + QPointF(0, 0.5), ink);
    }
    if (look_ == BadgeLook::idle) {
        // The accent dot says Pelix is listening for the keys.
        p.setPen(QPen(theme::kSurface, 2));
        p.setBrush(theme::kAccent);
        p.drawEllipse(QPointF(disc.right() - 10, disc.top() + 10), 4, 4);
    }
}

void BadgeWindow::mousePressEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    pressed_ = true;
    dragging_ = false;
    pressAt_ = event->globalPosition().toPoint();
    startPos_ = pos();
}

void BadgeWindow::mouseMoveEvent(QMouseEvent* event) {
    if (!pressed_) return;
    const QPoint moved = event->globalPosition().toPoint() - pressAt_;
    if (!dragging_ && moved.manhattanLength() < kDragDistance) return;
    dragging_ = true;
    move(startPos_ + moved);
}

void BadgeWindow::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton || !pressed_) return;
    pressed_ = false;
    if (!dragging_) {
        Q_EMIT clicked();
        return;
    }
    dragging_ = false;
    if (prefs_) {
        prefs_->setValue(kX, x());
        prefs_->setValue(kY, y());
    }
}

void BadgeWindow::dragEnterEvent(QDragEnterEvent* event) {
    if (droppedFiles(event->mimeData()->urls()).isEmpty()) return;
    event->acceptProposedAction();
    dropping_ = true;
    update();
}

void BadgeWindow::dragLeaveEvent(QDragLeaveEvent*) {
    dropping_ = false;
    update();
}

void BadgeWindow::dropEvent(QDropEvent* event) {
    dropping_ = false;
    update();
    const QStringList files = droppedFiles(event->mimeData()->urls());
    if (files.isEmpty()) return;
    event->acceptProposedAction();
    Q_EMIT filesDropped(files);
}

}  // namespace pelix::ui
