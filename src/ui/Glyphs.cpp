#include "ui/Glyphs.h"

#include <QPainter>
#include <QPainterPath>
#include <QPixmap>

#include <cmath>
#include <numbers>

namespace pelix::ui {
namespace {

void gear(QPainter& p) {
    // Eight teeth: each a trapezoid from the inner ring (r 6) out to the tips (r 8).
    QPolygonF outline;
    constexpr int kTeeth = 8;
    for (int i = 0; i < kTeeth; ++i) {
        const double at = i * 2 * std::numbers::pi / kTeeth;
        const auto point = [at](double r, double offset) {
            return QPointF(10 + r * std::cos(at + offset), 10 + r * std::sin(at + offset));
        };
        outline << point(6, -0.4) << point(8, -0.2) << point(8, 0.2) << point(6, 0.4);
    }
    p.drawPolygon(outline);
    p.drawEllipse(QPointF(10, 10), 2.5, 2.5);
}

void openWindow(QPainter& p) {
    QPainterPath frame;
    frame.moveTo(9, 4);
    frame.lineTo(5.5, 4);
    frame.quadTo(4, 4, 4, 5.5);
    frame.lineTo(4, 14.5);
    frame.quadTo(4, 16, 5.5, 16);
    frame.lineTo(14.5, 16);
    frame.quadTo(16, 16, 16, 14.5);
    frame.lineTo(16, 11);
    p.drawPath(frame);
    p.drawLine(QPointF(10, 10), QPointF(16.5, 3.5));
    p.drawPolyline(QPolygonF({QPointF(12, 3.5), QPointF(16.5, 3.5), QPointF(16.5, 8)}));
}

void microphone(QPainter& p) {
    p.drawRoundedRect(QRectF(7.2, 2.5, 5.6, 9.5), 2.8, 2.8);
    QPainterPath cup;
    cup.moveTo(4.5, 9);
    cup.cubicTo(4.5, 16, 15.5, 16, 15.5, 9);
    p.drawPath(cup);
    p.drawLine(QPointF(10, 14.3), QPointF(10, 17.5));
}

void link(QPainter& p) {
    p.drawEllipse(QPointF(7.5, 10), 4, 4);
    p.drawEllipse(QPointF(12.5, 10), 4, 4);
}

void pattern(QPainter& p) {
    const QPolygonF line({QPointF(3, 14.5), QPointF(7.5, 9.5), QPointF(11, 12), QPointF(17, 5)});
    p.drawPolyline(line);
    const QBrush brush = p.brush();
    p.setBrush(p.pen().color());
    for (const QPointF& point : line) p.drawEllipse(point, 1.2, 1.2);
    p.setBrush(brush);
}

void people(QPainter& p) {
    p.drawEllipse(QPointF(7.5, 7), 2.6, 2.6);
    QPainterPath front;
    front.moveTo(2.5, 16.5);
    front.cubicTo(2.5, 11, 12.5, 11, 12.5, 16.5);
    p.drawPath(front);
    p.drawEllipse(QPointF(13.5, 6.2), 2.2, 2.2);
    QPainterPath back;
    back.moveTo(14, 11);
    back.cubicTo(16.5, 11, 17.8, 12.8, 17.8, 15.5);
    p.drawPath(back);
}

void nudge(QPainter& p) {
    QPainterPath bell;
    bell.moveTo(4.5, 14.5);
    bell.lineTo(15.5, 14.5);
    bell.quadTo(14, 13, 14, 10.5);
    bell.lineTo(14, 8.5);
    bell.cubicTo(14, 3.5, 6, 3.5, 6, 8.5);
    bell.lineTo(6, 10.5);
    bell.quadTo(6, 13, 4.5, 14.5);
    p.drawPath(bell);
    p.drawLine(QPointF(8.5, 17), QPointF(11.5, 17));
}

void wave(QPainter& p) {
    const double heights[] = {4, 9, 13, 7, 10};
    for (int i = 0; i < 5; ++i) {
        const double x = 4 + i * 3;
        p.drawLine(QPointF(x, 10 - heights[i] / 2), QPointF(x, 10 + heights[i] / 2));
    }
}

void eye(QPainter& p, bool shut) {
    QPainterPath lids;
    lids.moveTo(2.5, 10);
    lids.quadTo(10, 2, 17.5, 10);
    lids.quadTo(10, 18, 2.5, 10);
    p.drawPath(lids);
    p.drawEllipse(QPointF(10, 10), 2.6, 2.6);
    if (shut) p.drawLine(QPointF(4, 16), QPointF(16, 4));
}

}  // namespace

void drawGlyph(QPainter& painter, Glyph glyph, const QRectF& box, const QColor& ink) {
    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    const double scale = std::min(box.width(), box.height()) / 20.0;
    painter.translate(box.center() - QPointF(10 * scale, 10 * scale));
    painter.scale(scale, scale);
    painter.setPen(QPen(ink, 1.6, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
    painter.setBrush(Qt::NoBrush);
    switch (glyph) {
        case Glyph::gear:
            gear(painter);
            break;
        case Glyph::openWindow:
            openWindow(painter);
            break;
        case Glyph::microphone:
            microphone(painter);
            break;
        case Glyph::stop:
            painter.setPen(Qt::NoPen);
            painter.setBrush(ink);
            painter.drawRoundedRect(QRectF(5.5, 5.5, 9, 9), 2, 2);
            break;
        case Glyph::link:
            link(painter);
            break;
        case Glyph::pattern:
            pattern(painter);
            break;
        case Glyph::people:
            people(painter);
            break;
        case Glyph::nudge:
            nudge(painter);
            break;
        case Glyph::wave:
            wave(painter);
            break;
        case Glyph::eye:
        case Glyph::eyeShut:
            eye(painter, glyph == Glyph::eyeShut);
            break;
    }
    painter.restore();
}

QIcon glyphIcon(Glyph glyph, const QColor& ink, int size) {
    QIcon icon;
    for (int ratio : {1, 2}) {
        QPixmap pixmap(size * ratio, size * ratio);
        pixmap.setDevicePixelRatio(ratio);
        pixmap.fill(Qt::transparent);
        QPainter p(&pixmap);
        drawGlyph(p, glyph, QRectF(0, 0, size, size), ink);
        p.end();
        icon.addPixmap(pixmap);
    }
    return icon;
}

}  // namespace pelix::ui
