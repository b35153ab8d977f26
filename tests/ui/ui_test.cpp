// The sounds made by the program.
#include "ui/Sounds.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace pelix::ui {
namespace {

TEST(Sounds, EachSoundIsShortFadesInAndOutAndNeverClips) {
    const struct {
        Sound sound;
        double minSeconds, maxSeconds;
    } cases[] = {{Sound::begin, 0.05, 0.15}, {Sound::end, 0.1, 0.3}, {Sound::done, 0.3, 1.0}};
    for (const auto& c : cases) {
        const QByteArray pcm = soundSamples(c.sound, 44100);
        const auto* s = reinterpret_cast<const qint16*>(pcm.constData());
        const qsizetype n = pcm.size() / 2;
        EXPECT_GE(n, c.minSeconds * 44100);
        EXPECT_LE(n, c.maxSeconds * 44100);
        // No click at either end; loud enough in between; never at full scale.
        EXPECT_LT(std::abs(s[0]), 200);
        EXPECT_LT(std::abs(s[n - 1]), 200);
        int peak = 0;
        for (qsizetype i = 0; i < n; ++i) peak = std::max(peak, std::abs(int(s[i])));
        EXPECT_GT(peak, 5000);
        EXPECT_LT(peak, 32767);
    }
    EXPECT_NE(soundSamples(Sound::begin, 44100), soundSamples(Sound::end, 44100));
}

}  // namespace
}  // namespace pelix::ui
