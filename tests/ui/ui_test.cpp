// The sounds made by the program, the status line, and the bundled font, drawn whatever fonts
// the machine has.
#include "platform/Overlay.h"
#include "support/TestSupport.h"
#include "ui/Hud.h"
#include "ui/Sounds.h"
#include "ui/Theme.h"

#include <QFontInfo>

#include <algorithm>
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
        EXPECT_TRUE(n >= c.minSeconds * 44100 && n <= c.maxSeconds * 44100) << n;
        // No click at either end; loud enough in between; never at full scale.
        EXPECT_LT(std::max(std::abs(s[0]), std::abs(s[n - 1])), 200);
        const int peak = std::abs(*std::max_element(
            s, s + n, [](qint16 a, qint16 b) { return std::abs(int(a)) < std::abs(int(b)); }));
        EXPECT_TRUE(peak > 5000 && peak < 32767) << peak;
    }
    EXPECT_NE(soundSamples(Sound::begin, 44100), soundSamples(Sound::end, 44100));
}

// An overlay that keeps what it was given.
class FakeOverlay final : public platform::Overlay {
public:
    void show(const QImage& picture, int top) override {
        pictures << picture;
        tops << top;
        on = true;
    }
    void hide() override { on = false; }
    bool shown() const override { return on; }
    QList<QImage> pictures;
    QList<int> tops;
    bool on = false;
};

// The status line shows the latest line for its time, counted anew from each line, then hides;
// through an overlay it sends a drawn picture of the line instead of showing a window.
TEST(Hud, TheLatestLineStaysForItsTimeThenHides) {
    FakeOverlay overlay;
    for (platform::Overlay* through :
         {static_cast<platform::Overlay*>(nullptr), static_cast<platform::Overlay*>(&overlay)}) {
        SCOPED_TRACE(through ? "overlay" : "window");
        // A shorter time than a person's, with the same margins around it.
        constexpr int showMs = 1200;
        Hud hud(showMs);
        hud.setOverlay(through);
        EXPECT_EQ(hud.visibleLine(), "");
        hud.show("Recording…");
        hud.show("In Pelix");
        EXPECT_EQ(hud.visibleLine(), "In Pelix");
        testing::pause(showMs - 500);
        hud.show("Dropped that one.");
        testing::pause(800);
        EXPECT_EQ(hud.visibleLine(), "Dropped that one.");
        EXPECT_TRUE(testing::waitUntil([&] { return hud.visibleLine().isEmpty(); }, showMs));
    }
    ASSERT_EQ(overlay.pictures.size(), 3);
    EXPECT_FALSE(overlay.on);
    EXPECT_EQ(overlay.tops, (QList<int>{48, 48, 48}));
    // Each line is drawn: a longer line makes a wider picture.
    EXPECT_FALSE(overlay.pictures[2].isNull());
    EXPECT_GT(overlay.pictures[2].width(), overlay.pictures[1].width());
}

TEST(Theme, EveryTextStyleUsesTheBundledFont) {
    ASSERT_TRUE(theme::loadFonts());
    using theme::Type;
    for (Type type :
         {Type::caption, Type::small, Type::body, Type::title, Type::heading, Type::display}) {
        const QFont font = theme::font(type);
        const QFontInfo used(font);
        EXPECT_EQ(used.family(), QLatin1String(theme::kFamily)) << int(type);
        EXPECT_EQ(used.weight(), font.weight()) << int(type);
        EXPECT_EQ(used.pixelSize(), font.pixelSize()) << int(type);
    }
}

}  // namespace
}  // namespace pelix::ui
