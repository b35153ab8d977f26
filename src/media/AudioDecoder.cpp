#include "media/AudioDecoder.h"

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
    bool draining = false;  // the input has ended; the decoder gives what it holds
    bool flushed = false;   // the resampler has given its last samples

    Error failure(int code) const {
        return Error::pelix(kExportFailed, ff::exportFailedMessage(file, ff::describe(code)));
    }

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
            return std::unexpected(failure(made));
        }
        out.resize(at + static_cast<size_t>(made));
        return {};
    }
};

AudioDecoder::AudioDecoder(std::unique_ptr<Impl> impl) : impl_(std::move(impl)) {}
AudioDecoder::~AudioDecoder() = default;

Result<std::unique_ptr<AudioDecoder>> AudioDecoder::open(const QString& file, int sampleRate) {
    auto input = ff::openMedia(file);
    if (!input) return std::unexpected(input.error());
    return open(std::move(*input), file, sampleRate);
}

Result<std::unique_ptr<AudioDecoder>> AudioDecoder::open(ff::Input input, const QString& file,
                                                         int sampleRate) {
    auto impl = std::make_unique<Impl>();
    impl->file = file;
    impl->rate = sampleRate;
    impl->input = std::move(input);
    if (!impl->input) return fail(kNotMedia, ff::notMediaMessage(file));
    auto decoding = ff::openStream(impl->input.get(), AVMEDIA_TYPE_AUDIO);
    if (!decoding) {
        if (decoding.error() == AVERROR_STREAM_NOT_FOUND) {
            return fail(kNoSound, ff::noSoundMessage(file));
        }
        if (decoding.error() == AVERROR_DECODER_NOT_FOUND) {
            return fail(kExportFailed,
                        ff::exportFailedMessage(file, "There is no decoder for its sound."));
        }
        return std::unexpected(impl->failure(decoding.error()));
    }
    impl->stream = decoding->stream;
    impl->codec = std::move(decoding->codec);
    AVChannelLayout mono = AV_CHANNEL_LAYOUT_MONO;
    AVChannelLayout inLayout{};
    if (impl->codec->ch_layout.order == AV_CHANNEL_ORDER_UNSPEC) {
        av_channel_layout_default(&inLayout, impl->codec->ch_layout.nb_channels);
    } else {
        av_channel_layout_copy(&inLayout, &impl->codec->ch_layout);
    }
    SwrContext* swr = nullptr;
    int rc = swr_alloc_set_opts2(&swr, &mono, AV_SAMPLE_FMT_S16, sampleRate, &inLayout,
                                 impl->codec->sample_fmt, impl->codec->sample_rate, 0, nullptr);
    av_channel_layout_uninit(&inLayout);
    impl->resampler.reset(swr);
    if (rc >= 0) rc = swr_init(swr);
    if (rc < 0) return std::unexpected(impl->failure(rc));
    return std::unique_ptr<AudioDecoder>(new AudioDecoder(std::move(impl)));
}

Result<bool> AudioDecoder::read(std::vector<int16_t>& block) {
    Impl& d = *impl_;
    block.clear();
    const size_t wanted = static_cast<size_t>(d.rate / 10);
    while (block.size() < wanted && !d.flushed) {
        const auto got = ff::nextFrame(d.input.get(), d.stream, d.codec.get(), d.packet.get(),
                                       d.frame.get(), d.draining);
        if (!got) return std::unexpected(d.failure(got.error()));
        if (!*got) {
            // The end: what the resampler still holds.
            if (Status s = d.convert(nullptr, block); !s) return std::unexpected(s.error());
            d.flushed = true;
            break;
        }
        const Status converted = d.convert(d.frame.get(), block);
        av_frame_unref(d.frame.get());
        if (!converted) return std::unexpected(converted.error());
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
