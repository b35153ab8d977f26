#pragma once

#include "platform/Microphone.h"

#include <memory>

class QAudioSource;
class QIODevice;

namespace pelix::platform {

// The desktop's default input through Qt Multimedia (PulseAudio or PipeWire's Pulse server).
// It asks for small fragments, so sound arrives a hundredth of a second at a time.
class QtMicrophone final : public Microphone {
public:
    QtMicrophone();
    ~QtMicrophone() override;

    Status start(int sampleRate, Samples samples) override;
    void stop() override;

    // Whether the sound server lists any input at all.
    static bool present();

private:
    void pull();

    std::unique_ptr<QAudioSource> source_;
    QIODevice* device_ = nullptr;
    Samples samples_;
};

}  // namespace pelix::platform
