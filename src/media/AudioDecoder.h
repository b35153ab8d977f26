#pragma once

#include "core/Error.h"

#include <QString>

#include <cstdint>
#include <memory>
#include <vector>

struct AVFormatContext;

namespace pelix::media::ff {
struct FormatCloser;
}  // namespace pelix::media::ff

namespace pelix::media {

// Reads the first audio track of a file as signed 16-bit PCM, mono, at a chosen sample rate,
// block by block (16 kHz for the recognisers). Not thread-safe; one thread at a time.
class AudioDecoder {
public:
    // Fails with kNotMedia or kNoSound (the sentences name the file).
    static Result<std::unique_ptr<AudioDecoder>> open(const QString& file, int sampleRate = 16000);
    // The same over a container already opened for `file`, which the decoder takes over.
    static Result<std::unique_ptr<AudioDecoder>> open(
        std::unique_ptr<AVFormatContext, ff::FormatCloser> input, const QString& file,
        int sampleRate);
    ~AudioDecoder();
    AudioDecoder(const AudioDecoder&) = delete;
    AudioDecoder& operator=(const AudioDecoder&) = delete;

    // Replaces `block` with the next samples (about 0.1 s, never empty while it returns true).
    // False at the end of the track; an error when the track cannot be decoded.
    Result<bool> read(std::vector<int16_t>& block);

    int sampleRate() const;
    // The track's length in seconds as the container states it (0 when unknown).
    double duration() const;

private:
    struct Impl;
    explicit AudioDecoder(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

// The whole first audio track of `file` at `sampleRate`, mono. For short files and tests.
Result<std::vector<int16_t>> decodeAll(const QString& file, int sampleRate = 16000);

}  // namespace pelix::media
