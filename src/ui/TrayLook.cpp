#include "ui/TrayLook.h"

#include <QIconEngine>
#include <QPainter>
#include <QPainterPath>
#include <QPainterPathStroker>
#include <QPalette>
#include <QPixmap>
#include <QStandardPaths>

namespace pelix::ui {
namespace {

// One stroke of the drawing on a 32 × 32 square; `fill` invalid means none, `width` 0 no outline.
struct Shape {
    QPainterPath path;
    QColor ink;
    qreal width = 0;
    QColor fill;
};

const QColor kInk(0xd8, 0xd8, 0xde);
// The dark grey of symbolic icons, for light panels.
const QColor kDarkInk(0x2e, 0x34, 0x36);
const QColor kRed(0xe5, 0x39, 0x35);
const QColor kTile(0x2b, 0x2d, 0x3a);
const QColor kTileInk(0xf4, 0xf4, 0xf7);
constexpr qreal kStroke = 2.6;

QList<Shape> microphone(TrayLook look, const QColor& ink, const QColor& capsuleFill) {
    QPainterPath capsule;
    capsule.addRoundedRect(QRectF(11, 3, 10, 17), 5, 5);
    QPainterPath cup;
    cup.moveTo(7, 14);
    cup.cubicTo(7, 27, 25, 27, 25, 14);
    QPainterPath stem;
    stem.moveTo(16, 24.5);
    stem.lineTo(16, 29);
    QList<Shape> shapes{
        {capsule, ink, kStroke, capsuleFill}, {cup, ink, kStroke, {}}, {stem, ink, kStroke, {}}};
    if (look == TrayLook::signedOut) {
        QPainterPath strike;
        strike.moveTo(5, 4);
        strike.lineTo(27, 28);
        shapes.append({strike, ink, kStroke, {}});
    }
    return shapes;
}

QList<Shape> tray(TrayLook look, PanelShade shade) {
    const bool recording = look == TrayLook::recording;
    const QColor ink = shade == PanelShade::dark ? kInk : kDarkInk;
    return microphone(look, recording ? kRed : ink, recording ? kRed : QColor());
}

// The microphone, a little smaller, on a tile; the capsule in the recording red.
QList<Shape> application() {
    QPainterPath tile;
    tile.addRoundedRect(QRectF(1, 1, 30, 30), 7, 7);
    QList<Shape> shapes{{tile, {}, 0, kTile}};
    QTransform inward;
    inward.translate(16, 16).scale(0.72, 0.72).translate(-16, -16);
    for (Shape shape : microphone(TrayLook::idle, kTileInk, kRed)) {
        shape.path = inward.map(shape.path);
        shape.width *= 0.72;
        shapes.append(shape);
    }
    return shapes;
}

QImage paint(const QList<Shape>& shapes, int size) {
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter p(&image);
    p.setRenderHint(QPainter::Antialiasing);
    p.scale(size / 32.0, size / 32.0);
    for (const Shape& shape : shapes) {
        p.setPen(shape.width > 0
                     ? QPen(shape.ink, shape.width, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin)
                     : QPen(Qt::NoPen));
        p.setBrush(shape.fill.isValid() ? QBrush(shape.fill) : QBrush(Qt::NoBrush));
        p.drawPath(shape.path);
    }
    return image;
}

QString number(qreal v) {
    QString text = QString::number(v, 'f', 3);
    while (text.endsWith('0')) text.chop(1);
    if (text.endsWith('.')) text.chop(1);
    return text == "-0" ? "0" : text;
}

// SVG path data; a figure that ends where it began is closed.
QString pathData(const QPainterPath& path) {
    QStringList parts;
    QPointF start;
    QPointF last;
    bool drawn = false;
    const auto close = [&] {
        if (drawn && last == start) parts << "Z";
        drawn = false;
    };
    for (int i = 0; i < path.elementCount(); ++i) {
        const QPainterPath::Element e = path.elementAt(i);
        const QString point = number(e.x) + ' ' + number(e.y);
        switch (e.type) {
            case QPainterPath::MoveToElement:
                close();
                start = e;
                parts << 'M' + point;
                break;
            case QPainterPath::LineToElement:
                parts << 'L' + point;
                drawn = true;
                break;
            case QPainterPath::CurveToElement:
                parts << 'C' + point;
                drawn = true;
                break;
            case QPainterPath::CurveToDataElement:
                parts << point;
                break;
        }
        last = e;
    }
    close();
    return parts.join(' ');
}

// The drawing as filled outlines only: desktops recolour the fills of a symbolic icon, not its
// strokes.
QString symbolicSvg(const QList<Shape>& shapes) {
    QString out =
        "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"16\" height=\"16\" "
        "viewBox=\"0 0 32 32\">\n"
        "  <style id=\"current-color-scheme\" type=\"text/css\">.ColorScheme-Text { color: " +
        kDarkInk.name() + "; }</style>\n";
    for (const Shape& shape : shapes) {
        QPainterPath filled;
        if (shape.fill.isValid()) filled = shape.path;
        if (shape.width > 0) {
            QPainterPathStroker stroker;
            stroker.setWidth(shape.width);
            stroker.setCapStyle(Qt::RoundCap);
            stroker.setJoinStyle(Qt::RoundJoin);
            filled = filled.united(stroker.createStroke(shape.path));
        }
        // A simplified path is meant to be filled even-odd: the capsule's inside stays open.
        out +=
            "  <path class=\"ColorScheme-Text\" fill=\"currentColor\" fill-rule=\"evenodd\" "
            "d=\"" +
            pathData(filled.simplified()) + "\"/>\n";
    }
    return out + "</svg>\n";
}

// A drawn icon that carries the name of the installed one, for trays that load icons by name.
class NamedIconEngine final : public QIconEngine {
public:
    NamedIconEngine(QIcon drawn, QString name) : drawn_(std::move(drawn)), name_(std::move(name)) {}

