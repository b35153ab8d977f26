#pragma once

#include <QByteArray>
#include <QImage>

class QWidget;

namespace pelix::ui {

// Pictures are drawn at twice their size in pixels, as a Hi-DPI screen shows them.
inline constexpr qreal kSnapshotScale = 2;

// Draws `widget` off-screen as it would appear: it is shown (on the off-screen platform nothing
// appears), its layout is settled with a few turns of the event loop, and it is painted at
// `scale` into an image with a transparent background, so round windows keep their shape.
QImage drawWidget(QWidget& widget, qreal scale = kSnapshotScale);

// The image as PNG, with nothing in the file that changes from run to run.
QByteArray pngBytes(const QImage& image);

}  // namespace pelix::ui
