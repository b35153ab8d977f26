#include "relay/RelayBannerWindow.h"

#include "relay/RelayBanner.h"

#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScreen>

namespace pelix {

RelayBannerWindow::RelayBannerWindow(RelayBanner& banner)
    : QWidget(nullptr, Qt::ToolTip | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                           Qt::WindowDoesNotAcceptFocus),
      banner_(banner),
      label_(new QLabel(this)),
      cancel_(new QPushButton(QStringLiteral("Cancel"), this)) {
    setAttribute(Qt::WA_ShowWithoutActivating);
    // A QWidget subclass draws its style sheet's background only when asked to.
    setAttribute(Qt::WA_StyledBackground);
    setObjectName(QStringLiteral("pelixRelayBanner"));
    setStyleSheet(QStringLiteral(
        "#pelixRelayBanner { background: #1f1f24; border: 1px solid #3a3a44; border-radius: 10px; }"
        "QLabel { color: #f2f2f5; font-size: 14px; }"
        "QPushButton { color: #f2f2f5; background: #3a3a44; border: none; border-radius: 6px;"
        " padding: 4px 12px; }"));
    cancel_->setFocusPolicy(Qt::NoFocus);
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(16, 8, 8, 8);
    layout->setSpacing(12);
    layout->addWidget(label_);
    layout->addWidget(cancel_);
    connect(cancel_, &QPushButton::clicked, &banner_, &RelayBanner::cancel);
    connect(&banner_, &RelayBanner::changed, this, &RelayBannerWindow::follow);
}

RelayBannerWindow::~RelayBannerWindow() = default;

void RelayBannerWindow::follow() {
    if (!banner_.visible()) {
        hide();
        return;
    }
    label_->setText(banner_.text());
    adjustSize();
    if (const QScreen* screen = QGuiApplication::primaryScreen()) {
        const QRect area = screen->availableGeometry();
        move(area.center().x() - width() / 2, area.top() + kTopGap);
    }
    if (!isVisible()) show();
    raise();
}

}  // namespace pelix
