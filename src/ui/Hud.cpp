#include "ui/Hud.h"

#include "core/Log.h"
#include "platform/Overlay.h"

#include <QGuiApplication>
#include <QHBoxLayout>
#include <QImage>
#include <QLabel>
#include <QScreen>
#include <QTimer>
#include <QWidget>

namespace pelix::ui {

Hud::Hud(int showMs) : showMs_(showMs) {}
Hud::~Hud() = default;

void Hud::show(const QString& line) {
    core::logLine("hud", line);
    if (!window_) {
        window_ = std::make_unique<QWidget>(nullptr, Qt::ToolTip | Qt::FramelessWindowHint |
                                                         Qt::WindowStaysOnTopHint |
                                                         Qt::WindowDoesNotAcceptFocus);
        window_->setAttribute(Qt::WA_ShowWithoutActivating);
        window_->setObjectName("pelixHud");
        window_->setStyleSheet(
            "#pelixHud { background: #1f1f24; border: 1px solid #3a3a44; border-radius: 10px; }"
            "QLabel { color: #f2f2f5; font-size: 14px; padding: 8px 16px; }");
        auto* layout = new QHBoxLayout(window_.get());
        layout->setContentsMargins(0, 0, 0, 0);
        label_ = new QLabel(window_.get());
        layout->addWidget(label_);
        hideTimer_ = new QTimer(window_.get());
        hideTimer_->setSingleShot(true);
        QObject::connect(hideTimer_, &QTimer::timeout, window_.get(), [this] {
            window_->hide();
            if (overlaid_ && overlay_) overlay_->hide();
            overlaid_ = false;
            label_->clear();
        });
    }
    label_->setText(line);
    window_->adjustSize();
    if (overlay_) {
        QImage picture(window_->size() * window_->devicePixelRatioF(),
                       QImage::Format_ARGB32_Premultiplied);
        picture.setDevicePixelRatio(window_->devicePixelRatioF());
        picture.fill(Qt::transparent);
        window_->render(&picture, {}, {}, QWidget::DrawWindowBackground | QWidget::DrawChildren);
        overlay_->show(picture, 48);
        overlaid_ = true;
        hideTimer_->start(showMs_);
        return;
    }
    if (const QScreen* screen = QGuiApplication::primaryScreen()) {
        const QRect area = screen->availableGeometry();
        window_->move(area.center().x() - window_->width() / 2, area.top() + 48);
    }
    window_->show();
    window_->raise();
    hideTimer_->start(showMs_);
}

QString Hud::visibleLine() const {
    return window_ && (window_->isVisible() || overlaid_) ? label_->text() : QString();
}

}  // namespace pelix::ui
