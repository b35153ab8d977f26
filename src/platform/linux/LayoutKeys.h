#pragma once

#include <QByteArray>
#include <QHash>
#include <QList>

#include <optional>

struct xkb_keymap;

namespace pelix::platform {

// One press of a key, with the modifier keys held around it. Key codes are evdev's (a Wayland
// key code, XKB's less 8).
struct KeyStroke {
    int code = 0;
    QList<int> modifiers;
    bool operator==(const KeyStroke&) const = default;
};

// Which keys of a keyboard layout give which characters, for typing through a compositor that
// takes key codes rather than characters (KWin's fake input): the layout the user has decides
// what a key code means, so each character is found on it. Only the first layout of the map
// counts, with Shift and AltGr (level 3) as the modifiers; keypad keys and dead keys are left
// out, and so is anything that needs Caps Lock or Num Lock.
class LayoutKeys {
public:
    // Reads a keymap in XKB's text format, as the compositor hands it to clients; none when it
    // does not parse.
    static std::optional<LayoutKeys> fromText(const QByteArray& keymap);
    // The layout of XKB's names (layout "us", "de", variant "nodeadkeys"…); empty names are
    // the system's defaults.
    static std::optional<LayoutKeys> fromNames(const QByteArray& layout,
                                               const QByteArray& variant = {});
    // No layout: nothing but the keys pressed by name, at their US positions.
    LayoutKeys() = default;
    // Reads what `keymap` holds; the keymap stays the caller's.
    explicit LayoutKeys(xkb_keymap* keymap);

    // The keystroke that types `character`; a line break is Return. None when the layout has no
    // key for it.
    std::optional<KeyStroke> stroke(char32_t character) const;
    // The keys pressed by name: BackSpace, Return, Control and the key that gives "v" (Ctrl and
    // that key paste, as toolkits read shortcuts by the character). Falls back to the US
    // positions where the layout lacks one.
    int backSpace() const { return backSpace_; }
    int enter() const { return enter_; }
    int control() const { return control_; }
    int v() const { return v_; }

private:
    QHash<char32_t, KeyStroke> strokes_;
    int backSpace_ = 14, enter_ = 28, control_ = 29, v_ = 47;
};

}  // namespace pelix::platform
