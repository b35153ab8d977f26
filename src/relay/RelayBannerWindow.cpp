#include "relay/RelayBannerWindow.h"

#include "relay/RelayBanner.h"
#include "ui/Theme.h"

#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScreen>

namespace pelix::relay {

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
    using namespace ui::theme;
    loadFonts();
    setStyleSheet(styleSheet() +
                  QStringLiteral("#pelixRelayBanner { background: %1; border: 1px solid %2;"
                                 " border-radius: %3px; }"
                                 "#pelixRelayBanner QLabel { color: %4; }")
                      .arg(kSurface.name(), kBorder.name())
                      .arg(kRadius)
                      .arg(kText.name()));
    label_->setFont(ui::theme::font(Type::body));
    cancel_->setFont(ui::theme::font(Type::body));
    setRole(cancel_, "ghost");
    cancel_->setFocusPolicy(Qt::NoFocus);
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(ui::theme::kSpace4, ui::theme::kSpace2, ui::theme::kSpace2,
                               ui::theme::kSpace2);
    layout->setSpacing(ui::theme::kSpace3);
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
    // A tick changes one digit: the window moves and comes up again only when it appears or its
    // size changes, so a countdown costs the display one repaint a second.
    const QSize size = sizeHint();
    if (isVisible() && size == this->size()) return;
    resize(size);
    if (const QScreen* screen = QGuiApplication::primaryScreen()) {
        const QRect area = screen->availableGeometry();
        move(area.center().x() - width() / 2, area.top() + kTopGap);
    }
    if (!isVisible()) show();
    raise();
}

}  // namespace pelix::relay
