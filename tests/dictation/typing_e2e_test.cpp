// Typing into a real Qt window on the test session's X display, through XTest.
#include "dictation/Insert.h"
#include "platform/Desktop.h"

#include "support/DesktopSession.h"

namespace pelix::dictation {
namespace {

class TypingEndToEnd : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(testing::desktopPresent(false));
        ASSERT_TRUE(hands.ok()) << "XTest can't open the display.";
        ASSERT_TRUE(desktop->probe().typing) << "The display has no XTest.";
        ASSERT_TRUE(target.ready()) << "The target window never got the focus.";
    }

    QTemporaryDir dir;
    testing::Keyboard hands;
    core::SystemClock clock;
    std::unique_ptr<platform::Desktop> desktop =
        platform::makeDesktop({.clock = clock, .cacheDir = dir.path()});
    platform::Typist& typist = desktop->typist();
    testing::TargetWindow target{PELIX_TYPING_TARGET};
};

TEST_F(TypingEndToEnd, BorrowedKeysGoBackAfterTypingAndAfterACrash) {
    const KeySym zcaron = 0x0100017e;  // ž as a Unicode keysym
    Insert::type(typist, QString::fromUtf8("ž"));
    ASSERT_TRUE(target.waitForText(QString::fromUtf8("ž")));
    EXPECT_NE(hands.codeOf(zcaron), 0);
    // Kept for the next time it comes, until the typist goes.
    Insert::type(typist, QString::fromUtf8("žž"));
    ASSERT_TRUE(target.waitForText(QString::fromUtf8("žžž")));
    desktop.reset();
    EXPECT_EQ(hands.codeOf(zcaron), 0);

    // A typist that never gets to give its keys back, as in a crash; the next one puts it right.
    QTemporaryDir other;
    const platform::DesktopOptions options{.clock = clock, .cacheDir = other.path()};
    platform::Desktop* crashed = platform::makeDesktop(options).release();
    crashed->typist().type(QString::fromUtf8("ž"));
    EXPECT_NE(hands.codeOf(zcaron), 0);
    const std::unique_ptr<platform::Desktop> next = platform::makeDesktop(options);
    // Its first look at the display puts the codes right.
    next->typist().frontWindow();
    EXPECT_EQ(hands.codeOf(zcaron), 0);
    EXPECT_FALSE(QFile::exists(other.filePath("borrowed-keys")));
    // Gone without giving anything back: its codes were cleared already.
    delete crashed;
}

TEST_F(TypingEndToEnd, AnyTextArrivesExactlyAlsoWhileCtrlIsHeld) {
    const QStringList texts = {
        QString::fromUtf8("Grüße, naïve café — ÀÉÎÕÜ ß ø ł Ž"),
        QString::fromUtf8("日本語のテキスト、한국어 텍스트, русский текст"),
        QString::fromUtf8("emoji 👍🏽 👩‍💻 🇩🇪 e\u0301 and a second\nline"),
    };
    // Every character beyond the layout makes every X client read the keyboard map again, the
    // window manager too: the pass under Ctrl keeps to a few of them.
    const QStringList underCtrl = {"Plain ASCII: the quick fox, 13 dogs (ok)!?",
                                   QString::fromUtf8("hold ë 字 👍🏽")};
    for (bool ctrl : {false, true}) {
        for (const QString& text : ctrl ? underCtrl : texts) {
            target.clear();
            if (ctrl) hands.key(XK_Control_L, true);
            Insert::type(typist, text);
            EXPECT_TRUE(target.waitForText(text, 5000))
                << (ctrl ? "with Ctrl: " : "") << target.text().toStdString() << " front: "
                << (typist.frontWindow() ? typist.frontWindow()->appId.toStdString() : "none");
            // The user's hold is given back after the typing.
            EXPECT_EQ(hands.isDown(XK_Control_L), ctrl);
            if (ctrl) hands.key(XK_Control_L, false);
        }
    }
    // BackSpaces under Ctrl erase characters, not whole words.
    target.clear();
    Insert::type(typist, "hello wide world");
    ASSERT_TRUE(target.waitForText("hello wide world"));
    hands.key(XK_Control_L, true);
    typist.press(platform::Key::backspace, false, 6);
    hands.key(XK_Control_L, false);
    EXPECT_TRUE(target.waitForText("hello wide")) << target.text().toStdString();

    // The window manager reads every change of the keyboard map, slowly: the next test on this
    // display starts once it manages a new window again.
    desktop.reset();
    testing::TargetWindow settled{PELIX_TYPING_TARGET};
    EXPECT_TRUE(settled.ready(30000));
}

}  // namespace
}  // namespace pelix::dictation
