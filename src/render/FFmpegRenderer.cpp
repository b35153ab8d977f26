// The export, over FFmpeg's libraries (nothing runs the ffmpeg program). For each output frame of
// each piece of the plan: the picture showing at the matching source time, cropped and scaled at
// the eased zoom (cubic over kZoomEase, from the zoom of the piece before in the same clip; a new
// clip starts at its own); drawn over by FFmpeg's "ass" filter (libass, in a graph of that one
// filter fed with the script written to a temporary file); encoded by libx264 (the options'
// preset and CRF, veryfast and 21 by default, a key frame every 2 s); then the sound up to that
// frame's end, so that the muxer interleaves as it goes. Sound is cut on exact samples at the
// segment edges and faded over kFade on both sides of every cut; segments that continue each
// other in the source play on without a seam or a fade. AAC-LC at 128 kbit/s. The MP4 goes to a
// hidden ".part-" file beside the target with movflags=+faststart, tracked by core/TempFiles, and
// is renamed over the target when whole, with the mode the umask gives documents; a failure or a
// stop (checked before every frame) removes it. A missing clip fails before anything is written.

#include "core/Sentences.h"
#include "core/TempFiles.h"
#include "render/Decoding.h"
#include "render/RenderModule.h"
#include "render/Renderer.h"

extern "C" {
#include <libavfilter/avfilter.h>
#include <libavfilter/buffersink.h>
#include <libavfilter/buffersrc.h>
#include <libavutil/opt.h>
}

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QUuid>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <map>
#include <optional>

namespace pelix::render {
namespace ff = media::ff;
namespace {

Error renderFailure(const QString& reason) {
    return Error::pelix(kRenderFailed, core::sentences::couldntExport(reason));
}
Error renderFailure(int code) {
    return renderFailure(ff::describe(code));
}

struct GraphFreer {
    void operator()(AVFilterGraph* g) const { avfilter_graph_free(&g); }
};
struct OutputCloser {
    void operator()(AVFormatContext* c) const {
        if (c->pb) avio_closep(&c->pb);
        avformat_free_context(c);
    }
};

// A script in a private temporary file, tracked so that a signal ending the export removes it
// too, and removed with this object.
class ScriptFile {
public:
    ~ScriptFile() {
        if (!path_.isEmpty()) core::tempfiles::remove(path_);
    }
    // Why the script could not be written, if it could not.
    std::optional<QString> write(const QString& script) {
        const QString path = QDir::temp().filePath(
            "pelix-" + QUuid::createUuid().toString(QUuid::Id128).left(12) + ".ass");
        if (!core::tempfiles::createPrivate(path)) {
            return QString::fromLocal8Bit(std::strerror(errno));  // as open(2) left it
        }
        path_ = path;
        QFile file(path_);
        if (!file.open(QIODevice::WriteOnly) || file.write(script.toUtf8()) < 0 || !file.flush())
            return file.errorString();
        return std::nullopt;
    }
    const QString& path() const { return path_; }

private:
    QString path_;
};

// libass, through FFmpeg's "ass" filter, drawing a script over 4:2:0 pictures of one size.
class OverlayFilter {
public:
    static Result<std::unique_ptr<OverlayFilter>> make(const QString& script, QSize size) {
        auto filter = std::unique_ptr<OverlayFilter>(new OverlayFilter);
        if (const auto failed = filter->file_.write(script)) {
            return std::unexpected(renderFailure(core::sentences::captionsNotWritten(*failed)));
        }
        filter->graph_.reset(avfilter_graph_alloc());
        AVFilterGraph* graph = filter->graph_.get();
        graph->nb_threads = 1;
        const QByteArray args = QStringLiteral(
                                    "video_size=%1x%2:pix_fmt=%3:time_base=1/%4:"
                                    "pixel_aspect=1/1")
                                    .arg(size.width())
                                    .arg(size.height())
                                    .arg(int(AV_PIX_FMT_YUV420P))
                                    .arg(kFrameRate)
                                    .toLatin1();
        int rc = avfilter_graph_create_filter(&filter->in_, avfilter_get_by_name("buffer"), "in",
                                              args.constData(), nullptr, graph);
        AVFilterContext* ass = nullptr;
        if (rc >= 0) {
            ass = avfilter_graph_alloc_filter(graph, avfilter_get_by_name("ass"), "overlay");
            if (!ass) rc = AVERROR_FILTER_NOT_FOUND;
        }
        const QByteArray path = QFile::encodeName(filter->file_.path());
        if (rc >= 0) rc = av_opt_set(ass, "filename", path.constData(), AV_OPT_SEARCH_CHILDREN);
        if (rc >= 0) rc = avfilter_init_str(ass, nullptr);
        if (rc >= 0) {
            rc = avfilter_graph_create_filter(&filter->out_, avfilter_get_by_name("buffersink"),
                                              "out", nullptr, nullptr, graph);
        }
        if (rc >= 0) rc = avfilter_link(filter->in_, 0, ass, 0);
        if (rc >= 0) rc = avfilter_link(ass, 0, filter->out_, 0);
        if (rc >= 0) rc = avfilter_graph_config(graph, nullptr);
        if (rc < 0) return std::unexpected(renderFailure(rc));
        return filter;
    }

