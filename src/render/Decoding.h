#pragma once

// Reading pictures and sound out of media files for the renderer and the face finder, and
// scaling pictures into the output. For this folder only. The picture reader decodes forward and
// seeks only when a time lies behind or more than 2 s ahead; the sound reader has a demuxer of its
// own, so pictures and sound seek independently. The crop is cut by moving the plane pointers (on
// even pixels for 4:2:0) before libswscale scales it into the output.

#include "core/Error.h"
#include "core/Sentences.h"
#include "media/FFmpeg.h"

extern "C" {
#include <libswscale/swscale.h>
}

#include <QImage>
#include <QRectF>
#include <QString>

#include <memory>
#include <optional>
#include <vector>

namespace pelix::render {

struct SwsFreer {
    void operator()(SwsContext* s) const { sws_freeContext(s); }
};

// One stream of a file opened for decoding, which each reader below reads from.
struct DecodedStream {
    QString file;
    // The failure sentence of what is read: `core::sentences::picturesUnreadable` or
    // `soundUnreadable`.
    QString (*unreadable)(const QString& name, const QString& why) = nullptr;
    media::ff::Input input;
    int stream = -1;
    media::ff::Codec codec;
    media::ff::Packet packet{av_packet_alloc()};
    bool draining = false;
    double timeBase = 0;
    double start = 0;  // the file's start time, seconds

    // Opens the best stream of `type` in the file `name`: false (and no error) when it has none;
    // fails when the file is not media or its decoder does not open.
    Result<bool> open(const QString& name, AVMediaType type, bool threads);
    // Seeks to the key frame at or before `t` seconds from the file's start (to the start when
    // the file seeks nowhere else) and empties the decoder.
    Status seek(double t);
    // Decodes the next frame into `frame`; false at the end of the stream.
    Result<bool> next(AVFrame* frame);
    // Seconds from the file's start of a decoded frame; none when it carries no time.
    std::optional<double> timeOf(const AVFrame* frame) const;
    // "Couldn't read the pictures of NAME: " and FFmpeg's sentence for `code`.
    Error failure(int code) const;
};

// The pictures of a file's video track, asked for by time.
class VideoReader {
public:
    // None (and no error) when the file has no pictures; fails when it is not media.
    static Result<std::unique_ptr<VideoReader>> open(const QString& file);

    // The picture showing at `t` seconds from the file's start: the last one that starts at or
    // before it (the first picture when none does). Goes forward by decoding, and seeks when
    // `t` lies behind or far ahead.
    Result<const AVFrame*> at(double t);
    // A picture near `t`, as fast as possible: the key frame the file seeks to.
    Result<const AVFrame*> near(double t);

    double duration() const;

private:
    VideoReader() = default;
    Status seek(double t);
    // Decodes the next picture into next_; false at the end of the track.
    Result<bool> decode();
    double timeOf(const AVFrame* frame) const;
    Result<const AVFrame*> noneAt(double t) const;

    DecodedStream in_;
    media::ff::Frame current_{av_frame_alloc()};
    media::ff::Frame next_{av_frame_alloc()};
    bool hasCurrent_ = false;
    bool hasNext_ = false;
    bool ended_ = false;
    bool started_ = false;
    double lastTime_ = 0;       // of the newest picture decoded
    double previousTime_ = -1;  // for pictures without a time
};

// The sound of a file's first audio track as 48 kHz stereo float samples, asked for by sample.
class AudioReader {
public:
    // None (and no error) when the file has no sound.
    static Result<std::unique_ptr<AudioReader>> open(const QString& file);

    // `count` samples from source sample `from` (48 kHz, counted from the file's start) into
    // `left` and `right`; silence where the file has none.
    Status read(int64_t from, int count, float* left, float* right);

private:
    AudioReader() = default;
    Status seek(int64_t from);
    // Decodes one more frame into the buffer; false at the end of the track.
    Result<bool> decode();
    Status convert(const AVFrame* frame);

    DecodedStream in_;
    media::ff::Resampler resampler_;
    media::ff::Frame frame_{av_frame_alloc()};
    media::ff::Fifo fifo_;
    std::vector<float> left_, right_;
    int64_t fifoStart_ = 0;  // source sample of the buffer's first sample
    bool placed_ = false;    // fifoStart_ is known: a frame came since the last seek
    bool ended_ = false;
    bool started_ = false;
};

// Scales the `crop` part of `in` onto the whole of `out` (4:2:0, BT.709), reusing `cache`.
Status scaleInto(AVFrame* out, const AVFrame* in, QRectF crop,
                 std::unique_ptr<SwsContext, SwsFreer>& cache);
// Where a picture of `width` × `height` that swscale writes goes in memory. Its vector code
// stores whole vectors, so the end of a line (and of the last line) can be written up to a vector
// past the picture: lines are rounded up to 64 bytes and one spare line follows the picture.
struct PictureLayout {
    int stride = 0;    // bytes from one line to the next
    size_t bytes = 0;  // the whole buffer, slack included
};
PictureLayout pictureLayout(int width, int height, int bytesPerPixel = 4);
// Converts an output picture (4:2:0, BT.709) to 32-bit BGRA at `pixels`, laid out as
// `pictureLayout` says. False when the scaler cannot be made.
bool toBgra(const AVFrame* frame, uint8_t* pixels, int stride);
// An output picture as an image, in a buffer laid out by `pictureLayout`.
QImage toImage(const AVFrame* frame);

}  // namespace pelix::render
