#pragma once

// The figures (X11Typist.cpp): up to 24 key codes are borrowed; after giving a code a new keysym
// the typist waits 1.2 ms so that clients read the map again before the press; a text with more
// such characters than there are codes waits 40 ms (after an XSync) before it first gives a code
// pressed in the same text a new keysym, once per round of codes, so a slow application reads its
// queued presses with the keysyms they were typed with. The codes are noted in
// $XDG_CACHE_HOME/Pelix/borrowed-keys with the display's name; at the next start a code whose
// mapping still looks like ours is cleared. X11Desktop points `setInjected` at the key source's
// ignoreUntil, 5 ms on (server times are whole milliseconds), so typing under a held Ctrl does
// not end the hold. The window in front is _NET_ACTIVE_WINDOW, else the input focus walked up to
// the window with a WM_CLASS; Xlib errors (a window gone between two requests) are ignored rather
// than ending the process.

#include "platform/Typist.h"

#include <QString>

#include <functional>
#include <memory>

namespace pelix::platform {

// Typing through XTest on the X display of $DISPLAY, on a connection of its own.
//
// Characters on the first two levels of the layout are pressed on their own keys (with Shift
// for the second); every other character is typed by borrowing a key code that has no symbols,
// giving it the character's keysym and pressing it. A borrowed code keeps its keysym for the
// next time the character comes (every change of the keyboard map makes every X client read
// the map again); the code pressed longest ago is the one that changes, so an application still
// reading earlier presses finds their codes unchanged. The codes are noted in a file before the
// first is borrowed and given back when the typist goes, so a run that ended without giving
// them back is put right at the next start.
//
// Every injection lets go of the modifier keys the user holds (and of Caps Lock) and presses
// them again afterwards, so a held Ctrl never turns text into shortcuts.
class X11Typist final : public Typist {
public:
    explicit X11Typist(QString borrowedFile);
    ~X11Typist() override;

    // Runs after every injection, once the display has taken all of it: the program's own key
    // source treats the key events up to now as synthetic.
    void setInjected(std::function<void()> injected) { injected_ = std::move(injected); }

    std::optional<FrontWindow> frontWindow() const override;
    void type(const QString& text) override;
    void press(Key key, bool control, int times) override;
    void pause(std::chrono::microseconds duration) override;
    quint64 undelivered() const override { return undelivered_; }

    // Gives every borrowed key code its empty mapping back (done when the typist goes).
    void giveBack();
    // False when there is no display or it lacks XTest.
    bool available() const;

private:
    struct X;
    class Injection;
    bool connect() const;

    QString borrowedFile_;
    mutable std::unique_ptr<X> x_;
    std::function<void()> injected_;
    quint64 undelivered_ = 0;
};

}  // namespace pelix::platform
