#pragma once

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
