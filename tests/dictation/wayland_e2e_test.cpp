// Typing, pasting and the window in front on Wayland: a Qt window on a headless sway, typed
// into through the virtual-keyboard protocol, with the clipboard through data control.
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

using testing::pause;

class WaylandEndToEnd : public ::testing::Test {
protected:
    void SetUp() override {
        const testing::HeadlessSway& sway = testing::HeadlessSway::shared();
        ASSERT_TRUE(sway.error().isEmpty()) << sway.error().toStdString();
        desktop = platform::makeDesktop({.clock = clock,
                                         .cacheDir = dir.path(),
                                         .session = "wayland",
                                         .waylandDisplay = sway.socket(),
                                         .inputFolder = dir.path()});
        const platform::Probes probes = desktop->probe();
        ASSERT_TRUE(probes.typing && probes.pasting && probes.frontKnown)
            << "sway offers no virtual keyboard, data control or window list";
        typist = &desktop->typist();
        clipboard = &desktop->clipboard();
        target =
            std::make_unique<testing::TargetWindow>(PELIX_TYPING_TARGET, sway.clientEnvironment());
        ASSERT_TRUE(target->ready()) << "The target window never got the focus.";
    }

    core::SystemClock clock;
    QTemporaryDir dir;
    std::unique_ptr<platform::Desktop> desktop;
    platform::Typist* typist = nullptr;
    platform::Clipboard* clipboard = nullptr;
    std::unique_ptr<testing::TargetWindow> target;
};

TEST_F(WaylandEndToEnd, AnyTextArrivesExactly) {
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
}

TEST_F(WaylandEndToEnd, BackspacesCorrectWhatWasTyped) {
    Insert::type(*typist, QString::fromUtf8("hello wide wörld"));
    ASSERT_TRUE(target->waitForText(QString::fromUtf8("hello wide wörld")));
    typist->press(platform::Key::backspace, false, 6);
    EXPECT_TRUE(target->waitForText("hello wide")) << target->text().toStdString();
    Insert::tap(*typist, platform::Key::enter);
    Insert::type(*typist, "x");
    EXPECT_TRUE(target->waitForText("hello wide\nx")) << target->text().toStdString();
}

TEST_F(WaylandEndToEnd, PasteDeliversTheTextAndRestoresTheClipboard) {
    // The compositor lets an application take the clipboard only after input of the user's, as
    // a person copies with a key: the target gets a key first.
    Insert::type(*typist, "-");
    ASSERT_TRUE(target->waitForText("-"));
    target->clear();
    target->send("own");
    ASSERT_TRUE(target->waitForLine("owned"));
    const QMap<QString, QByteArray> before = target->clipboard();
    ASSERT_TRUE(before.contains("image/png") && before.contains("application/x-pelix-test"))
        << before.keys().join(' ').toStdString();

    Insert::paste(*typist, *clipboard, QString::fromUtf8("pasted — 貼り付け"));
    EXPECT_TRUE(target->waitForText(QString::fromUtf8("pasted — 貼り付け")))
        << target->text().toStdString();
    pause(900);
    const QMap<QString, QByteArray> after = target->clipboard();
    for (const char* format : {"text/plain", "image/png", "application/x-pelix-test"}) {
        EXPECT_EQ(after.value(format), before.value(format)) << format;
    }

    // An empty clipboard stays empty. (sway ignores the target's own emptying of the clipboard
    // here, so it is emptied through data control.)
    clipboard->restore(std::nullopt);
    ASSERT_TRUE(testing::waitUntil([&] { return target->clipboard().isEmpty(); }));
    Insert::paste(*typist, *clipboard, "again");
    EXPECT_TRUE(target->waitForText(QString::fromUtf8("pasted — 貼り付けagain")))
        << target->text().toStdString();
    EXPECT_TRUE(testing::waitUntil([&] { return target->clipboard().isEmpty(); }));
}

TEST_F(WaylandEndToEnd, TheStatusLineNeverTakesTheFocusFromTheAppInFront) {
    platform::Overlay* overlay = desktop->overlay();
    ASSERT_NE(overlay, nullptr) << "sway offers no layer shell";
    ui::Hud hud;
    hud.setOverlay(overlay);
    hud.show("Dropped that one.");
    ASSERT_TRUE(testing::waitUntil([&] { return overlay->shown(); }, 5000));
    EXPECT_EQ(hud.visibleLine(), "Dropped that one.");

    Insert::type(*typist, "still here");
    EXPECT_TRUE(target->waitForText("still here")) << target->text().toStdString();
    EXPECT_FALSE(target->said("unfocused"));
    // The target is the app in front, unless it is the one asking.
    EXPECT_EQ(Insert::target(*typist, "pelix").value_or(platform::FrontWindow{}).appId,
              "typing-target");
    EXPECT_FALSE(Insert::target(*typist, "typing-target").has_value());
}

}  // namespace
}  // namespace pelix::dictation
