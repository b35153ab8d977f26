#pragma once

#include "core/Error.h"
#include "editor/EditProject.h"
#include "render/RenderPlan.h"

#include <QImage>
#include <QSize>
#include <QString>

#include <functional>
#include <memory>
#include <stop_token>

namespace pelix::render {

// Error codes of the renderer.
enum : int {
    kClipMissing = 5001,   // a clip's media file is not there
    kNothingKept = 5002,   // every line is cut
    kStopped = 5003,       // the caller asked to stop
    kRenderFailed = 5004,  // decoding, drawing or encoding went wrong
    kWriteFailed = 5005,   // the file could not be written
};

struct RenderOptions {
    // Of the format's size: below 1 for drafts, previews and tests.
    double scale = 1.0;
    // x264's speed preset and constant rate factor.
    QString preset = QStringLiteral("veryfast");
    int quality = 21;
    // The fraction done, from 0 to 1, called on the rendering thread after each frame.
    std::function<void(double)> progress;
    // Checked before each frame.
    std::stop_token stop;
};

// The pictures of one project for a preview that plays: the clips and the overlay stay open from
// one picture to the next, so a picture shortly after the last costs a decode rather than an
// open and a seek. One thread at a time.
class FrameSource {
public:
    virtual ~FrameSource() = default;
    // The picture at output time `t`.
    virtual Result<QImage> at(double t) = 0;
    // Goes on with a changed project; clips it still uses stay open.
    virtual void setProject(const editor::EditProject& project, double scale) = 0;
};

// Draws a project: the finished video, or one of its pictures for a preview. The work runs on
// the calling thread (a worker's: an export takes about as long as the video plays).
class Renderer {
public:
    virtual ~Renderer() = default;

    // Writes the finished video to `target`: H.264 and AAC in MP4 with the index at the front.
    // It is written to a hidden file beside the target and moved into place only when whole,
    // with the mode the umask gives a document (0644 under 022); a failure or a stop leaves
    // nothing behind.
    virtual Status exportVideo(const editor::EditProject& project, const QString& target,
                               const RenderOptions& options) = 0;

    // The finished video's picture at output time `t`, at `scale` times the format's size.
    virtual Result<QImage> frame(const editor::EditProject& project, double t, double scale) = 0;

    // The pictures of `project` at `scale` times the format's size, one after another.
    virtual std::unique_ptr<FrameSource> frames(const editor::EditProject& project,
                                                double scale) = 0;
};

// The renderer over FFmpeg's libraries: decoders, a scaler for the framing and the zooms,
// libass through a filter graph for everything drawn over the picture, libx264 and AAC.
std::unique_ptr<Renderer> makeRenderer();

// The picture of a media file at `t` seconds, framed for an output of `size` around `framing`.
Result<QImage> framedPicture(const QString& file, double t, QSize size, const ClipFraming& framing);

// What `new` needs to know of a media file.
struct ClipInfo {
    double duration = 0;  // seconds; 0 when unknown
    QSize size;           // of the picture; empty for sound alone
    bool sound = false;
};
// Fails with the media layer's sentence when the file is not media.
Result<ClipInfo> probeClip(const QString& file);

}  // namespace pelix::render
