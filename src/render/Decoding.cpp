#include "render/Decoding.h"

#include "render/RenderPlan.h"
#include "render/Renderer.h"

extern "C" {
#include <libavutil/common.h>
#include <libavutil/mem.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

#include <QFileInfo>

#include <algorithm>
#include <cmath>

namespace pelix::render {
namespace ff = media::ff;
namespace {

// Seconds ahead of the newest picture or sample beyond which seeking beats decoding through.
constexpr double kSeekAhead = 2.0;

double startOf(const AVFormatContext* input) {
    return input->start_time == AV_NOPTS_VALUE ? 0.0 : double(input->start_time) / AV_TIME_BASE;
}

}  // namespace

// --- one stream ---

Result<bool> DecodedStream::open(const QString& name, AVMediaType type, bool threads) {
    file = name;
    auto opened = ff::openMedia(file);
    if (!opened) return std::unexpected(opened.error());
    input = std::move(*opened);
    auto decoding = ff::openStream(input.get(), type, threads);
    if (!decoding) {
        if (ff::noStream(decoding.error())) return false;
        return std::unexpected(failure(decoding.error()));
    }
    stream = decoding->stream;
    codec = std::move(decoding->codec);
    timeBase = av_q2d(input->streams[stream]->time_base);
    start = startOf(input.get());
    return true;
}

Status DecodedStream::seek(double t) {
    const auto ts = int64_t(std::floor((std::max(t, 0.0) + start) / timeBase));
    if (const int rc = av_seek_frame(input.get(), stream, ts, AVSEEK_FLAG_BACKWARD); rc < 0) {
        // Some files only seek to their start; decoding through from there still works.
        if (av_seek_frame(input.get(), stream, 0, AVSEEK_FLAG_BACKWARD) < 0)
            return std::unexpected(failure(rc));
    }
    avcodec_flush_buffers(codec.get());
    draining = false;
    return {};
}

Result<bool> DecodedStream::next(AVFrame* frame) {
    auto got = ff::nextFrame(input.get(), stream, codec.get(), packet.get(), frame, draining);
    if (!got) return std::unexpected(failure(got.error()));
    return *got;
}

std::optional<double> DecodedStream::timeOf(const AVFrame* frame) const {
    int64_t pts = frame->best_effort_timestamp;
    if (pts == AV_NOPTS_VALUE) pts = frame->pts;
    if (pts == AV_NOPTS_VALUE) return std::nullopt;
    return double(pts) * timeBase - start;
}

Error DecodedStream::failure(int code) const {
    return Error::pelix(kRenderFailed, unreadable(ff::nameOf(file), ff::describe(code)));
}

// --- pictures ---

Result<std::unique_ptr<VideoReader>> VideoReader::open(const QString& file) {
    std::unique_ptr<VideoReader> reader(new VideoReader);
    reader->in_.unreadable = core::sentences::picturesUnreadable;
    // Cover art in a sound file is no picture to play.
    auto found = reader->in_.open(file, AVMEDIA_TYPE_VIDEO, true);
    if (!found) return std::unexpected(found.error());
    if (!*found) return nullptr;
    return reader;
}

double VideoReader::duration() const {
    const AVFormatContext* input = in_.input.get();
    return input->duration == AV_NOPTS_VALUE ? 0.0 : double(input->duration) / AV_TIME_BASE;
}

double VideoReader::timeOf(const AVFrame* frame) const {
    return in_.timeOf(frame).value_or(previousTime_ + 1.0 / kFrameRate);
}

Result<const AVFrame*> VideoReader::noneAt(double t) const {
    return fail(kRenderFailed, core::sentences::noPicturesAt(ff::nameOf(in_.file), t));
}

Status VideoReader::seek(double t) {
    if (Status s = in_.seek(t); !s) return s;
    hasCurrent_ = hasNext_ = ended_ = false;
    started_ = true;
    lastTime_ = -1e9;
    previousTime_ = -1;
    return {};
}

Result<bool> VideoReader::decode() {
    if (ended_) return false;
    auto got = in_.next(next_.get());
    if (!got) return got;
    if (!*got) {
        ended_ = true;
        return false;
    }
    hasNext_ = true;
    lastTime_ = previousTime_ = timeOf(next_.get());
    return true;
}

Result<const AVFrame*> VideoReader::at(double t) {
    const double shown = hasCurrent_ ? timeOf(current_.get()) : lastTime_;
    if (!started_ || (hasCurrent_ && t < shown - 1e-3) || t > lastTime_ + kSeekAhead) {
        if (Status s = seek(t); !s) return std::unexpected(s.error());
    }
    for (;;) {
        if (!hasNext_) {
            auto more = decode();
            if (!more) return std::unexpected(more.error());
            if (!*more) break;
        }
        // Not due yet: the current picture shows (or, before the first one, this one).
        if (timeOf(next_.get()) > t + 1e-4) break;
        std::swap(current_, next_);
        hasCurrent_ = true;
        hasNext_ = false;
    }
    if (hasCurrent_) return current_.get();
    if (hasNext_) return next_.get();
    return noneAt(t);
}

Result<const AVFrame*> VideoReader::near(double t) {
    if (Status s = seek(t); !s) return std::unexpected(s.error());
    auto more = decode();
    if (!more) return std::unexpected(more.error());
    if (!*more) return noneAt(t);
    return next_.get();
}

// --- sound ---

Result<std::unique_ptr<AudioReader>> AudioReader::open(const QString& file) {
    std::unique_ptr<AudioReader> reader(new AudioReader);
    reader->in_.unreadable = core::sentences::soundUnreadable;
    auto found = reader->in_.open(file, AVMEDIA_TYPE_AUDIO, false);
    if (!found) return std::unexpected(found.error());
    if (!*found) return nullptr;

    AVChannelLayout stereo = AV_CHANNEL_LAYOUT_STEREO;
    AVChannelLayout inLayout{};
    const AVCodecContext* c = reader->in_.codec.get();
    if (c->ch_layout.order == AV_CHANNEL_ORDER_UNSPEC) {
        av_channel_layout_default(&inLayout, std::max(1, c->ch_layout.nb_channels));
    } else {
        av_channel_layout_copy(&inLayout, &c->ch_layout);
    }
    SwrContext* swr = nullptr;
    int rc = swr_alloc_set_opts2(&swr, &stereo, AV_SAMPLE_FMT_FLTP, kSampleRate, &inLayout,
                                 c->sample_fmt, c->sample_rate, 0, nullptr);
    av_channel_layout_uninit(&inLayout);
    reader->resampler_.reset(swr);
    // A mono voice plays at its own level on both sides, not 3 dB down.
    if (rc >= 0) av_opt_set_double(swr, "center_mix_level", 1.0, 0);
    if (rc >= 0) rc = swr_init(swr);
    if (rc < 0) return std::unexpected(reader->in_.failure(rc));
    reader->fifo_.reset(av_audio_fifo_alloc(AV_SAMPLE_FMT_FLTP, 2, kSampleRate));
    return reader;
}

Status AudioReader::seek(int64_t from) {
    // A little early: the first frame after a seek lacks the overlap of the one before.
    if (Status s = in_.seek(double(from) / kSampleRate - 0.1); !s) return s;
    swr_close(resampler_.get());
    if (const int rc = swr_init(resampler_.get()); rc < 0) return std::unexpected(in_.failure(rc));
    av_audio_fifo_reset(fifo_.get());
    placed_ = ended_ = false;
    started_ = true;
    return {};
}

Status AudioReader::convert(const AVFrame* frame) {
    const int in = frame ? frame->nb_samples : 0;
    const int room = swr_get_out_samples(resampler_.get(), in);
    if (room <= 0) return {};
    left_.resize(size_t(room));
    right_.resize(size_t(room));
    uint8_t* planes[2] = {reinterpret_cast<uint8_t*>(left_.data()),
                          reinterpret_cast<uint8_t*>(right_.data())};
    const int made =
        swr_convert(resampler_.get(), planes, room,
                    frame ? const_cast<const uint8_t**>(frame->extended_data) : nullptr, in);
    if (made < 0) return std::unexpected(in_.failure(made));
    if (made > 0 && av_audio_fifo_write(fifo_.get(), reinterpret_cast<void**>(planes), made) < made)
        return std::unexpected(in_.failure(AVERROR(ENOMEM)));
    return {};
}

Result<bool> AudioReader::decode() {
    if (ended_) return false;
    auto got = in_.next(frame_.get());
    if (!got) return got;
    if (!*got) {
        if (Status s = convert(nullptr); !s) return std::unexpected(s.error());
        ended_ = true;
        return false;
    }
    if (!placed_) {
        const double t = in_.timeOf(frame_.get()).value_or(0.0);
        fifoStart_ = std::llround(t * kSampleRate) - av_audio_fifo_size(fifo_.get());
        placed_ = true;
    }
    Status converted = convert(frame_.get());
    av_frame_unref(frame_.get());
    if (!converted) return std::unexpected(converted.error());
    return true;
}

Status AudioReader::read(int64_t from, int count, float* left, float* right) {
    const int64_t buffered = placed_ ? fifoStart_ + av_audio_fifo_size(fifo_.get()) : 0;
    if (!started_ || (placed_ && from < fifoStart_) ||
        (placed_ && from > buffered + int64_t(kSeekAhead * kSampleRate))) {
        if (Status s = seek(from); !s) return s;
    }
    int done = 0;
    while (done < count) {
        const int64_t want = from + done;
        if (!placed_) {
            auto more = decode();
            if (!more) return std::unexpected(more.error());
            if (!*more && !placed_) break;  // no sound at all from here
            continue;
        }
        if (want < fifoStart_) {  // the track starts later than asked
            const int gap = int(std::min<int64_t>(fifoStart_ - want, count - done));
            std::fill_n(left + done, gap, 0.0f);
            std::fill_n(right + done, gap, 0.0f);
            done += gap;
            continue;
        }
        const int size = av_audio_fifo_size(fifo_.get());
        if (want > fifoStart_ && size > 0) {
            const int skip = int(std::min<int64_t>(want - fifoStart_, size));
            av_audio_fifo_drain(fifo_.get(), skip);
            fifoStart_ += skip;
            continue;
        }
        if (want == fifoStart_ && size > 0) {
            const int n = std::min(size, count - done);
            void* planes[2] = {left + done, right + done};
            av_audio_fifo_read(fifo_.get(), planes, n);
            fifoStart_ += n;
            done += n;
            continue;
        }
        auto more = decode();
        if (!more) return std::unexpected(more.error());
        if (!*more && av_audio_fifo_size(fifo_.get()) == 0) break;  // the end of the track
    }
    std::fill(left + done, left + count, 0.0f);
    std::fill(right + done, right + count, 0.0f);
    return {};
}

// --- scaling ---

Status scaleInto(AVFrame* out, const AVFrame* in, QRectF crop,
                 std::unique_ptr<SwsContext, SwsFreer>& cache) {
    const auto format = AVPixelFormat(in->format);
    const AVPixFmtDescriptor* desc = av_pix_fmt_desc_get(format);
    if (!desc || (desc->flags & (AV_PIX_FMT_FLAG_HWACCEL | AV_PIX_FMT_FLAG_BITSTREAM))) {
        return fail(kRenderFailed, core::sentences::kPixelFormatUnsupported);
    }
    const bool palette = desc->flags & AV_PIX_FMT_FLAG_PAL;
    const int alignX = palette ? 1 : 1 << desc->log2_chroma_w;
    const int alignY = palette ? 1 : 1 << desc->log2_chroma_h;
    int w = std::clamp(int(std::lround(crop.width())) / alignX * alignX, alignX, in->width);
    int h = std::clamp(int(std::lround(crop.height())) / alignY * alignY, alignY, in->height);
    int x = std::clamp(int(std::lround(crop.x())) / alignX * alignX, 0,
                       (in->width - w) / alignX * alignX);
    int y = std::clamp(int(std::lround(crop.y())) / alignY * alignY, 0,
                       (in->height - h) / alignY * alignY);
    if (palette) x = y = 0, w = in->width, h = in->height;  // rare; drawn whole

    const uint8_t* planes[4] = {in->data[0], in->data[1], in->data[2], in->data[3]};
    bool moved[4] = {};
    for (int c = 0; c < desc->nb_components && !palette; ++c) {
        const int plane = desc->comp[c].plane;
        if (moved[plane]) continue;
        const bool chroma = !(desc->flags & AV_PIX_FMT_FLAG_RGB) && (c == 1 || c == 2);
        const int px = chroma ? x >> desc->log2_chroma_w : x;
        const int py = chroma ? y >> desc->log2_chroma_h : y;
        planes[plane] += ptrdiff_t(py) * in->linesize[plane] + ptrdiff_t(px) * desc->comp[c].step;
        moved[plane] = true;
    }

    cache.reset(sws_getCachedContext(cache.release(), w, h, format, out->width, out->height,
                                     AVPixelFormat(out->format), SWS_BICUBIC, nullptr, nullptr,
                                     nullptr));
    if (!cache) return fail(kRenderFailed, core::sentences::kScalerRefused);
    const bool full = in->color_range == AVCOL_RANGE_JPEG || format == AV_PIX_FMT_YUVJ420P ||
                      format == AV_PIX_FMT_YUVJ422P || format == AV_PIX_FMT_YUVJ444P;
    const int matrix = in->colorspace == AVCOL_SPC_BT709 ||
                               (in->colorspace == AVCOL_SPC_UNSPECIFIED && in->height >= 720)
                           ? SWS_CS_ITU709
                           : SWS_CS_ITU601;
    sws_setColorspaceDetails(cache.get(), sws_getCoefficients(matrix), full,
                             sws_getCoefficients(SWS_CS_ITU709), 0, 0, 1 << 16, 1 << 16);
    sws_scale(cache.get(), planes, in->linesize, 0, h, out->data, out->linesize);
    return {};
}

PictureLayout pictureLayout(int width, int height, int bytesPerPixel) {
    const int stride = FFALIGN(std::max(width, 1) * bytesPerPixel, 64);
    return {stride, size_t(stride) * size_t(std::max(height, 0) + 1)};
}

bool toBgra(const AVFrame* frame, uint8_t* pixels, int stride) {
    std::unique_ptr<SwsContext, SwsFreer> sws(
        sws_getContext(frame->width, frame->height, AVPixelFormat(frame->format), frame->width,
                       frame->height, AV_PIX_FMT_BGRA, SWS_BICUBIC, nullptr, nullptr, nullptr));
    if (!sws) return false;
    sws_setColorspaceDetails(sws.get(), sws_getCoefficients(SWS_CS_ITU709), 0,
                             sws_getCoefficients(SWS_CS_ITU709), 1, 0, 1 << 16, 1 << 16);
    uint8_t* planes[4] = {pixels, nullptr, nullptr, nullptr};
    const int strides[4] = {stride, 0, 0, 0};
    sws_scale(sws.get(), frame->data, frame->linesize, 0, frame->height, planes, strides);
    return true;
}

QImage toImage(const AVFrame* frame) {
    const PictureLayout layout = pictureLayout(frame->width, frame->height);
    auto* pixels = static_cast<uint8_t*>(av_malloc(layout.bytes));
    if (!pixels) return {};
    if (!toBgra(frame, pixels, layout.stride)) {
        av_free(pixels);
        return {};
    }
    // The image owns the buffer from here and frees it with its last copy.
    return QImage(
        pixels, frame->width, frame->height, layout.stride, QImage::Format_RGB32,
        [](void* buffer) { av_free(buffer); }, pixels);
}

Result<ClipInfo> probeClip(const QString& file) {
    const auto opened = ff::openMedia(file);
    if (!opened) return std::unexpected(opened.error());
    const ff::Input& input = *opened;
    ClipInfo info;
    if (input->duration != AV_NOPTS_VALUE) info.duration = double(input->duration) / AV_TIME_BASE;
    for (unsigned i = 0; i < input->nb_streams; ++i) {
        const AVStream* stream = input->streams[i];
        const AVCodecParameters* p = stream->codecpar;
        if (p->codec_type == AVMEDIA_TYPE_AUDIO) info.sound = true;
        if (p->codec_type == AVMEDIA_TYPE_VIDEO && info.size.isEmpty() &&
            !(stream->disposition & AV_DISPOSITION_ATTACHED_PIC)) {
            info.size = QSize(p->width, p->height);
        }
    }
    return info;
}

}  // namespace pelix::render
