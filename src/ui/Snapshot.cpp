#include "ui/Snapshot.h"

#include <QBuffer>
#include <QCoreApplication>
#include <QImageWriter>
#include <QLayout>
#include <QPainter>
#include <QWidget>

#include <cmath>

namespace pelix::ui {

QImage drawWidget(QWidget& widget, qreal scale) {
    widget.ensurePolished();
    if (QLayout* layout = widget.layout()) layout->activate();
    widget.show();
    // Layout requests, polish events and queued calls of the widget's models are posted; a few
    // turns let them all land before the picture is taken.
    for (int turn = 0; turn < 5; ++turn) {
        QCoreApplication::sendPostedEvents();
        QCoreApplication::processEvents();
    }
    const QSize size = widget.size();
    QImage image(qRound(size.width() * scale), qRound(size.height() * scale),
                 QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(scale);
    // 96 dots per inch at the widget's size, whatever the screen says.
    const int dotsPerMeter = qRound(3780 * scale);
    image.setDotsPerMeterX(dotsPerMeter);
    image.setDotsPerMeterY(dotsPerMeter);
    image.fill(Qt::transparent);
    {
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.setRenderHint(QPainter::TextAntialiasing);
        widget.render(&painter, QPoint(), QRegion(), QWidget::DrawChildren);
    }
    widget.hide();
    return image.convertToFormat(QImage::Format_ARGB32);
}

QByteArray pngBytes(const QImage& image) {
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, "png");
    writer.setQuality(0);  // the smallest file: zlib at its strongest
    writer.write(image);
    return bytes;
}

}  // namespace pelix::ui