    // Draws over `picture` (whose pts says when it shows) into `drawn`.
    Status draw(AVFrame* picture, AVFrame* drawn) {
        int rc = av_buffersrc_add_frame_flags(in_, picture, AV_BUFFERSRC_FLAG_KEEP_REF);
        if (rc >= 0) rc = av_buffersink_get_frame(out_, drawn);
        if (rc < 0) return std::unexpected(renderFailure(rc));
        return {};
    }

private:
    OverlayFilter() = default;
    ScriptFile file_;
    std::unique_ptr<AVFilterGraph, GraphFreer> graph_;
    AVFilterContext* in_ = nullptr;
    AVFilterContext* out_ = nullptr;
};

// The MP4 file being written: H.264 pictures and AAC sound, into a hidden file beside the
// target that only becomes the target when finished.
class Writer {
public:
    ~Writer() {
        if (!finished_ && !partial_.isEmpty()) {
            output_.reset();
            core::tempfiles::remove(partial_);
        }
    }

    Status open(const QString& target, QSize size, const RenderOptions& options) {
        ff::quiet();  // x264 reports its settings otherwise
        target_ = target;
        Result<QString> partial = ff::createPartial(target);
        if (!partial) return std::unexpected(renderFailure(partial.error().message));
        partial_ = *partial;
        const QByteArray path = QFile::encodeName(partial_);
        AVFormatContext* context = nullptr;
        int rc = avformat_alloc_output_context2(&context, nullptr, "mp4", path.constData());
        if (rc < 0) return std::unexpected(renderFailure(rc));
        output_.reset(context);

        const AVCodec* h264 = avcodec_find_encoder_by_name("libx264");
        const AVCodec* aac = avcodec_find_encoder_by_name("aac");
        if (!h264 || !aac) {
            return std::unexpected(
                renderFailure("this FFmpeg has no H.264 (libx264) or AAC encoder."));
        }
        video_.reset(avcodec_alloc_context3(h264));
        AVCodecContext* v = video_.get();
        v->width = size.width();
        v->height = size.height();
        v->pix_fmt = AV_PIX_FMT_YUV420P;
        v->time_base = {1, kFrameRate};
        v->framerate = {kFrameRate, 1};
        v->gop_size = 2 * kFrameRate;
        v->sample_aspect_ratio = {1, 1};
        v->color_range = AVCOL_RANGE_MPEG;
        v->colorspace = AVCOL_SPC_BT709;
        v->color_primaries = AVCOL_PRI_BT709;
        v->color_trc = AVCOL_TRC_BT709;
        v->thread_count = 0;
        av_opt_set(v->priv_data, "preset", options.preset.toLatin1().constData(), 0);
        av_opt_set_double(v->priv_data, "crf", options.quality, 0);
        audio_.reset(avcodec_alloc_context3(aac));
        AVCodecContext* a = audio_.get();
        a->sample_fmt = AV_SAMPLE_FMT_FLTP;
        a->sample_rate = kSampleRate;
        a->ch_layout = AV_CHANNEL_LAYOUT_STEREO;
        a->bit_rate = 128000;
        a->time_base = {1, kSampleRate};
        if (context->oformat->flags & AVFMT_GLOBALHEADER) {
            v->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
            a->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
        }
        rc = avcodec_open2(v, h264, nullptr);
        if (rc >= 0) rc = avcodec_open2(a, aac, nullptr);
        if (rc < 0) return std::unexpected(renderFailure(rc));

        for (AVCodecContext* codec : {v, a}) {
            AVStream* stream = avformat_new_stream(context, nullptr);
            if (!stream) return std::unexpected(renderFailure(AVERROR(ENOMEM)));
            rc = avcodec_parameters_from_context(stream->codecpar, codec);
            if (rc < 0) return std::unexpected(renderFailure(rc));
            stream->time_base = codec->time_base;
        }
        fifo_.reset(av_audio_fifo_alloc(AV_SAMPLE_FMT_FLTP, 2, a->frame_size * 4));
        audioFrame_.reset(av_frame_alloc());

        rc = avio_open(&context->pb, path.constData(), AVIO_FLAG_WRITE);
        if (rc < 0) {
            return fail(kWriteFailed,
                        core::sentences::couldntWrite(ff::nameOf(target), ff::describe(rc)));
        }
        AVDictionary* muxing = nullptr;
        av_dict_set(&muxing, "movflags", "+faststart", 0);
        rc = avformat_write_header(context, &muxing);
        av_dict_free(&muxing);
        if (rc < 0) return std::unexpected(writeFailure(rc));
        return {};
    }

