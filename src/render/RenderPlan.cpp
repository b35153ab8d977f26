#include "render/RenderPlan.h"

#include "editor/Emphasis.h"
#include "render/AssScript.h"

#include <algorithm>
#include <cmath>

namespace pelix::render {
namespace {

int even(double side) {
    return std::max(2, int(std::lround(side / 2)) * 2);
}

// Segments of one clip that follow each other in the source play as one stretch of sound.
bool continues(const Piece& before, const Piece& after) {
    return before.clip == after.clip && std::abs(after.sourceStart - before.sourceEnd) < 1e-6;
}

}  // namespace

QSize formatSize(editor::VideoFormat format, QSize firstClip) {
    switch (format) {
        case editor::VideoFormat::reel:
        case editor::VideoFormat::youtubeShort:
            return {1080, 1920};
        case editor::VideoFormat::rednote:
            return {1080, 1440};
        case editor::VideoFormat::youtube:
            return {1920, 1080};
        case editor::VideoFormat::original:
            break;
    }
    if (firstClip.width() < 2 || firstClip.height() < 2) return {1080, 1920};
    return {firstClip.width() / 2 * 2, firstClip.height() / 2 * 2};
}

QSize scaledSize(QSize size, double scale) {
    return {even(size.width() * scale), even(size.height() * scale)};
}

QRectF cropRect(QSize source, QSize output, QPointF centre, double zoom) {
    const double sw = source.width(), sh = source.height();
    if (sw <= 0 || sh <= 0 || output.isEmpty()) return {};
    const double aspect = double(output.width()) / output.height();
    double w = sw, h = sh;
    if (sw / sh > aspect) {
        w = sh * aspect;
    } else {
        h = sw / aspect;
    }
    zoom = std::max(zoom, 1.0);
    w /= zoom;
    h /= zoom;
    const double x = std::clamp(centre.x() * sw - w / 2, 0.0, sw - w);
    const double y = std::clamp(centre.y() * sh - h / 2, 0.0, sh - h);
    return {x, y, w, h};
}

std::optional<QRectF> faceInPicture(QSize source, QSize output, QPointF centre, double zoom,
                                    const QRectF& face) {
    const QRectF crop = cropRect(source, output, centre, zoom);
    if (crop.isEmpty()) return std::nullopt;
    const QRectF inSource(face.x() * source.width(), face.y() * source.height(),
                          face.width() * source.width(), face.height() * source.height());
    const QRectF seen = inSource.intersected(crop);
    if (seen.isEmpty()) return std::nullopt;
    const double sx = output.width() / crop.width(), sy = output.height() / crop.height();
    return QRectF((seen.x() - crop.x()) * sx, (seen.y() - crop.y()) * sy, seen.width() * sx,
                  seen.height() * sy);
}

int frameAt(double t) {
    return int(std::ceil(t * kFrameRate - 1e-6));
}

int64_t sampleAt(double t) {
    return std::llround(t * kSampleRate);
}

double Piece::zoomAt(double outputTime) const {
    const double u = std::clamp((outputTime - outputStart) / kZoomEase, 0.0, 1.0);
    const double eased = 1 - std::pow(1 - u, 3);
    return zoomFrom + (zoom - zoomFrom) * eased;
}

int RenderPlan::pieceAt(double t) const {
    const auto after = std::ranges::upper_bound(pieces, t, {}, &Piece::outputStart);
    if (after == pieces.begin()) return -1;
    const auto piece = std::prev(after);
    if (t >= piece->outputEnd && std::next(piece) == pieces.end()) return -1;
    return int(piece - pieces.begin());
}

ClipFraming framingOf(const editor::SourceClip& clip) {
    if (clip.framing) {
        return {
            QPointF(std::clamp(clip.framing->x, 0.0, 1.0), std::clamp(clip.framing->y, 0.0, 1.0)),
            std::max(clip.framing->zoom, 1.0)};
    }
    if (clip.faceX) return {QPointF(std::clamp(*clip.faceX, 0.0, 1.0), 0.5), 1.0};
    return {};
}

RenderPlan makePlan(const editor::EditProject& project, double scale) {
    RenderPlan plan;
    const QSize first = project.clips.empty()
                            ? QSize()
                            : QSize(project.clips.front().width, project.clips.front().height);
    plan.size = scaledSize(formatSize(project.settings.format, first), scale);
    for (const editor::SourceClip& clip : project.clips) {
        plan.clips.push_back({clip.path, QSize(clip.width, clip.height)});
    }

    const std::vector<editor::Line> lines = pelix::editor::lines(project.clips);
    const editor::Timeline timeline(segments(project, lines));
    plan.total = timeline.total();
    const std::vector<double> factors = editor::zooms(project, timeline);
    const std::vector<editor::Segment>& kept = timeline.segments();
    plan.pieces.reserve(kept.size());
    for (size_t i = 0; i < kept.size(); ++i) {
        const editor::Segment& s = kept[i];
        const ClipFraming framing = framingOf(project.clips[size_t(s.clip)]);
        Piece piece;
        piece.clip = s.clip;
        piece.sourceStart = s.start;
        piece.sourceEnd = s.end;
        piece.outputStart = timeline.starts()[i];
        piece.outputEnd = piece.outputStart + (s.end - s.start);
        piece.zoom = factors[i] * framing.zoom;
        piece.zoomFrom = piece.zoom;
        piece.centre = framing.centre;
        if (!plan.pieces.empty()) {
            Piece& before = plan.pieces.back();
            if (before.clip == piece.clip) piece.zoomFrom = before.zoom;
            if (continues(before, piece)) before.fadeOut = piece.fadeIn = false;
        }
        plan.pieces.push_back(piece);
    }
    // The face over a stretch of output time: where it is at both ends of each piece played then
    // (a punch-in grows it from the start of its piece), together.
    const FaceAt faceAt = [&plan, &project](double from, double to) -> std::optional<QRectF> {
        std::optional<QRectF> all;
        for (const Piece& piece : plan.pieces) {
            if (piece.outputEnd <= from || piece.outputStart >= to) continue;
            const editor::SourceClip& clip = project.clips[size_t(piece.clip)];
            if (!clip.faceBox) continue;
            const QSize source(clip.width, clip.height);
            for (const double t :
                 {std::max(from, piece.outputStart), std::min(to, piece.outputEnd)}) {
                const auto face =
                    faceInPicture(source, plan.size, piece.centre, piece.zoomAt(t), *clip.faceBox);
                if (face) all = all ? all->united(*face) : *face;
            }
        }
        return all;
    };
    plan.overlay = assScript(project, timeline, lines, plan.size, faceAt);
    return plan;
}

std::vector<SoundPiece> soundPieces(const RenderPlan& plan) {
    std::vector<SoundPiece> sounds;
    sounds.reserve(plan.pieces.size());
    for (const Piece& piece : plan.pieces) {
        SoundPiece sound;
        sound.clip = piece.clip;
        sound.outputStart = sampleAt(piece.outputStart);
        sound.length = sampleAt(piece.outputEnd) - sound.outputStart;
        sound.sourceStart = sampleAt(piece.sourceStart);
        // Without a fade in, the piece before continues into this one in the same clip.
        if (!piece.fadeIn && !sounds.empty()) {
            sound.sourceStart = sounds.back().sourceStart + sounds.back().length;
        }
        sound.fadeIn = piece.fadeIn;
        sound.fadeOut = piece.fadeOut;
        sounds.push_back(sound);
    }
    return sounds;
}

float SoundPiece::gain(int64_t at) const {
    const int64_t ramp = std::min<int64_t>(std::llround(kFade * kSampleRate), length / 2);
    if (ramp <= 0) return 1;
    float gain = 1;
    if (fadeIn && at < ramp) gain = float(at) / float(ramp);
    if (fadeOut && length - at <= ramp) gain = std::min(gain, float(length - at - 1) / float(ramp));
    return gain;
}

}  // namespace pelix::render
