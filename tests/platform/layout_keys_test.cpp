// Characters to key codes on real XKB layouts, as KWin's fake input needs them.
#include "platform/linux/LayoutKeys.h"

#include <gtest/gtest.h>

#include <linux/input-event-codes.h>

namespace pelix::platform {
namespace {

struct Case {
    const char* layout;
    const char* variant;
    char32_t character;
    std::optional<KeyStroke> stroke;
};

const QList<int> kShift = {KEY_LEFTSHIFT};
const QList<int> kAltGr = {KEY_RIGHTALT};

TEST(LayoutKeys, EachCharacterComesFromTheKeyOfTheLayoutInUse) {
    const Case cases[] = {
        {"us", "", U'a', KeyStroke{KEY_A, {}}},
        {"us", "", U'A', KeyStroke{KEY_A, kShift}},
        {"us", "", U' ', KeyStroke{KEY_SPACE, {}}},
        {"us", "", U'\n', KeyStroke{KEY_ENTER, {}}},
        // The keypad's digits and signs need Num Lock or act differently: the main keys type.
        {"us", "", U'7', KeyStroke{KEY_7, {}}},
        {"us", "", U'+', KeyStroke{KEY_EQUAL, kShift}},
        {"us", "", U'ü', std::nullopt},
        // The map's Euro key lies past X11's key codes, which Xwayland's applications never see.
        {"us", "", U'€', std::nullopt},
        // German: Z where Y is, umlauts have keys, AltGr gives @ and €.
        {"de", "", U'z', KeyStroke{KEY_Y, {}}},
        {"de", "", U'Ü', KeyStroke{KEY_LEFTBRACE, kShift}},
        {"de", "", U'@', KeyStroke{KEY_Q, kAltGr}},
        {"de", "", U'€', KeyStroke{KEY_E, kAltGr}},
        {"de", "", U'|', KeyStroke{KEY_102ND, kAltGr}},
        // A dead key types nothing by itself; without dead keys the same key types the sign.
        {"de", "", U'^', std::nullopt},
        {"de", "nodeadkeys", U'^', KeyStroke{KEY_GRAVE, {}}},
        // French: A where Q is, the digits with Shift.
        {"fr", "", U'a', KeyStroke{KEY_Q, {}}},
        {"fr", "", U'1', KeyStroke{KEY_1, kShift}},
        {"fr", "", U'é', KeyStroke{KEY_2, {}}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::string(c.layout) + " " + c.variant + " U+" +
                     QString::number(uint(c.character), 16).toStdString());
        const std::optional<LayoutKeys> keys = LayoutKeys::fromNames(c.layout, c.variant);
        ASSERT_TRUE(keys.has_value());
        EXPECT_EQ(keys->stroke(c.character), c.stroke);
    }
}

TEST(LayoutKeys, PasteIsCtrlAndTheKeyThatGivesV) {
    // Toolkits read Ctrl+V by the character: on Dvorak it is the key US keyboards call ".".
    const std::optional<LayoutKeys> dvorak = LayoutKeys::fromNames("us", "dvorak");
    ASSERT_TRUE(dvorak.has_value());
    EXPECT_EQ(dvorak->v(), KEY_DOT);
    EXPECT_EQ(LayoutKeys::fromNames("de")->v(), KEY_V);
}

TEST(LayoutKeys, ReadsTheKeymapTextTheCompositorSends) {
    // The text a compositor hands its clients, as XKB writes it out.
    const std::optional<LayoutKeys> german = LayoutKeys::fromText(R"xkb(xkb_keymap {
        xkb_keycodes { include "evdev+aliases(qwertz)" };
        xkb_types { include "complete" };
        xkb_compat { include "complete" };
        xkb_symbols { include "pc+de+inet(evdev)" };
    };)xkb");
    ASSERT_TRUE(german.has_value());
    EXPECT_EQ(german->stroke(U'z'), (KeyStroke{KEY_Y, {}}));
    EXPECT_EQ(german->stroke(U'ß'), (KeyStroke{KEY_MINUS, {}}));
    EXPECT_FALSE(LayoutKeys::fromText("xkb_keymap { not a keymap").has_value());
    EXPECT_FALSE(LayoutKeys::fromText({}).has_value());
}

}  // namespace
}  // namespace pelix::platform