    Status picture(AVFrame* frame) { return encode(video_.get(), 0, frame); }

    Status sound(const float* left, const float* right, int count) {
        const void* planes[2] = {left, right};
        if (av_audio_fifo_write(fifo_.get(), const_cast<void**>(planes), count) < count) {
            return std::unexpected(renderFailure(AVERROR(ENOMEM)));
        }
        return drainSound(false);
    }

    Status finish() {
        if (Status s = drainSound(true); !s) return s;
        if (Status s = encode(video_.get(), 0, nullptr); !s) return s;
        if (Status s = encode(audio_.get(), 1, nullptr); !s) return s;
        if (const int rc = av_write_trailer(output_.get()); rc < 0) {
            return std::unexpected(writeFailure(rc));
        }
        output_.reset();  // closes the file
        if (!ff::moveIntoPlace(partial_, target_, ff::Keep::asDocument)) {
            return fail(kWriteFailed, core::sentences::notMovedIntoPlace(ff::nameOf(target_)));
        }
        finished_ = true;
        return {};
    }

private:
    Error writeFailure(int code) const {
        return Error::pelix(kWriteFailed,
                            core::sentences::couldntWrite(ff::nameOf(target_), ff::describe(code)));
    }

    // Encodes whole frames of sound; with `last`, the rest too.
    Status drainSound(bool last) {
        AVCodecContext* a = audio_.get();
        for (;;) {
            const int available = av_audio_fifo_size(fifo_.get());
            if (available == 0 || (available < a->frame_size && !last)) return {};
            const int n = std::min(available, a->frame_size);
            AVFrame* frame = audioFrame_.get();
            av_frame_unref(frame);
            frame->nb_samples = n;
            frame->format = AV_SAMPLE_FMT_FLTP;
            frame->sample_rate = kSampleRate;
            av_channel_layout_copy(&frame->ch_layout, &a->ch_layout);
            if (const int rc = av_frame_get_buffer(frame, 0); rc < 0) {
                return std::unexpected(renderFailure(rc));
            }
            av_audio_fifo_read(fifo_.get(), reinterpret_cast<void**>(frame->data), n);
            frame->pts = soundPts_;
            soundPts_ += n;
            if (Status s = encode(a, 1, frame); !s) return s;
        }
    }

