// The keyboard map the virtual keyboard types with, read back as a client reads it.
#include "platform/linux/WaylandTypist.h"

#include <gtest/gtest.h>

#include <xkbcommon/xkbcommon.h>

#include <memory>

namespace pelix::platform {
namespace {

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
