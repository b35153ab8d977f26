#pragma once

#include "editor/EditProject.h"
#include "editor/Timeline.h"

#include <QPointF>
#include <QRectF>
#include <QSize>
#include <QString>

#include <cstdint>
#include <optional>
#include <vector>

namespace pelix::render {

// The finished video's frame and sample rates.
inline constexpr int kFrameRate = 30;
inline constexpr int kSampleRate = 48000;
// Seconds a punch-in takes to reach its zoom.
inline constexpr double kZoomEase = 0.2;
// Seconds of fade on each side of a cut in the sound, so that no cut clicks.
inline constexpr double kFade = 0.012;

// The picture size of a format: reel and YouTube Short 1080×1920, RedNote 1080×1440, YouTube
// 1920×1080, original the first clip's own size (1080×1920 when that is unknown).
QSize formatSize(editor::VideoFormat format, QSize firstClip);
// `size` times `scale`, each side rounded to an even number of at least 2 (the encoder's 4:2:0
// pictures need even sides).
QSize scaledSize(QSize size, double scale);

// The part of a source picture that fills the output: the largest rectangle of the output's
// shape, made smaller by `zoom` (1 or more), centred on `centre` (fractions of the picture) as
// nearly as the picture's edges allow.
QRectF cropRect(QSize source, QSize output, QPointF centre, double zoom);

// Where `face` (fractions of a source picture of `source` pixels) lands in an output picture of
// `output` pixels framed with `centre` and `zoom` as cropRect frames it; none when it is out of
// the picture.
std::optional<QRectF> faceInPicture(QSize source, QSize output, QPointF centre, double zoom,
                                    const QRectF& face);

// The first output frame at or after output time `t`, and the sample at `t`.
int frameAt(double t);
int64_t sampleAt(double t);

// One kept segment as it is drawn: where it comes from, where it plays and how it is framed.
struct Piece {
    int clip = 0;
    double sourceStart = 0;
    double sourceEnd = 0;
    double outputStart = 0;
    double outputEnd = 0;
    double zoom = 1;      // the punch-in, times the clip's own framing zoom
    double zoomFrom = 1;  // the zoom it eases in from (the piece before's, in the same clip)
    QPointF centre{0.5, 0.5};
    bool fadeIn = true;   // the sound before it was cut away
    bool fadeOut = true;  // the sound after it is cut away
    bool operator==(const Piece&) const = default;

    // The zoom at an output time within the piece: eased (cubic, slowing down) from `zoomFrom`
    // to `zoom` over kZoomEase seconds.
    double zoomAt(double outputTime) const;
};

struct ClipSource {
    QString path;
    QSize size;  // as the project says; the file's own size is what is drawn
};

struct RenderPlan {
    QSize size;
    double total = 0;  // seconds
    std::vector<ClipSource> clips;
    std::vector<Piece> pieces;
    // What is drawn over the picture, as an ASS subtitle script; empty when nothing is.
    QString overlay;

    int frameCount() const { return frameAt(total); }
    // The piece playing at output time `t`; -1 when there is none.
    int pieceAt(double t) const;
};

// The centre and zoom a clip is framed with: the user's framing when set, else the speaker's
// face across the middle height, else the middle of the picture.
struct ClipFraming {
    QPointF centre{0.5, 0.5};
    double zoom = 1;
};
ClipFraming framingOf(const editor::SourceClip& clip);

// Everything the renderer needs to draw a project, at `scale` times the format's size.
RenderPlan makePlan(const editor::EditProject& project, double scale = 1.0);

// The sound of one piece, in samples at kSampleRate: output samples [outputStart, outputStart +
// length) play the clip's samples from `sourceStart` on. A piece that continues the one before
// in the source starts where that one's sound ended, so no sample is lost or played twice.
struct SoundPiece {
    int clip = 0;
    int64_t outputStart = 0;
    int64_t length = 0;
    int64_t sourceStart = 0;
    bool fadeIn = true;
    bool fadeOut = true;
    bool operator==(const SoundPiece&) const = default;

    // The gain of the piece's sample `at` (0 to length - 1): a straight fade over kFade (at most
    // half the piece) on each side where the sound next to it was cut away, else 1.
    float gain(int64_t at) const;
};
std::vector<SoundPiece> soundPieces(const RenderPlan& plan);

}  // namespace pelix::render
