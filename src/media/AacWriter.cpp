#include "media/AacWriter.h"

#include "core/Sentences.h"
#include "core/TempFiles.h"

#include "media/FFmpeg.h"
#include "media/Media.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QUuid>

#include <cstdio>
#include <vector>

namespace pelix::media {

struct AacWriter::Impl {
    QString target;
    QString partial;  // the hidden file being written
    AVFormatContext* output = nullptr;
    AVStream* stream = nullptr;
    ff::Codec codec;
    ff::Resampler resampler;
    ff::Fifo fifo;
    ff::Frame frame{av_frame_alloc()};
    ff::Packet packet{av_packet_alloc()};
    int inputChannels = 1;
    int64_t written = 0;  // samples handed to the encoder
    bool headerWritten = false;
    bool finished = false;
    std::vector<float> converted;

    ~Impl() {
        if (output) {
            if (output->pb) avio_closep(&output->pb);
            avformat_free_context(output);
        }
        if (!finished && !partial.isEmpty()) core::tempfiles::remove(partial);
    }

    Error failed(const QString& reason) const {
        return Error::pelix(kWriteFailed,
                            core::sentences::couldntWrite(QFileInfo(target).fileName(), reason));
    }

    // Sends packets the encoder has ready to the file.
    Status drain() {
        for (;;) {
            const int rc = avcodec_receive_packet(codec.get(), packet.get());
            if (rc == AVERROR(EAGAIN) || rc == AVERROR_EOF) return {};
            if (rc < 0) return std::unexpected(failed(ff::describe(rc)));
            av_packet_rescale_ts(packet.get(), codec->time_base, stream->time_base);
            packet->stream_index = stream->index;
            const int wrote = av_interleaved_write_frame(output, packet.get());
            if (wrote < 0) return std::unexpected(failed(ff::describe(wrote)));
        }
    }

    // Encodes frames of the encoder's size from the queue; a shorter last one when `all`.
    Status encodeQueued(bool all) {
        const int size = codec->frame_size;
        while (av_audio_fifo_size(fifo.get()) >= size ||
               (all && av_audio_fifo_size(fifo.get()) > 0)) {
            const int n = std::min(size, av_audio_fifo_size(fifo.get()));
            av_frame_unref(frame.get());
            frame->nb_samples = n;
            frame->format = codec->sample_fmt;
            frame->sample_rate = codec->sample_rate;
            av_channel_layout_copy(&frame->ch_layout, &codec->ch_layout);
            int rc = av_frame_get_buffer(frame.get(), 0);
            if (rc < 0) return std::unexpected(failed(ff::describe(rc)));
            av_audio_fifo_read(fifo.get(), reinterpret_cast<void**>(frame->data), n);
            frame->pts = written;
            written += n;
            rc = avcodec_send_frame(codec.get(), frame.get());
            if (rc < 0) return std::unexpected(failed(ff::describe(rc)));
            if (Status s = drain(); !s) return s;
        }
        return {};
    }