    Status encode(AVCodecContext* codec, int stream, AVFrame* frame) {
        int rc = avcodec_send_frame(codec, frame);
        if (rc < 0) return std::unexpected(renderFailure(rc));
        ff::Packet packet(av_packet_alloc());
        for (;;) {
            rc = avcodec_receive_packet(codec, packet.get());
            if (rc == AVERROR(EAGAIN) || rc == AVERROR_EOF) return {};
            if (rc < 0) return std::unexpected(renderFailure(rc));
            AVStream* s = output_->streams[stream];
            // Without it the muxer cannot tell how long the last picture shows, and drops it.
            if (packet->duration == 0 && codec == video_.get()) packet->duration = 1;
            av_packet_rescale_ts(packet.get(), codec->time_base, s->time_base);
            packet->stream_index = stream;
            rc = av_interleaved_write_frame(output_.get(), packet.get());
            if (rc < 0) return std::unexpected(writeFailure(rc));
        }
    }

    QString target_;
    QString partial_;
    std::unique_ptr<AVFormatContext, OutputCloser> output_;
    ff::Codec video_;
    ff::Codec audio_;
    ff::Fifo fifo_;
    ff::Frame audioFrame_;
    int64_t soundPts_ = 0;
    bool finished_ = false;
};

Result<ff::Frame> blankPicture(QSize size) {
    ff::Frame frame(av_frame_alloc());
    frame->format = AV_PIX_FMT_YUV420P;
    frame->width = size.width();
    frame->height = size.height();
    frame->color_range = AVCOL_RANGE_MPEG;
    frame->colorspace = AVCOL_SPC_BT709;
    if (const int rc = av_frame_get_buffer(frame.get(), 0); rc < 0) {
        return std::unexpected(renderFailure(rc));
    }
    return frame;
}

// Black, for clips that are sound alone.
void paintBlack(AVFrame* frame) {
    for (int plane = 0; plane < 3; ++plane) {
        const int rows = plane == 0 ? frame->height : (frame->height + 1) / 2;
        const int value = plane == 0 ? 16 : 128;
        for (int y = 0; y < rows; ++y) {
            std::fill_n(frame->data[plane] + ptrdiff_t(y) * frame->linesize[plane],
                        plane == 0 ? frame->width : (frame->width + 1) / 2, uint8_t(value));
        }
    }
}

// The decoders of the clips a plan uses, opened when first needed.
class Sources {
public:
    explicit Sources(const RenderPlan& plan) : plan_(plan) {}

    Status check() const {
        for (const Piece& piece : plan_.pieces) {
            const QString& path = plan_.clips[size_t(piece.clip)].path;
            if (!QFileInfo(path).isFile()) {
                return fail(kClipMissing,
                            core::sentences::couldntExport(core::sentences::clipMissing(path)));
            }
        }
        return {};
    }

    Result<VideoReader*> video(int clip) {
        auto& reader = videos_[clip];
        if (!reader) {
            auto opened = VideoReader::open(plan_.clips[size_t(clip)].path);
            if (!opened) return std::unexpected(opened.error());
            if (!*opened) return nullptr;
            reader = std::move(*opened);
        }
        return reader.get();
    }

    Result<AudioReader*> audio(int clip) {
        auto& reader = audios_[clip];
        if (!reader) {
            auto opened = AudioReader::open(plan_.clips[size_t(clip)].path);
            if (!opened) return std::unexpected(opened.error());
            if (!*opened) return nullptr;
            reader = std::move(*opened);
        }
        return reader.get();
    }

private:
    const RenderPlan& plan_;
    std::map<int, std::unique_ptr<VideoReader>> videos_;
    std::map<int, std::unique_ptr<AudioReader>> audios_;
};

// Draws the picture of piece `piece` at output time `t` into `out`.
Status drawPicture(VideoReader* reader, const Piece& piece, double t, AVFrame* out,
                   std::unique_ptr<SwsContext, SwsFreer>& scaler) {
    if (!reader) {
        paintBlack(out);
        return {};
    }
    auto picture = reader->at(piece.sourceStart + (t - piece.outputStart));
    if (!picture) return std::unexpected(picture.error());
    const AVFrame* in = *picture;
    const QRectF crop = cropRect(QSize(in->width, in->height), QSize(out->width, out->height),
                                 piece.centre, piece.zoomAt(t));
    return scaleInto(out, in, crop, scaler);
}

// Pictures of one plan; the readers (by file), the scaler and the overlay are made on first use
// and kept, also across a new plan, which reopens only what it changed.
class PlanFrames final : public FrameSource {
public:
    explicit PlanFrames(RenderPlan plan) { replan(std::move(plan)); }

