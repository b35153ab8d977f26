#pragma once

#include <QColor>
#include <QIcon>
#include <QRectF>

class QPainter;

namespace pelix::ui {

// Small line drawings shared by the windows, drawn with QPainter so that they look the same
// everywhere and scale to any screen.
enum class Glyph {
    gear,
    openWindow,  // a window with an arrow leaving it
    microphone,
    stop,     // a rounded square
    link,     // two joined rings
    pattern,  // a rising line through points
    people,   // two heads and shoulders
    nudge,    // a bell
    wave,     // bars of sound
    eye,      // an open eye: what is hidden can be shown
    eyeShut,  // the eye struck through: what is shown can be hidden
};

// Draws `glyph` centred in `box` (designed on a 20-pixel square) with `ink`.
void drawGlyph(QPainter& painter, Glyph glyph, const QRectF& box, const QColor& ink);

// The glyph as an icon of `size` pixels, sharp at device pixel ratios 1 and 2.
QIcon glyphIcon(Glyph glyph, const QColor& ink, int size = 16);

}  // namespace pelix::ui