    // Converts input samples (none to flush the resampler) and queues them.
    Status queue(const int16_t* samples, int count) {
        const int room = swr_get_out_samples(resampler.get(), count);
        if (room <= 0) return {};
        converted.resize(static_cast<size_t>(room));
        auto* out = reinterpret_cast<uint8_t*>(converted.data());
        const auto* in = reinterpret_cast<const uint8_t*>(samples);
        const int made = swr_convert(resampler.get(), &out, room, samples ? &in : nullptr, count);
        if (made < 0) return std::unexpected(failed(ff::describe(made)));
        void* data = converted.data();
        if (made > 0 && av_audio_fifo_write(fifo.get(), &data, made) < made) {
            return std::unexpected(failed(ff::describe(AVERROR(ENOMEM))));
        }
        return {};
    }
};

AacWriter::AacWriter(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
AacWriter::~AacWriter() = default;

Result<std::unique_ptr<AacWriter>> AacWriter::open(const QString& target, int inputRate,
                                                   int inputChannels) {
    ff::quiet();
    auto impl = std::make_unique<Impl>();
    impl->target = target;
    impl->inputChannels = std::max(1, inputChannels);
    const QFileInfo info(target);
    if (!QDir().mkpath(info.absolutePath())) {
        return std::unexpected(impl->failed("its folder could not be made."));
    }
    Result<QString> partial = ff::createPartial(target);
    if (!partial) return std::unexpected(impl->failed(partial.error().message));
    impl->partial = *partial;
    const QByteArray path = QFile::encodeName(impl->partial);

    int rc = avformat_alloc_output_context2(&impl->output, nullptr, "ipod", path.constData());
    if (rc < 0) return std::unexpected(impl->failed(ff::describe(rc)));
    const AVCodec* encoder = avcodec_find_encoder(AV_CODEC_ID_AAC);
    if (!encoder) return std::unexpected(impl->failed("this FFmpeg has no AAC encoder."));
    impl->codec.reset(avcodec_alloc_context3(encoder));
    AVCodecContext* c = impl->codec.get();
    c->sample_fmt = AV_SAMPLE_FMT_FLTP;
    c->sample_rate = kSampleRate;
    c->bit_rate = kBitRate;
    c->profile = FF_PROFILE_AAC_LOW;
    c->time_base = AVRational{1, kSampleRate};
    AVChannelLayout mono = AV_CHANNEL_LAYOUT_MONO;
    av_channel_layout_copy(&c->ch_layout, &mono);
    if (impl->output->oformat->flags & AVFMT_GLOBALHEADER) c->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    rc = avcodec_open2(c, encoder, nullptr);
    if (rc < 0) return std::unexpected(impl->failed(ff::describe(rc)));

    impl->stream = avformat_new_stream(impl->output, nullptr);
    if (!impl->stream) return std::unexpected(impl->failed(ff::describe(AVERROR(ENOMEM))));
    impl->stream->time_base = c->time_base;
    rc = avcodec_parameters_from_context(impl->stream->codecpar, c);
    if (rc < 0) return std::unexpected(impl->failed(ff::describe(rc)));

    AVChannelLayout inLayout{};
    av_channel_layout_default(&inLayout, impl->inputChannels);
    SwrContext* swr = nullptr;
    rc = swr_alloc_set_opts2(&swr, &mono, AV_SAMPLE_FMT_FLT, kSampleRate, &inLayout,
                             AV_SAMPLE_FMT_S16, inputRate, 0, nullptr);
    av_channel_layout_uninit(&inLayout);
    impl->resampler.reset(swr);
    if (rc >= 0) rc = swr_init(swr);
    if (rc < 0) return std::unexpected(impl->failed(ff::describe(rc)));
    impl->fifo.reset(av_audio_fifo_alloc(AV_SAMPLE_FMT_FLTP, 1, c->frame_size * 4));
    if (!impl->fifo) return std::unexpected(impl->failed(ff::describe(AVERROR(ENOMEM))));

    rc = avio_open(&impl->output->pb, path.constData(), AVIO_FLAG_WRITE);
    if (rc < 0) return std::unexpected(impl->failed(ff::describe(rc)));
    rc = avformat_write_header(impl->output, nullptr);
    if (rc < 0) return std::unexpected(impl->failed(ff::describe(rc)));
    impl->headerWritten = true;
    return std::unique_ptr<AacWriter>(new AacWriter(std::move(impl)));
}

Status AacWriter::write(std::span<const int16_t> samples) {
    Impl& d = *impl_;
    if (d.finished) return std::unexpected(d.failed("it is already finished."));
    if (samples.empty()) return {};
    const int frames = static_cast<int>(samples.size()) / d.inputChannels;
    if (Status s = d.queue(samples.data(), frames); !s) return s;
    return d.encodeQueued(false);
}

Status AacWriter::finish() {
    Impl& d = *impl_;
    if (d.finished) return {};
    if (Status s = d.queue(nullptr, 0); !s) return s;
    if (Status s = d.encodeQueued(true); !s) return s;
    int rc = avcodec_send_frame(d.codec.get(), nullptr);
    if (rc < 0) return std::unexpected(d.failed(ff::describe(rc)));
    if (Status s = d.drain(); !s) return s;
    rc = av_write_trailer(d.output);
    if (rc < 0) return std::unexpected(d.failed(ff::describe(rc)));
    rc = avio_closep(&d.output->pb);
    if (rc < 0) return std::unexpected(d.failed(ff::describe(rc)));
    // rename(2) replaces an older file in one step.
    if (!ff::moveIntoPlace(d.partial, d.target)) {
        return std::unexpected(d.failed("it could not be moved into place."));
    }
    d.finished = true;
    return {};
}

double AacWriter::seconds() const {
    const Impl& d = *impl_;
    return static_cast<double>(d.written + av_audio_fifo_size(d.fifo.get())) / kSampleRate;
}

}  // namespace pelix::media
