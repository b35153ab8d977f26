#pragma once

#include "editor/EditProject.h"
#include "editor/Timeline.h"

#include <QPointF>
#include <QRectF>
#include <QSize>
#include <QString>

#include <functional>
#include <optional>
#include <vector>

namespace pelix::render {

// The fonts the overlay asks for; libass falls back through fontconfig for any character they
// lack.
inline constexpr auto kFont = "DejaVu Sans";
inline constexpr auto kCjkFont = "WenQuanYi Micro Hei";
// Seconds the hook stays over the opening.
inline constexpr double kHookSeconds = 3.0;
// The shortest time a pop-up phrase stays, unless the next one comes sooner.
inline constexpr double kPopUpSeconds = 0.8;

// What is drawn over the picture, as an ASS subtitle script for libass at the output's size:
// the captions (bold: large white words with a dark outline, the word being spoken in yellow;
// clean: smaller text on a soft dark box; low or in the middle, at the caption size), the
// pop-up phrases while their line is spoken, the hook over the opening seconds and the progress
// bar. Empty when there is nothing to draw.
// `faceAt` gives the speaker's face in the picture (pixels) over a stretch of output time, for
// the pop-ups to keep clear of; none, or no function, when no face is known there.
using FaceAt = std::function<std::optional<QRectF>(double from, double to)>;
QString assScript(const editor::EditProject& project, const editor::Timeline& timeline,
                  const std::vector<editor::Line>& lines, QSize size, const FaceAt& faceAt = {});

// Where a pop-up phrase whose text measures `text` is centred in a picture of `size`: across the
// middle at a third of the height, unless it would cover `face` (pixels). Then just above the
// face, or just below it when there is no room above; when neither side has room, at the top.
// It stays clear of the top edge (and above that, of `clearBelow`: the hook while it shows) and
// of the captions' band low in the picture.
QPointF popUpPlace(QSize size, QSizeF text, const std::optional<QRectF>& face,
                   double clearBelow = 0);

// An ASS time ("0:00:03.25"), to the hundredth of a second.
QString assTime(double seconds);
// Text shown as it is: braces and backslashes would be read as override tags, line breaks as
// the end of the event.
QString assText(const QString& text);

}  // namespace pelix::render
