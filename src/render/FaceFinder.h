#pragma once

// The finder looks at the key frame each seek lands on (so nothing is decoded in between), scaled
// to 640 pixels wide in gray and equalised, with OpenCV's Haar cascade
// haarcascade_frontalface_alt2.xml; the largest face of each picture counts. The default cascade
// missed the test face at that size and the LBP one missed it at every size. The detector itself
// (FaceDetector.cpp) is in the renderer's module, so that the tray maps no OpenCV.

#include "core/Error.h"

#include <QRectF>
#include <QString>

#include <optional>
#include <vector>

namespace pelix::render {

// Where a clip's speaker is, across the picture.
struct FaceFinding {
    std::optional<double> x;    // the face's centre, a fraction of the picture's width
    std::optional<QRectF> box;  // the face, in fractions of the picture; with `x`
    int sampled = 0;            // pictures looked at
    int found = 0;              // of them, pictures with a face
    bool operator==(const FaceFinding&) const = default;
};

// Pictures looked at across a clip.
inline constexpr int kFaceSamples = 12;

// The face's position from what each sampled picture showed (its largest face's centre, or
// none): the median of the faces seen, but only when at least a quarter of the pictures (and
// at least two) showed one, so one stray detection neither sets nor moves the framing.
FaceFinding steadyFace(const std::vector<std::optional<double>>& perPicture);
// The same from the faces' boxes (fractions of the picture), with the box whose every edge is the
// median of the faces seen.
FaceFinding steadyFace(const std::vector<std::optional<QRectF>>& perPicture);

// The cascade the finder uses: $PELIX_FACE_CASCADE, else OpenCV's frontal face cascade from
// Debian's opencv-data.
QString faceCascade();

// Looks at `samples` pictures spread across the file, each scaled down, with OpenCV's face
// detector. Fails when the file has no pictures or the detector's data is missing.
Result<FaceFinding> findFace(const QString& file, int samples = kFaceSamples);

}  // namespace pelix::render