    void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode,
               QIcon::State state) override {
        drawn_.paint(painter, rect, Qt::AlignCenter, mode, state);
    }
    QSize actualSize(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
        return drawn_.actualSize(size, mode, state);
    }
    QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State state) override {
        return drawn_.pixmap(size, mode, state);
    }
    QList<QSize> availableSizes(QIcon::Mode mode, QIcon::State state) override {
        return drawn_.availableSizes(mode, state);
    }
    QString iconName() override { return name_; }
    bool isNull() override { return drawn_.isNull(); }
    QString key() const override { return QStringLiteral("PelixNamedIcon"); }
    QIconEngine* clone() const override { return new NamedIconEngine(drawn_, name_); }

private:
    QIcon drawn_;
    QString name_;
};

// Whether the hicolor theme of one of the data folders holds the icon `name` as SVG.
bool installed(const QString& name) {
    const QString inTheme = "icons/hicolor/scalable/status/" + name + ".svg";
    return !QStandardPaths::locate(QStandardPaths::GenericDataLocation, inTheme).isEmpty();
}

QString svg(const QList<Shape>& shapes) {
    QString out =
        "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"32\" height=\"32\" "
        "viewBox=\"0 0 32 32\">\n";
    for (const Shape& shape : shapes) {
        out += "  <path d=\"" + pathData(shape.path) + "\" fill=\"" +
               (shape.fill.isValid() ? shape.fill.name() : "none") + '"';
        if (shape.width > 0) {
            out += " stroke=\"" + shape.ink.name() + "\" stroke-width=\"" + number(shape.width) +
                   "\" stroke-linecap=\"round\" stroke-linejoin=\"round\"";
        }
        out += "/>\n";
    }
    return out + "</svg>\n";
}

}  // namespace

PanelShade panelShade(const QPalette& desktop) {
    return desktop.color(QPalette::Window).lightness() >= 128 ? PanelShade::light
                                                              : PanelShade::dark;
}

QIcon trayIcon(TrayLook look, PanelShade shade) {
    QIcon drawn;
    for (int size : {16, 22, 24, 32, 48, 64})
        drawn.addPixmap(QPixmap::fromImage(trayImage(look, size, shade)));
    const QString name = trayIconName(look);
    QIcon icon(new NamedIconEngine(drawn, installed(name) ? name : QString()));
    icon.setIsMask(isSymbolic(look));
    return icon;
}

QString trayIconName(TrayLook look) {
    switch (look) {
        case TrayLook::idle:
            return "pelix-idle-symbolic";
        case TrayLook::recording:
            return "pelix-recording";
        case TrayLook::signedOut:
            return "pelix-signed-out-symbolic";
    }
    return {};
}

bool isSymbolic(TrayLook look) {
    return look != TrayLook::recording;
}

QString trayFallbackName(TrayLook look, PanelShade shade) {
    switch (look) {
        case TrayLook::idle:
            return shade == PanelShade::dark ? "pelix-idle" : "pelix-idle-dark";
        case TrayLook::recording:
            return "pelix-recording";
        case TrayLook::signedOut:
            return shade == PanelShade::dark ? "pelix-signed-out" : "pelix-signed-out-dark";
    }
    return {};
}

QImage trayImage(TrayLook look, int size, PanelShade shade) {
    return paint(tray(look, shade), size);
}

QString traySvg(TrayLook look, PanelShade shade) {
    return svg(tray(look, shade));
}

QString traySymbolicSvg(TrayLook look) {
    return symbolicSvg(tray(look, PanelShade::light));
}

QImage appImage(int size) {
    return paint(application(), size);
}

QString appSvg() {
    return svg(application());
}

}  // namespace pelix::ui
