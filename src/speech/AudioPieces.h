#pragma once

#include <QByteArray>

#include <cstdint>
#include <span>

// Cutting a stream of 16-bit mono PCM into pieces a server takes, and wrapping them as WAV.
namespace pelix::speech::server {

// Bytes of a WAV file's header as `wavFile` writes it.
inline constexpr qsizetype kWavHeader = 44;

// The length of the first piece of `samples` to send when a piece may hold at most `limit`
// samples: all of them when they fit, else a cut in the middle of the quietest 0.3 s (measured in
// 10 ms frames) of the last quarter before the limit, so that pieces end in pauses between
// words. Linear in the limit.
qsizetype pieceLength(std::span<const int16_t> samples, qsizetype limit, int rate);

// The samples as a WAV file (RIFF, PCM, 16-bit, mono, `rate`).
QByteArray wavFile(std::span<const int16_t> samples, int rate);

}  // namespace pelix::speech::server
