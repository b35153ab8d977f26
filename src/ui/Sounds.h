#pragma once

#include <QByteArray>

namespace pelix::ui {

// The three short sounds of the application: a recording begins, ends, or something is done.
enum class Sound { begin, end, done };

// The sound as 16-bit signed mono samples at `sampleRate`: a few decaying partials, made here
// rather than shipped as files.
QByteArray soundSamples(Sound sound, int sampleRate);

// Plays the sounds on the default output. Each sound opens the output only while it plays.
class Sounds {
public:
    void play(Sound sound);
};

}  // namespace pelix::ui
