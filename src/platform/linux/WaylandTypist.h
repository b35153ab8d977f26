#pragma once

#include "platform/Typist.h"

#include <QHash>
#include <QString>

#include <functional>

struct zwp_virtual_keyboard_v1;

namespace pelix::platform {

class WaylandSession;

// The keyboard map a virtual keyboard types `characters` with: BackSpace, Return, Control and
// "v" on the first key codes, then one key code per character (code points, in the order
// given), all on the first level, and a spare key code with nothing on it last. `codes` receives
// each character's key code (XKB numbering). At most `kTypingKeymapSlots` characters fit.
inline constexpr int kTypingKeymapSlots = 240;
QByteArray typingKeymap(const QList<char32_t>& characters, QHash<char32_t, int>* codes);

// Typing through the compositor's virtual-keyboard protocol (wlroots compositors). Each text is
// typed on a keyboard map that carries its characters, so any character arrives whatever the
// user's layout; the map is sent again only when a text needs characters it lacks, and keys
// follow only once the compositor has taken the map (a round trip), as keys sent on its heels
// can be lost. The virtual keyboard is a keyboard of its own: the modifiers the user holds on
// the real one do not apply to its keys.
//
// The window in front comes from the compositor's list of windows, else from `fallbackFront`
// (the accessibility bus), else it is unknown.
class WaylandTypist final : public Typist {
public:
    explicit WaylandTypist(WaylandSession& session,
                           std::function<std::optional<FrontWindow>()> fallbackFront = {});
    ~WaylandTypist() override;

    // False when the compositor offers no virtual keyboard.
    bool available() const;

    std::optional<FrontWindow> frontWindow() const override;
    void type(const QString& text) override;
    void press(Key key, bool control, int times) override;
    void pause(std::chrono::microseconds duration) override;
    quint64 undelivered() const override { return undelivered_; }

private:
    bool ensureKeyboard();
    // Makes sure the map carries `characters`, sending a new one when it does not.
    bool carry(const QList<char32_t>& characters);
    void tap(int code);
    uint32_t now() const;

    WaylandSession& session_;
    std::function<std::optional<FrontWindow>()> fallbackFront_;
    zwp_virtual_keyboard_v1* keyboard_ = nullptr;
    QHash<char32_t, int> codes_;  // the characters of the current map
    bool mapped_ = false;
    quint64 undelivered_ = 0;
};

}  // namespace pelix::platform
