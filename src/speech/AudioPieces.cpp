#include "speech/AudioPieces.h"

#include <QSysInfo>
#include <QtEndian>

#include <algorithm>
#include <cstring>
#include <vector>

namespace pelix::speech::server {
namespace {

void put32(char* at, uint32_t value) {
    qToLittleEndian(value, at);
}
void put16(char* at, uint16_t value) {
    qToLittleEndian(value, at);
}

}  // namespace

qsizetype pieceLength(std::span<const int16_t> samples, qsizetype limit, int rate) {
    const auto size = static_cast<qsizetype>(samples.size());
    if (size <= limit) return size;
    const qsizetype frame = std::max(1, rate / 100);  // 10 ms
    const qsizetype window = 30;                      // frames: 0.3 s
    const qsizetype firstFrame = (limit - limit / 4) / frame;
    const qsizetype frames = limit / frame - firstFrame;
    if (frames < window) return std::max<qsizetype>(limit, 1);

    // Energy of each frame of the last quarter, then the window of least energy.
    std::vector<double> energy(static_cast<size_t>(frames));
    for (qsizetype f = 0; f < frames; ++f) {
        double sum = 0;
        const qsizetype from = (firstFrame + f) * frame;
        for (qsizetype i = from; i < from + frame; ++i) {
            const double s = samples[static_cast<size_t>(i)];
            sum += s * s;
        }
        energy[static_cast<size_t>(f)] = sum;
    }
    double running = 0;
    for (qsizetype f = 0; f < window; ++f) running += energy[static_cast<size_t>(f)];
    double least = running;
    qsizetype best = 0;
    for (qsizetype f = window; f < frames; ++f) {
        running += energy[static_cast<size_t>(f)] - energy[static_cast<size_t>(f - window)];
        if (running <= least) {  // the latest of equals: pieces as long as they may be
            least = running;
            best = f - window + 1;
        }
    }
    return (firstFrame + best + window / 2) * frame;
}

QByteArray wavFile(std::span<const int16_t> samples, int rate) {
    const auto data = static_cast<uint32_t>(samples.size() * sizeof(int16_t));
    QByteArray wav(kWavHeader, '\0');
    char* h = wav.data();
    std::memcpy(h, "RIFF", 4);
    put32(h + 4, 36 + data);
    std::memcpy(h + 8, "WAVEfmt ", 8);
    put32(h + 16, 16);  // format chunk size
    put16(h + 20, 1);   // PCM
    put16(h + 22, 1);   // mono
    put32(h + 24, static_cast<uint32_t>(rate));
    put32(h + 28, static_cast<uint32_t>(rate) * 2);  // bytes per second
    put16(h + 32, 2);                                // bytes per frame
    put16(h + 34, 16);                               // bits per sample
    std::memcpy(h + 36, "data", 4);
    put32(h + 40, data);
    wav.reserve(kWavHeader + static_cast<qsizetype>(data));
    if constexpr (QSysInfo::ByteOrder == QSysInfo::LittleEndian) {
        wav.append(reinterpret_cast<const char*>(samples.data()), static_cast<qsizetype>(data));
    } else {
        for (const int16_t s : samples) {
            char bytes[2];
            qToLittleEndian(s, bytes);
            wav.append(bytes, 2);
        }
    }
    return wav;
}

}  // namespace pelix::speech::server
