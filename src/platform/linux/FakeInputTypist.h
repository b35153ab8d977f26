#pragma once

#include "platform/Typist.h"
#include "platform/linux/LayoutKeys.h"

#include <QDeadlineTimer>

#include <functional>
#include <memory>

struct wl_keyboard;

namespace pelix::platform {

class WaylandClipboard;
class WaylandSession;

// Typing through KWin's fake input, which KWin offers only to a program whose desktop entry
// names the interface (X-KDE-Wayland-Interfaces=org_kde_kwin_fake_input). It takes key codes,
// so each character is found on the session's keyboard layout (the keymap the compositor hands
// its clients, followed as it changes); from the first character the layout lacks, the rest of a
// text goes through the clipboard (`clipboard`, data control) and Ctrl+V, the user's clipboard
// coming back shortly after, and keys wait a moment after a paste so they do not overtake it. The
// keys join the user's own keyboard: a modifier the user holds applies to them.
//
// The window in front comes from `fallbackFront` (the accessibility bus), else it is unknown.
class FakeInputTypist final : public Typist {
public:
    FakeInputTypist(WaylandSession& session, WaylandClipboard* clipboard,
                    std::function<std::optional<FrontWindow>()> fallbackFront = {});
    ~FakeInputTypist() override;

    std::optional<FrontWindow> frontWindow() const override;
    void type(const QString& text) override;
    void press(Key key, bool control, int times) override;
    void pause(std::chrono::microseconds duration) override;
    quint64 undelivered() const override { return undelivered_; }

    // Listener entry point (a C callback); not for callers.
    static void keymapArrived(void* data, wl_keyboard*, uint32_t format, int32_t fd, uint32_t size);

private:
    const LayoutKeys& layout();
    void key(int code, bool down);
    void stroke(const KeyStroke& stroke);
    void paste(const QString& text);
    // Waits until a paste that went just before has had time to arrive.
    void settle();

    WaylandSession& session_;
    WaylandClipboard* clipboard_;
    std::function<std::optional<FrontWindow>()> fallbackFront_;
    wl_keyboard* keyboard_ = nullptr;
    std::optional<LayoutKeys> layout_;
    // The user's clipboard while pasted text stands in for it.
    struct Lent;
    std::shared_ptr<Lent> lent_;
    QDeadlineTimer pasted_{0};
    quint64 undelivered_ = 0;
};

}  // namespace pelix::platform
