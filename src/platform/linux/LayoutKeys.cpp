#include "platform/linux/LayoutKeys.h"

#include <linux/input-event-codes.h>
#include <xkbcommon/xkbcommon.h>

#include <algorithm>
#include <iterator>
#include <memory>

namespace pelix::platform {
namespace {

// XKB numbers keys 8 above evdev.
constexpr int kXkbOffset = 8;

struct ContextDeleter {
    void operator()(xkb_context* context) const { xkb_context_unref(context); }
};
struct KeymapDeleter {
    void operator()(xkb_keymap* keymap) const { xkb_keymap_unref(keymap); }
};
struct StateDeleter {
    void operator()(xkb_state* state) const { xkb_state_unref(state); }
};
using Context = std::unique_ptr<xkb_context, ContextDeleter>;
using Keymap = std::unique_ptr<xkb_keymap, KeymapDeleter>;

bool keypad(xkb_keysym_t keysym) {
    return keysym >= XKB_KEY_KP_Space && keysym <= XKB_KEY_KP_Equal;
}

// XKB key codes past X11's last one never reach the applications of Xwayland.
constexpr xkb_keycode_t kLastX11Key = 255;

xkb_keycode_t lastKey(xkb_keymap* keymap) {
    return std::min(xkb_keymap_max_keycode(keymap), kLastX11Key);
}

// The key that gives `keysym` on the first level of the first layout, in XKB numbering; 0 for
// none. Keyboards have AltGr on the right Alt key; maps also name keys no keyboard has.
xkb_keycode_t keyOf(xkb_keymap* keymap, xkb_keysym_t keysym) {
    for (const int usual : {KEY_RIGHTALT}) {
        const xkb_keycode_t key = xkb_keycode_t(usual + kXkbOffset);
        const xkb_keysym_t* syms = nullptr;
        if (xkb_keymap_key_get_syms_by_level(keymap, key, 0, 0, &syms) == 1 && syms[0] == keysym) {
            return key;
        }
    }
    for (xkb_keycode_t key = xkb_keymap_min_keycode(keymap); key <= lastKey(keymap); ++key) {
        const xkb_keysym_t* syms = nullptr;
        if (xkb_keymap_key_get_syms_by_level(keymap, key, 0, 0, &syms) == 1 && syms[0] == keysym) {
            return key;
        }
    }
    return 0;
}

// A modifier key and the modifiers holding it sets.
struct Modifier {
    int code = 0;
    xkb_mod_mask_t mask = 0;
};

Modifier modifierOf(xkb_keymap* keymap, xkb_keysym_t keysym) {
    const xkb_keycode_t key = keyOf(keymap, keysym);
    if (key == 0) return {};
    const std::unique_ptr<xkb_state, StateDeleter> state(xkb_state_new(keymap));
    if (!state) return {};
    xkb_state_update_key(state.get(), key, XKB_KEY_DOWN);
    return {int(key) - kXkbOffset, xkb_state_serialize_mods(state.get(), XKB_STATE_MODS_DEPRESSED)};
}

std::optional<LayoutKeys> fromKeymap(Keymap keymap) {
    if (!keymap) return std::nullopt;
    return LayoutKeys(keymap.get());
}

}  // namespace

std::optional<LayoutKeys> LayoutKeys::fromText(const QByteArray& keymap) {
    const Context context(xkb_context_new(XKB_CONTEXT_NO_FLAGS));
    if (!context) return std::nullopt;
    return fromKeymap(
        Keymap(xkb_keymap_new_from_buffer(context.get(), keymap.constData(), size_t(keymap.size()),
                                          XKB_KEYMAP_FORMAT_TEXT_V1, XKB_KEYMAP_COMPILE_NO_FLAGS)));
}

std::optional<LayoutKeys> LayoutKeys::fromNames(const QByteArray& layout,
                                                const QByteArray& variant) {
    const Context context(xkb_context_new(XKB_CONTEXT_NO_FLAGS));
    if (!context) return std::nullopt;
    xkb_rule_names names{};
    names.layout = layout.isEmpty() ? nullptr : layout.constData();
    names.variant = variant.isEmpty() ? nullptr : variant.constData();
    return fromKeymap(
        Keymap(xkb_keymap_new_from_names(context.get(), &names, XKB_KEYMAP_COMPILE_NO_FLAGS)));
}

LayoutKeys::LayoutKeys(xkb_keymap* keymap) {
    const auto named = [keymap](xkb_keysym_t keysym, int fallback) {
        const xkb_keycode_t key = keyOf(keymap, keysym);
        return key == 0 ? fallback : int(key) - kXkbOffset;
    };
    backSpace_ = named(XKB_KEY_BackSpace, backSpace_);
    enter_ = named(XKB_KEY_Return, enter_);
    control_ = named(XKB_KEY_Control_L, control_);
    v_ = named(XKB_KEY_v, v_);

    const Modifier shift = modifierOf(keymap, XKB_KEY_Shift_L);
    const Modifier altGr = modifierOf(keymap, XKB_KEY_ISO_Level3_Shift);
    // The ways of holding modifiers this typist knows, fewest keys first.
    QList<std::pair<xkb_mod_mask_t, QList<int>>> holds = {{0, {}}};
    if (shift.code) holds.append({shift.mask, {shift.code}});
    if (altGr.code) holds.append({altGr.mask, {altGr.code}});
    if (shift.code && altGr.code) holds.append({shift.mask | altGr.mask, {shift.code, altGr.code}});

    for (xkb_keycode_t key = xkb_keymap_min_keycode(keymap); key <= lastKey(keymap); ++key) {
        const xkb_level_index_t levels = xkb_keymap_num_levels_for_key(keymap, key, 0);
        for (xkb_level_index_t level = 0; level < levels; ++level) {
            const xkb_keysym_t* syms = nullptr;
            if (xkb_keymap_key_get_syms_by_level(keymap, key, 0, level, &syms) != 1) continue;
            if (keypad(syms[0])) continue;
            const char32_t character = xkb_keysym_to_utf32(syms[0]);
            if (character == 0 || (character < 0x20 && character != U'\t') || character == 0x7f) {
                continue;
            }
            xkb_mod_mask_t masks[16];
            const size_t count =
                xkb_keymap_key_get_mods_for_level(keymap, key, 0, level, masks, std::size(masks));
            for (const auto& [mask, held] : holds) {
                if (std::find(masks, masks + count, mask) == masks + count) continue;
                const auto known = strokes_.constFind(character);
                if (known == strokes_.cend() || known->modifiers.size() > held.size()) {
                    strokes_.insert(character, KeyStroke{int(key) - kXkbOffset, held});
                }
                break;
            }
        }
    }
}

std::optional<KeyStroke> LayoutKeys::stroke(char32_t character) const {
    if (character == U'\n' || character == U'\r') return KeyStroke{enter_, {}};
    const auto found = strokes_.constFind(character);
    if (found == strokes_.cend()) return std::nullopt;
    return *found;
}

}  // namespace pelix::platform
