// Typing, the status line and the window in front on Wayland: a Qt window on a headless sway,
// typed into through the virtual-keyboard protocol.
#include "core/Clock.h"
#include "dictation/Insert.h"
#include "platform/Desktop.h"
#include "platform/Overlay.h"
#include "support/HeadlessSway.h"
#include "support/TargetWindow.h"
#include "support/TestSupport.h"
#include "ui/Hud.h"

namespace pelix::dictation {
namespace {

// With the status line shown, which never takes the focus from the app in front.
TEST(WaylandEndToEnd, AnyTextArrivesExactlyBesideTheStatusLine) {
    const testing::HeadlessSway& sway = testing::HeadlessSway::shared();
    ASSERT_TRUE(sway.error().isEmpty()) << sway.error().toStdString();
    core::SystemClock clock;
    QTemporaryDir dir;
    const auto desktop = platform::makeDesktop({.clock = clock,
                                                .cacheDir = dir.path(),
                                                .session = "wayland",
                                                .waylandDisplay = sway.socket(),
                                                .inputFolder = dir.path()});
    const platform::Probes probes = desktop->probe();
    ASSERT_TRUE(probes.typing && probes.frontKnown)
        << "sway offers no virtual keyboard or window list";
    platform::Typist* typist = &desktop->typist();
    const auto target =
        std::make_unique<testing::TargetWindow>(PELIX_TYPING_TARGET, sway.clientEnvironment());
    ASSERT_TRUE(target->ready()) << "The target window never got the focus.";
    platform::Overlay* overlay = desktop->overlay();
    ASSERT_NE(overlay, nullptr) << "sway offers no layer shell";
    ui::Hud hud;
    hud.setOverlay(overlay);
    hud.show("Dropped that one.");
    ASSERT_TRUE(testing::waitUntil([&] { return overlay->shown(); }, 5000));
    EXPECT_EQ(hud.visibleLine(), "Dropped that one.");
    const QStringList texts = {
        QString::fromUtf8("Plain ASCII: The quick brown fox jumps over 13 lazy dogs; (ok)!?"),
        QString::fromUtf8("Grüße, naïve café — ÀÉÎÕÜ ß ø ł Ž"),
        QString::fromUtf8("日本語のテキスト、한국어 텍스트, русский текст"),
        QString::fromUtf8("emoji 👍🏽 👩‍💻 🇩🇪 e\u0301 and a second\nline"),
    };
    for (const QString& text : texts) {
        target->clear();
        Insert::type(*typist, text);
        EXPECT_TRUE(target->waitForText(text, 5000)) << target->text().toStdString();
    }
    // More different characters than one keyboard map holds.
    QString many;
    for (char32_t point = 0x4e00; point < 0x4e00 + 600; ++point) many += QChar::fromUcs4(point);
    target->clear();
    Insert::type(*typist, many);
    EXPECT_TRUE(target->waitForText(many, 10000)) << target->text().size();

    target->clear();
    Insert::type(*typist, QString::fromUtf8("hello wide wörld"));
    ASSERT_TRUE(target->waitForText(QString::fromUtf8("hello wide wörld")));
    typist->press(platform::Key::backspace, false, 6);
    Insert::tap(*typist, platform::Key::enter);
    Insert::type(*typist, "x");
    EXPECT_TRUE(target->waitForText("hello wide\nx")) << target->text().toStdString();
    EXPECT_FALSE(target->said("unfocused"));
    // The target is the app in front, unless it is the one asking.
    EXPECT_EQ(Insert::target(*typist, "pelix").value_or(platform::FrontWindow{}).appId,
              "typing-target");
    EXPECT_FALSE(Insert::target(*typist, "typing-target").has_value());
}

}  // namespace
}  // namespace pelix::dictation