    void setProject(const editor::EditProject& project, double scale) override {
        replan(makePlan(project, scale));
    }

    Result<QImage> at(double t) override {
        const int index = plan_.pieceAt(t);
        if (index < 0) {
            return fail(kNothingKept, core::sentences::nothingPlaysAt(t));
        }
        const Piece& piece = plan_.pieces[size_t(index)];
        auto video = this->video(plan_.clips[size_t(piece.clip)].path);
        if (!video) return std::unexpected(video.error());
        if (!picture_) {
            auto blank = blankPicture(plan_.size);
            if (!blank) return std::unexpected(blank.error());
            picture_ = std::move(*blank);
        }
        if (const int rc = av_frame_make_writable(picture_.get()); rc < 0) {
            return std::unexpected(renderFailure(rc));
        }
        if (Status s = drawPicture(*video, piece, t, picture_.get(), scaler_); !s) {
            return std::unexpected(s.error());
        }
        if (plan_.overlay.isEmpty()) return toImage(picture_.get());
        if (!overlay_) {
            auto made = OverlayFilter::make(plan_.overlay, plan_.size);
            if (!made) return std::unexpected(made.error());
            overlay_ = std::move(*made);
        }
        picture_->pts = int64_t(std::floor(t * kFrameRate + 1e-6));
        ff::Frame drawn(av_frame_alloc());
        if (Status s = overlay_->draw(picture_.get(), drawn.get()); !s) {
            return std::unexpected(s.error());
        }
        return toImage(drawn.get());
    }

private:
    void replan(RenderPlan plan) {
        if (plan.size != plan_.size) picture_.reset();
        if (plan.size != plan_.size || plan.overlay != plan_.overlay) overlay_.reset();
        plan_ = std::move(plan);
    }

    // The reader of a clip's file, opened on first use; null for a file without pictures.
    Result<VideoReader*> video(const QString& path) {
        if (const auto found = videos_.find(path); found != videos_.end()) {
            return found->second.get();
        }
        if (!QFileInfo(path).isFile()) {
            return fail(kClipMissing,
                        core::sentences::couldntDraw(core::sentences::clipMissing(path)));
        }
        auto opened = VideoReader::open(path);
        if (!opened) return std::unexpected(opened.error());
        return videos_.emplace(path, std::move(*opened)).first->second.get();
    }

