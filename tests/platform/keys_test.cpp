// Key codes to the four modifier bits, and server times to up-time; characters to key codes on
// real XKB layouts, as KWin's fake input needs them; and the keyboard map the virtual keyboard
// types with, read back as a client reads it.
#include "platform/Keys.h"
#include "platform/linux/LayoutKeys.h"
#include "platform/linux/WaylandTypist.h"
#include "support/TestSupport.h"

#include <linux/input-event-codes.h>
#include <xkbcommon/xkbcommon.h>

namespace pelix::platform {
namespace {

// What the gestures are fed: each key code counts under the role it went down with, the whole
// range of X key codes is kept apart, and codes outside it, keys of no modifier role and releases
// of keys never pressed change nothing.
TEST(Keys, TrackerKeepsEveryKeyCodeApartAndIgnoresTheRest) {
    ModTracker t;
    EXPECT_EQ(t.change(0, KeyRole::control, true).bits, Mods::kControl);
    EXPECT_EQ(t.change(63, KeyRole::control, true).bits, Mods::kControl);
    EXPECT_EQ(t.change(64, KeyRole::shift, true).bits, Mods::kControl | Mods::kShift);
    EXPECT_EQ(t.change(255, KeyRole::other, true).bits,
              Mods::kControl | Mods::kShift | Mods::kOther);
    EXPECT_EQ(t.change(0, KeyRole::control, false).bits,
              Mods::kControl | Mods::kShift | Mods::kOther);  // 63 still holds it
    EXPECT_EQ(t.change(63, KeyRole::control, false).bits, Mods::kShift | Mods::kOther);
    for (const int code : {256, 300, -1, 100000}) {
        EXPECT_EQ(t.change(code, KeyRole::alt, true).bits, Mods::kShift | Mods::kOther) << code;
    }
    for (const KeyRole role : {KeyRole::plain, KeyRole::ignored, KeyRole::capsLock}) {
        EXPECT_EQ(t.change(10, role, true).bits, Mods::kShift | Mods::kOther);
    }
    EXPECT_EQ(t.change(64, KeyRole::alt, false).bits, Mods::kShift | Mods::kOther);  // not down
    EXPECT_EQ(t.change(64, KeyRole::shift, false).bits, Mods::kOther);
    t.setCapsLocked(true);
    t.reset();
    EXPECT_EQ(t.current().bits, 0);
    EXPECT_FALSE(t.capsLocked());
}

TEST(Keys, ServerTimesBecomeUptime) {
    const struct {
        std::uint32_t serverMs;
        double now;
        double want;
    } cases[] = {
        {10'000, 10.5, 10.0},
        {10'500, 10.5, 10.5},
        {10'600, 10.5, 10.5},  // a little ahead counts as now
        // The server's 32-bit clock wrapped 49.7 days in; ours did not.
        {4'294'967'000u, 4'294'967.5 + 1.0, 4'294'967.0},
        {200, 4'294'967.296 + 0.5, 4'294'967.296 + 0.2},
    };
    for (const auto& c : cases) {
        EXPECT_NEAR(serverTimeToUptime(c.serverMs, c.now), c.want, 1e-6) << c.serverMs;
    }
}

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

// Toolkits read Ctrl+V by the character: on Dvorak it is the key US keyboards call ".". The
// keymap text a compositor sends is read in KWin's end-to-end test; text that is no keymap is
// none.
TEST(LayoutKeys, PasteIsCtrlAndTheKeyThatGivesV) {
    const std::optional<LayoutKeys> dvorak = LayoutKeys::fromNames("us", "dvorak");
    ASSERT_TRUE(dvorak.has_value());
    EXPECT_EQ(dvorak->v(), KEY_DOT);
    EXPECT_EQ(LayoutKeys::fromNames("de")->v(), KEY_V);
    EXPECT_FALSE(LayoutKeys::fromText("xkb_keymap { not a keymap").has_value());
    EXPECT_FALSE(LayoutKeys::fromText({}).has_value());
}

struct Compiled {
    std::unique_ptr<xkb_context, decltype(&xkb_context_unref)> context{xkb_context_new({}),
                                                                       xkb_context_unref};
    std::unique_ptr<xkb_keymap, decltype(&xkb_keymap_unref)> keymap{nullptr, xkb_keymap_unref};
    explicit Compiled(const QByteArray& text) {
        keymap.reset(xkb_keymap_new_from_string(context.get(), text.constData(),
                                                XKB_KEYMAP_FORMAT_TEXT_V1, {}));
    }
    xkb_keysym_t symbol(int code) const {
        const xkb_keysym_t* symbols = nullptr;
        return xkb_keymap_key_get_syms_by_level(keymap.get(), code, 0, 0, &symbols) == 1
                   ? symbols[0]
                   : XKB_KEY_NoSymbol;
    }
};

QList<char32_t> distinct(int count) {
    QList<char32_t> characters;
    for (char32_t c = 0x4e00; characters.size() < count; ++c) characters.append(c);
    return characters;
}

TEST(TypingKeymap, EveryKeyIsOnTheMapWhereClientsLookForIt) {
    const struct {
        const char* name;
        QList<char32_t> characters;
        int typed;
    } cases[] = {
        {"no characters (pressing keys only)", {}, 0},
        {"one", {U'a'}, 1},
        {"repeats and a line break", {U'h', U'é', U'h', U'\n', U'😀'}, 4},
        {"a full map", distinct(kTypingKeymapSlots), kTypingKeymapSlots},
        {"more than fit", distinct(kTypingKeymapSlots + 20), kTypingKeymapSlots},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        QHash<char32_t, int> codes;
        const Compiled map(typingKeymap(c.characters, &codes));
        ASSERT_TRUE(map.keymap);
        EXPECT_EQ(codes.size(), c.typed);
        // Applications find the keys of a shortcut by walking the codes below the highest one
        // (GTK stops one short of it): nothing may sit on the highest code.
        const xkb_keycode_t highest = xkb_keymap_max_keycode(map.keymap.get());
        EXPECT_EQ(map.symbol(highest), XKB_KEY_NoSymbol);
        EXPECT_LE(highest, 255u);
        for (xkb_keysym_t named :
             {XKB_KEY_BackSpace, XKB_KEY_Return, XKB_KEY_Control_L, XKB_KEY_v}) {
            bool found = false;
            for (xkb_keycode_t code = xkb_keymap_min_keycode(map.keymap.get()); code < highest;
                 ++code) {
                found = found || map.symbol(code) == named;
            }
            EXPECT_TRUE(found) << xkb_keysym_to_utf32(named);
        }
        for (auto it = codes.cbegin(); it != codes.cend(); ++it) {
            const xkb_keysym_t wanted =
                it.key() == U'\n' ? XKB_KEY_Return : xkb_utf32_to_keysym(it.key());
            EXPECT_EQ(map.symbol(it.value()), wanted) << uint(it.key());
            EXPECT_LT(xkb_keycode_t(it.value()), highest);
        }
    }
}

}  // namespace
}  // namespace pelix::platform
