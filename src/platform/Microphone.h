#pragma once

#include "core/Error.h"

#include <QByteArray>

#include <functional>

namespace pelix::platform {

// The default microphone as 16-bit signed mono samples at a fixed rate.
class Microphone {
public:
    using Samples = std::function<void(const QByteArray& pcm)>;

    virtual ~Microphone() = default;
    // Starts capturing; `samples` gets each chunk on the starting thread. An error when there is
    // no microphone or it won't open.
    virtual Status start(int sampleRate, Samples samples) = 0;
    // Stops and delivers what is still buffered before returning.
    virtual void stop() = 0;
};

}  // namespace pelix::platform
