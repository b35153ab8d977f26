// The status line, through a window or a desktop's overlay.
#include "platform/Overlay.h"
#include "support/TestSupport.h"
#include "ui/Hud.h"

namespace pelix::ui {
namespace {

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

}  // namespace
}  // namespace pelix::ui
