#include "media/AudioDecoder.h"

#include "core/Sentences.h"
#include "media/FFmpeg.h"
#include "media/Media.h"

namespace pelix::media {

struct AudioDecoder::Impl {
    QString file;
    int rate = 16000;
    ff::Input input;
    int stream = -1;
    ff::Codec codec;
    ff::Resampler resampler;
    ff::Frame frame{av_frame_alloc()};
    ff::Packet packet{av_packet_alloc()};
    bool drained = false;  // the decoder has given its last frame
    bool flushed = false;  // the resampler has given its last samples

    Status convert(const AVFrame* in, std::vector<int16_t>& out) {
        const int inSamples = in ? in->nb_samples : 0;
        const int room = swr_get_out_samples(resampler.get(), inSamples);
        if (room <= 0) return {};
        const size_t at = out.size();
        out.resize(at + static_cast<size_t>(room));
        auto* target = reinterpret_cast<uint8_t*>(out.data() + at);
        const int made =
            swr_convert(resampler.get(), &target, room,
                        in ? const_cast<const uint8_t**>(in->extended_data) : nullptr, inSamples);
        if (made < 0) {
            out.resize(at);
            return fail(kExportFailed, ff::exportFailedMessage(file, ff::describe(made)));
        }
        out.resize(at + static_cast<size_t>(made));
        return {};
    }

    // Moves decoded frames into `out`; false when the decoder wants another packet.
    Result<bool> receive(std::vector<int16_t>& out) {
        for (;;) {
            const int got = avcodec_receive_frame(codec.get(), frame.get());
            if (got == AVERROR(EAGAIN)) return false;
            if (got == AVERROR_EOF) {
                drained = true;
                return true;
            }
            if (got < 0)
                return std::unexpected(
                    Error::pelix(kExportFailed, ff::exportFailedMessage(file, ff::describe(got))));
            const Status converted = convert(frame.get(), out);
            av_frame_unref(frame.get());
            if (!converted) return std::unexpected(converted.error());
        }
    }
};

AudioDecoder::AudioDecoder(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
AudioDecoder::~AudioDecoder() = default;

Result<std::unique_ptr<AudioDecoder>> AudioDecoder::open(const QString& file, int sampleRate) {
    return open(ff::openInput(file), file, sampleRate);
}

Result<std::unique_ptr<AudioDecoder>> AudioDecoder::open(ff::Input input, const QString& file,
                                                         int sampleRate) {
    auto impl = std::make_unique<Impl>();
    impl->file = file;
    impl->rate = sampleRate;
    impl->input = std::move(input);
    if (!impl->input) return fail(kNotMedia, ff::notMediaMessage(file));
    const AVCodec* decoder = nullptr;
    impl->stream = av_find_best_stream(impl->input.get(), AVMEDIA_TYPE_AUDIO, -1, -1, &decoder, 0);
    if (impl->stream == AVERROR_STREAM_NOT_FOUND) return fail(kNoSound, ff::noSoundMessage(file));
    if (impl->stream < 0 || !decoder) {
        return fail(kExportFailed, ff::exportFailedMessage(file, sentences::kNoSoundDecoder));
    }
    AVStream* stream = impl->input->streams[impl->stream];
    for (unsigned i = 0; i < impl->input->nb_streams; ++i) {
        if (static_cast<int>(i) != impl->stream) impl->input->streams[i]->discard = AVDISCARD_ALL;
    }
    impl->codec.reset(avcodec_alloc_context3(decoder));
    int rc = avcodec_parameters_to_context(impl->codec.get(), stream->codecpar);
    if (rc >= 0) rc = avcodec_open2(impl->codec.get(), decoder, nullptr);
    if (rc < 0) {
        return fail(kExportFailed, ff::exportFailedMessage(file, ff::describe(rc)));
    }
    AVChannelLayout mono = AV_CHANNEL_LAYOUT_MONO;
    AVChannelLayout inLayout{};
    if (impl->codec->ch_layout.order == AV_CHANNEL_ORDER_UNSPEC) {
        av_channel_layout_default(&inLayout, impl->codec->ch_layout.nb_channels);
    } else {
        av_channel_layout_copy(&inLayout, &impl->codec->ch_layout);
    }
    SwrContext* swr = nullptr;
    rc = swr_alloc_set_opts2(&swr, &mono, AV_SAMPLE_FMT_S16, sampleRate, &inLayout,
                             impl->codec->sample_fmt, impl->codec->sample_rate, 0, nullptr);
    av_channel_layout_uninit(&inLayout);
    impl->resampler.reset(swr);
    if (rc >= 0) rc = swr_init(swr);
    if (rc < 0) {
        return fail(kExportFailed, ff::exportFailedMessage(file, ff::describe(rc)));
    }
    return std::unique_ptr<AudioDecoder>(new AudioDecoder(std::move(impl)));
}

Result<bool> AudioDecoder::read(std::vector<int16_t>& block) {
    Impl& d = *impl_;
    block.clear();
    const size_t wanted = static_cast<size_t>(d.rate / 10);
    while (block.size() < wanted && !d.flushed) {
        if (d.drained) {
            if (Status s = d.convert(nullptr, block); !s) return std::unexpected(s.error());
            d.flushed = true;
            break;
        }
        Result<bool> more = d.receive(block);
        if (!more) return std::unexpected(more.error());
        if (*more) continue;
        const int rc = av_read_frame(d.input.get(), d.packet.get());
        if (rc == AVERROR_EOF || (rc == AVERROR(EIO) && avio_feof(d.input->pb))) {
            avcodec_send_packet(d.codec.get(), nullptr);
            continue;
        }
        if (rc < 0)
            return std::unexpected(
                Error::pelix(kExportFailed, ff::exportFailedMessage(d.file, ff::describe(rc))));
        if (d.packet->stream_index == d.stream) {
            const int sent = avcodec_send_packet(d.codec.get(), d.packet.get());
            // A damaged packet is skipped, as players do; the rest of the track still counts.
            if (sent < 0 && sent != AVERROR_INVALIDDATA && sent != AVERROR(EAGAIN)) {
                av_packet_unref(d.packet.get());
                return std::unexpected(Error::pelix(
                    kExportFailed, ff::exportFailedMessage(d.file, ff::describe(sent))));
            }
        }
        av_packet_unref(d.packet.get());
    }
    return !block.empty();
}

int AudioDecoder::sampleRate() const {
    return impl_->rate;
}

double AudioDecoder::duration() const {
    const AVStream* stream = impl_->input->streams[impl_->stream];
    if (stream->duration != AV_NOPTS_VALUE) return stream->duration * av_q2d(stream->time_base);
    if (impl_->input->duration != AV_NOPTS_VALUE) {
        return static_cast<double>(impl_->input->duration) / AV_TIME_BASE;
    }
    return 0;
}

Result<std::vector<int16_t>> decodeAll(const QString& file, int sampleRate) {
    auto decoder = AudioDecoder::open(file, sampleRate);
    if (!decoder) return std::unexpected(decoder.error());
    std::vector<int16_t> all, block;
    for (;;) {
        Result<bool> more = (*decoder)->read(block);
        if (!more) return std::unexpected(more.error());
        if (!*more) break;
        all.insert(all.end(), block.begin(), block.end());
    }
    return all;
}

}  // namespace pelix::media
