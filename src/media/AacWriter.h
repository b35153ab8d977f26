#pragma once

#include "core/Error.h"

#include <QString>

#include <cstdint>
#include <memory>
#include <span>

namespace pelix::media {

// A streaming M4A writer: AAC-LC, 44.1 kHz, mono, 64 kbit/s, fed with signed 16-bit PCM blocks
// as they come (from a microphone, a decoder). Input of another rate or channel count is
// converted. The file is written beside `target` under a hidden name and moved into place by
// `finish`; a writer dropped before `finish` (or failing) removes what it wrote, so `target`
// never holds half a file. Not thread-safe; one thread at a time.
class AacWriter {
public:
    static constexpr int kSampleRate = 44100;
    static constexpr int kBitRate = 64000;

    // `inputRate` and `inputChannels` describe the blocks given to `write` (interleaved).
    static Result<std::unique_ptr<AacWriter>> open(const QString& target,
                                                   int inputRate = kSampleRate,
                                                   int inputChannels = 1);
    ~AacWriter();
    AacWriter(const AacWriter&) = delete;
    AacWriter& operator=(const AacWriter&) = delete;

    // Interleaved samples; any length, including none.
    Status write(std::span<const int16_t> samples);
    // Flushes the encoder, closes the file and moves it to `target`.
    Status finish();

    // Seconds of sound written so far, at the output rate.
    double seconds() const;

private:
    struct Impl;
    explicit AacWriter(std::unique_ptr<Impl> impl);
    std::unique_ptr<Impl> impl_;
};

}  // namespace pelix::media
