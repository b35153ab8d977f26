#include "ui/Sounds.h"

#include <QAudioFormat>
#include <QAudioSink>
#include <QBuffer>
#include <QMediaDevices>

#include <array>
#include <cmath>
#include <numbers>

namespace pelix::ui {
namespace {

struct Voice {
    double seconds;
    double decay;  // per second
    std::array<double, 3> hertz;
    std::array<double, 3> level;
    double sweep;  // relative change of pitch over the sound
};

Voice voiceOf(Sound sound) {
    switch (sound) {
        case Sound::begin:
            return {0.09, 45, {520, 1040, 0}, {0.55, 0.2, 0}, 0.6};
        case Sound::end:
            return {0.16, 30, {2093, 4186, 6279}, {0.35, 0.12, 0.05}, 0};
        case Sound::done:
            return {0.6, 7, {1319, 2637, 3951}, {0.35, 0.15, 0.08}, 0};
    }
    return {0.1, 30, {440, 0, 0}, {0.3, 0, 0}, 0};
}

}  // namespace

QByteArray soundSamples(Sound sound, int sampleRate) {
    const Voice voice = voiceOf(sound);
    const int count = static_cast<int>(voice.seconds * sampleRate);
    QByteArray pcm(count * 2, Qt::Uninitialized);
    auto* out = reinterpret_cast<qint16*>(pcm.data());
    const double attack = 0.004 * sampleRate;
    std::array<double, 3> phase{};
    for (int i = 0; i < count; ++i) {
        const double t = static_cast<double>(i) / sampleRate;
        const double envelope = std::exp(-voice.decay * t) * std::min(1.0, i / attack) *
                                std::min(1.0, (count - i) / attack);
        const double pitch = 1.0 + voice.sweep * (t / voice.seconds);
        double value = 0;
        for (size_t p = 0; p < phase.size(); ++p) {
            phase[p] += 2 * std::numbers::pi * voice.hertz[p] * pitch / sampleRate;
            value += voice.level[p] * std::sin(phase[p]);
        }
        out[i] = static_cast<qint16>(std::clamp(value * envelope, -1.0, 1.0) * 32767);
    }
    return pcm;
}

void Sounds::play(Sound sound) {
    const QAudioDevice output = QMediaDevices::defaultAudioOutput();
    if (output.isNull()) return;
    constexpr int kRate = 44100;
    QAudioFormat format;
    format.setSampleRate(kRate);
    format.setChannelCount(1);
    format.setSampleFormat(QAudioFormat::Int16);
    auto* sink = new QAudioSink(output, format);
    auto* buffer = new QBuffer(sink);
    buffer->setData(soundSamples(sound, kRate));
    buffer->open(QIODevice::ReadOnly);
    QObject::connect(sink, &QAudioSink::stateChanged, sink, [sink](QAudio::State state) {
        if (state == QAudio::IdleState || state == QAudio::StoppedState) sink->deleteLater();
    });
    sink->start(buffer);
}

}  // namespace pelix::ui
