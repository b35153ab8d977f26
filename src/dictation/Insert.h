#pragma once

#include "platform/Typist.h"

#include <QString>
#include <QStringList>

#include <chrono>
#include <optional>

namespace pelix::dictation::Insert {

// The one way text enters other applications. Stateless: the desktop comes in as a `Typist`
// (keyboard) and a `Clipboard`. Main thread only; failures of the desktop are silent.

// How long after a paste the user's clipboard comes back.
inline constexpr int kRestoreMs = 700;

// A piece of a text to type, and how long to wait after it.
struct Piece {
    QString text;
    std::chrono::microseconds pause;
    bool operator==(const Piece&) const = default;
};

// `text` in the pieces `pacing` cuts it into, never inside a user-perceived character, each
// with its pause: the empty text is one empty piece.
QList<Piece> paced(const QString& text, const platform::Pacing& pacing);

// The window to type into: the one in front, unless it belongs to this application
// (`ownAppId`, its class name). None when nothing is in front.
std::optional<platform::FrontWindow> target(const platform::Typist& typist,
                                            const QString& ownAppId);

// Types `text` into the focused window, piece by piece as the typist paces it.
void type(platform::Typist& typist, const QString& text);

// Puts `text` on the clipboard, presses Ctrl+V once the event loop has run, and puts back
// what the clipboard held `kRestoreMs` after the call. Returns at once.
void paste(platform::Typist& typist, platform::Clipboard& clipboard, const QString& text);

// One press of `key`, with Ctrl held around it when `control`.
void tap(platform::Typist& typist, platform::Key key, bool control = false);

}  // namespace pelix::dictation::Insert
