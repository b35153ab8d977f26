#pragma once

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QString>

#include <chrono>
#include <optional>
#include <utility>

namespace pelix::platform {

// The window in front of the user, which receives typed text.
struct FrontWindow {
    unsigned long id = 0;
    // The application's class name (X11 WM_CLASS); empty when the window names none.
    QString appId;
    // The owning process; 0 when the window does not say.
    qint64 pid = 0;
};

// Keys that are pressed by name rather than typed as text.
enum class Key { backspace, enter, v };

// How fast a route may send a long text: in pieces of at most `piece` characters, each followed
// by a pause for the receiving window to take it in: `pause`, and `perKeyPerHeldByte` for each
// key of the piece and each byte the window then holds of the text, up to `kHeldBytesCap`. A
// window's work per key grows with the text it holds (an entry on Wayland sends its whole text
// back to the compositor at every key), and a compositor drops a client that falls too far
// behind its keys, or whose messages it does not read fast enough: with `pieceBytes`, a piece
// has at most that many bytes' worth of the text sent back (its keys times the bytes held
// before it).
struct Pacing {
    qsizetype piece = 512;
    std::chrono::microseconds pause{6000};
    std::chrono::nanoseconds perKeyPerHeldByte{0};
    qsizetype pieceBytes = 0;
};

// The most text text-input tells the compositor around the cursor (its protocol's limit): the
// window's work per key stops growing there.
inline constexpr qsizetype kHeldBytesCap = 4000;

// Synthetic keyboard input into whichever window has the keyboard focus. Text arrives as plain
// text and keys as plain keys even while the user holds modifiers (a held Ctrl must not turn
// typing into shortcuts).
class Typist {
public:
    virtual ~Typist() = default;
    // False where the session lets no application type into others.
    virtual bool canType() const { return true; }
    // The window in front, or none.
    virtual std::optional<FrontWindow> frontWindow() const = 0;
    // Types `text` in one go.
    virtual void type(const QString& text) = 0;
    // Presses and releases `key` `times` times, with Ctrl held around them when `control`.
    virtual void press(Key key, bool control, int times) = 0;
    // Waits so that the receiving application catches up.
    virtual void pause(std::chrono::microseconds duration) = 0;
    // How long texts go through this route.
    virtual Pacing pacing() const { return {}; }
    // How many times since the typist was made keys could not be handed to the session: a
    // broken connection, a call the desktop refused or left unanswered, no key for them, no way
    // to type at all. What the window then did with them is not known here.
    virtual quint64 undelivered() const { return 0; }
};

// The desktop clipboard, saved and restored format by format. A QObject so that work scheduled
// against it ends with it.
class Clipboard : public QObject {
public:
    // Every format with its bytes, in order; none when the clipboard holds nothing at all.
    using Contents = std::optional<QList<std::pair<QString, QByteArray>>>;

    virtual Contents save() const = 0;
    virtual void setText(const QString& text) = 0;
    // Puts back what `save` returned; none leaves the clipboard empty.
    virtual void restore(const Contents& contents) = 0;
};

}  // namespace pelix::platform
