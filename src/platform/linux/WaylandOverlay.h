#pragma once

// Qt 6.4 on Debian 12 has no layer-shell integration of its own, and its tool windows could take
// the focus: so the status line's widget is rendered into a QImage and its picture copied into a
// wl_shm buffer of this surface.

#include "platform/Overlay.h"

#include <memory>

namespace pelix::platform {

class WaylandSession;

// The overlay as a layer-shell surface (wlroots compositors, KWin) in the overlay layer, with no
// keyboard interactivity and an empty input region, drawn from shared memory.
class WaylandOverlay final : public Overlay {
public:
    explicit WaylandOverlay(WaylandSession& session);
    ~WaylandOverlay() override;

    // False when the compositor offers no layer shell.
    bool available() const;
    // True once the compositor has placed the picture, until it is hidden.
    bool shown() const override;

    void show(const QImage& picture, int top) override;
    void hide() override;

    struct Surface;

private:
    WaylandSession& session_;
    std::unique_ptr<Surface> surface_;
};

}  // namespace pelix::platform
