#pragma once

// Small helpers over the FFmpeg C API for the media layer and the renderer (src/render), which
// share its owners, file handling and failure sentences.

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/audio_fifo.h>
#include <libswresample/swresample.h>
}

#include "core/Error.h"

#include <QString>

#include <expected>
#include <memory>

namespace pelix::media::ff {

struct FormatCloser {
    void operator()(AVFormatContext* c) const { avformat_close_input(&c); }
};
struct CodecFreer {
    void operator()(AVCodecContext* c) const { avcodec_free_context(&c); }
};
struct FrameFreer {
    void operator()(AVFrame* f) const { av_frame_free(&f); }
};
struct PacketFreer {
    void operator()(AVPacket* p) const { av_packet_free(&p); }
};
struct SwrFreer {
    void operator()(SwrContext* s) const { swr_free(&s); }
};
struct FifoFreer {
    void operator()(AVAudioFifo* f) const { av_audio_fifo_free(f); }
};

using Input = std::unique_ptr<AVFormatContext, FormatCloser>;
using Codec = std::unique_ptr<AVCodecContext, CodecFreer>;
using Frame = std::unique_ptr<AVFrame, FrameFreer>;
using Packet = std::unique_ptr<AVPacket, PacketFreer>;
using Resampler = std::unique_ptr<SwrContext, SwrFreer>;
using Fifo = std::unique_ptr<AVAudioFifo, FifoFreer>;

// FFmpeg's description of an error code, as a sentence ("Invalid data found when processing
// input.").
QString describe(int code);

// Keeps FFmpeg's own chatter (probing guesses, encoder statistics, libass's messages through
// the "ass" filter, the scaler's notes) off standard error: it goes to core::debugLine, so it
// shows only with $PELIX_DEBUG. Errors reach the user through our messages instead.
void quiet();

// Opens a file and reads its stream information; null when it is not media FFmpeg can read.
Input openInput(const QString& file);
// The same, failing with media::kNotMedia and `notMediaMessage`.
Result<Input> openMedia(const QString& file);

// One stream of an input and the decoder opened for it.
struct Decoding {
    int stream = -1;
    Codec codec;
};
// The best stream of `type` in `input` with its decoder opened (on as many threads as the
// machine has with `threads`); every other stream is discarded, so reading skips their packets.
// Cover art is no video stream. FFmpeg's code on failure: AVERROR_STREAM_NOT_FOUND when there
// is no such stream, AVERROR_DECODER_NOT_FOUND when nothing here decodes it, else why the
// decoder did not open.
std::expected<Decoding, int> openStream(AVFormatContext* input, AVMediaType type,
                                        bool threads = false);
// Whether openStream's code means there is nothing of that type to decode.
bool noStream(int code);

// Reads packets of `stream` into `codec` until it gives a frame into `frame`; false at the end
// of the stream. `draining` is set once the input has ended and the decoder is being emptied
// (clear it after a seek). A damaged packet is skipped, as players do. FFmpeg's code on failure.
std::expected<bool, int> nextFrame(AVFormatContext* input, int stream, AVCodecContext* codec,
                                   AVPacket* packet, AVFrame* frame, bool& draining);

// A hidden file beside `target` to write into before the file is whole: made empty, with mode
// 0600 and exclusively (nothing of that name may be there), and tracked as temporary. Its name
// is short and ends in the target's suffix so that the muxer sees the kind of file it writes.
// The error's message is a clause saying what was wrong, ending in a full stop.
Result<QString> createPartial(const QString& target);
// Who may read a finished file: only the user (sound cut for an upload), or whoever the user's
// umask lets read a document they made (an exported video).
enum class Keep { privately, asDocument };
// Renames `partial` over `target` in one step; the partial is no longer tracked. A document
// first gets mode 0666 less the umask, as files a program makes do.
bool moveIntoPlace(const QString& partial, const QString& target, Keep keep = Keep::privately);
// 0666 less the process's umask.
unsigned documentMode();

// The file's name without its folder, as messages show it.
QString nameOf(const QString& file);

// Why `file` could not be opened: there is no such file, it is a folder, it cannot be read, or
// it is not media.
QString notMediaMessage(const QString& file);
QString noSoundMessage(const QString& file);
// "Couldn't get the sound out of NAME: " and the reason.
QString exportFailedMessage(const QString& file, const QString& reason);

}  // namespace pelix::media::ff
