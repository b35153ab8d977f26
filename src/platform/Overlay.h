#pragma once

#include <QImage>

namespace pelix::platform {

// A picture shown above every window, near the top of the screen, that never takes the keyboard
// focus or a click: the status line where the desktop's own windows cannot promise that.
class Overlay {
public:
    virtual ~Overlay() = default;
    // Shows `picture` centred horizontally, `top` pixels below the top of the screen, in place of
    // the one shown before.
    virtual void show(const QImage& picture, int top) = 0;
    virtual void hide() = 0;
    // True while the picture is on the screen.
    virtual bool shown() const = 0;
};

}  // namespace pelix::platform