    RenderPlan plan_;
    std::map<QString, std::unique_ptr<VideoReader>> videos_;
    ff::Frame picture_;
    std::unique_ptr<SwsContext, SwsFreer> scaler_;
    std::unique_ptr<OverlayFilter> overlay_;
};

class FFmpegRenderer final : public Renderer {
public:
    Status exportVideo(const editor::EditProject& project, const QString& target,
                       const RenderOptions& options) override {
        const RenderPlan plan = makePlan(project, options.scale);
        if (plan.pieces.empty()) {
            return fail(kNothingKept,
                        core::sentences::couldntExport(core::sentences::kEveryLineCut));
        }
        Sources sources(plan);
        if (Status s = sources.check(); !s) return s;

        std::unique_ptr<OverlayFilter> overlay;
        if (!plan.overlay.isEmpty()) {
            auto made = OverlayFilter::make(plan.overlay, plan.size);
            if (!made) return std::unexpected(made.error());
            overlay = std::move(*made);
        }
        Writer writer;
        if (Status s = writer.open(target, plan.size, options); !s) return s;

        auto blank = blankPicture(plan.size);
        if (!blank) return std::unexpected(blank.error());
        ff::Frame picture = std::move(*blank);
        ff::Frame drawn(av_frame_alloc());
        std::unique_ptr<SwsContext, SwsFreer> scaler;
        const int frames = plan.frameCount();
        const std::vector<SoundPiece> sounds = soundPieces(plan);
        std::vector<float> left, right;

        for (size_t i = 0; i < plan.pieces.size(); ++i) {
            const Piece& piece = plan.pieces[i];
            auto video = sources.video(piece.clip);
            if (!video) return std::unexpected(video.error());
            auto audio = sources.audio(piece.clip);
            if (!audio) return std::unexpected(audio.error());

            const int first = frameAt(piece.outputStart);
            const int end = i + 1 == plan.pieces.size() ? frames : frameAt(piece.outputEnd);
            const SoundPiece& sound = sounds[i];
            const int64_t soundStart = sound.outputStart;
            const int64_t soundEnd = sound.outputStart + sound.length;
            int64_t soundDone = soundStart;
            auto soundUpTo = [&](int64_t upTo) -> Status {
                const int count = int(upTo - soundDone);
                if (count <= 0) return {};
                left.resize(size_t(count));
                right.resize(size_t(count));
                const int64_t from = soundDone - soundStart;  // within the piece
                if (*audio) {
                    Status read =
                        (*audio)->read(sound.sourceStart + from, count, left.data(), right.data());
                    if (!read) return read;
                } else {
                    std::fill(left.begin(), left.end(), 0.0f);
                    std::fill(right.begin(), right.end(), 0.0f);
                }
                for (int j = 0; j < count; ++j) {
                    const float gain = sound.gain(from + j);
                    left[size_t(j)] *= gain;
                    right[size_t(j)] *= gain;
                }
                soundDone = upTo;
                return writer.sound(left.data(), right.data(), count);
            };

            for (int k = first; k < end; ++k) {
                if (options.stop.stop_requested()) {
                    return fail(kStopped, core::sentences::kExportStopped);
                }
                const double t = double(k) / kFrameRate;
                if (const int rc = av_frame_make_writable(picture.get()); rc < 0) {
                    return std::unexpected(renderFailure(rc));
                }
                if (Status s = drawPicture(*video, piece, t, picture.get(), scaler); !s) return s;
                picture->pts = k;
                AVFrame* out = picture.get();
                if (overlay) {
                    av_frame_unref(drawn.get());
                    if (Status s = overlay->draw(picture.get(), drawn.get()); !s) return s;
                    out = drawn.get();
                }
                if (Status s = writer.picture(out); !s) return s;
                const int64_t upTo = k + 1 == end
                                         ? soundEnd
                                         : std::min(soundEnd, sampleAt(double(k + 1) / kFrameRate));
                if (Status s = soundUpTo(upTo); !s) return s;
                if (options.progress) options.progress(double(k + 1) / frames);
            }
            if (Status s = soundUpTo(soundEnd); !s) return s;
        }
        return writer.finish();
    }

    Result<QImage> frame(const editor::EditProject& project, double t, double scale) override {
        return PlanFrames(makePlan(project, scale)).at(t);
    }

    std::unique_ptr<FrameSource> frames(const editor::EditProject& project, double scale) override {
        return std::make_unique<PlanFrames>(makePlan(project, scale));
    }
};

}  // namespace

namespace loaded {

std::unique_ptr<Renderer> makeRenderer() {
    return std::make_unique<FFmpegRenderer>();
}

Result<QImage> framedPicture(const QString& file, double t, QSize size,
                             const ClipFraming& framing) {
    auto reader = VideoReader::open(file);
    if (!reader) return std::unexpected(reader.error());
    if (!*reader) return fail(kRenderFailed, core::sentences::hasNoPictures(ff::nameOf(file)));
    auto picture = (*reader)->at(t);
    if (!picture) return std::unexpected(picture.error());
    auto out = blankPicture(size);
    if (!out) return std::unexpected(out.error());
    std::unique_ptr<SwsContext, SwsFreer> scaler;
    const AVFrame* in = *picture;
    const QRectF crop = cropRect(QSize(in->width, in->height), size, framing.centre, framing.zoom);
    if (Status s = scaleInto(out->get(), in, crop, scaler); !s) return std::unexpected(s.error());
    return toImage(out->get());
}

}  // namespace loaded
}  // namespace pelix::render
