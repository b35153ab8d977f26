#include "ui/TrayLook.h"

#include <QPainter>
#include <QPainterPath>
#include <QPixmap>

namespace pelix::ui {
namespace {

QPixmap draw(TrayLook look, int size) {
    QPixmap pixmap(size, size);
    pixmap.fill(Qt::transparent);
    QPainter p(&pixmap);
    p.setRenderHint(QPainter::Antialiasing);
    p.scale(size / 32.0, size / 32.0);
    const QColor ink =
        look == TrayLook::recording ? QColor(0xe5, 0x39, 0x35) : QColor(0xd8, 0xd8, 0xde);
    QPen pen(ink, 2.6, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin);
    p.setPen(pen);
    if (look == TrayLook::recording) p.setBrush(ink);
    p.drawRoundedRect(QRectF(11, 3, 10, 17), 5, 5);
    p.setBrush(Qt::NoBrush);
    QPainterPath cup;
    cup.moveTo(7, 14);
    cup.cubicTo(7, 27, 25, 27, 25, 14);
    p.drawPath(cup);
    p.drawLine(QPointF(16, 24.5), QPointF(16, 29));
    if (look == TrayLook::signedOut) p.drawLine(QPointF(5, 4), QPointF(27, 28));
    return pixmap;
}

}  // namespace

QIcon trayIcon(TrayLook look) {
    QIcon icon;
    for (int size : {16, 22, 24, 32, 48, 64}) icon.addPixmap(draw(look, size));
    return icon;
}

}  // namespace pelix::ui
