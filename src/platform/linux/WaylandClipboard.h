#pragma once

#include "platform/Typist.h"

#include <memory>

struct zwlr_data_control_device_v1;
struct zwlr_data_control_offer_v1;
struct zwlr_data_control_source_v1;

namespace pelix::platform {

class WaylandSession;

// The clipboard through the compositor's data-control protocol (wlroots compositors, KWin):
// read and set without a window of Pelix's having the focus, every format as the owner offers
// it. Reading waits at most a second for an owner that does not answer.
class WaylandClipboard final : public Clipboard {
public:
    explicit WaylandClipboard(WaylandSession& session);
    ~WaylandClipboard() override;

    // False when the compositor offers no data control.
    bool available() const { return device_ != nullptr; }

    // How many times applications have asked for what Pelix put on the clipboard: a paste
    // has reached the application once this grows.
    int handedOut() const { return handedOut_; }

    Contents save() const override;
    void setText(const QString& text) override;
    void restore(const Contents& contents) override;

    // Listener entry points (C callbacks); not for callers.
    struct Offer;
    struct Source;
    static void offered(void* data, zwlr_data_control_device_v1*, zwlr_data_control_offer_v1*);
    static void selected(void* data, zwlr_data_control_device_v1*, zwlr_data_control_offer_v1*);
    static void finished(void* data, zwlr_data_control_device_v1*);
    static void cancelled(void* data, zwlr_data_control_source_v1* source);
    static void send(void* data, zwlr_data_control_source_v1*, const char* format, int32_t fd);

private:
    // Makes the clipboard hold `formats` (taking it), or nothing at all.
    void own(const std::optional<QList<std::pair<QString, QByteArray>>>& formats);

    WaylandSession& session_;
    zwlr_data_control_device_v1* device_ = nullptr;
    std::unique_ptr<Offer> incoming_;   // announced, not yet the selection
    std::unique_ptr<Offer> selection_;  // what the clipboard holds now, if another client's
    std::unique_ptr<Source> mine_;      // what Pelix put there, while it is the selection
    int handedOut_ = 0;
};

}  // namespace pelix::platform
