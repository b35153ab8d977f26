#include "platform/linux/WaylandOverlay.h"

#include "platform/linux/WaylandSession.h"
#include "wlr-layer-shell-unstable-v1-client-protocol.h"

#include <sys/mman.h>
#include <unistd.h>
#include <wayland-client.h>
#include <cstring>

namespace pelix::platform {

struct WaylandOverlay::Surface {
    wl_surface* surface = nullptr;
    zwlr_layer_surface_v1* layer = nullptr;
    wl_buffer* buffer = nullptr;
    QImage picture;
    bool configured = false;
    bool closed = false;
    ~Surface() {
        if (layer) zwlr_layer_surface_v1_destroy(layer);
        if (surface) wl_surface_destroy(surface);
        if (buffer) wl_buffer_destroy(buffer);
    }
};

namespace {

// The picture in a shared-memory buffer: premultiplied ARGB32 in memory is the compositor's
// ARGB8888 on this byte order.
wl_buffer* bufferOf(wl_shm* shm, const QImage& picture) {
    const QImage pixels = picture.convertToFormat(QImage::Format_ARGB32_Premultiplied);
    const int stride = pixels.width() * 4;
    const int size = stride * pixels.height();
    const int fd = memfd_create("pelix-overlay", MFD_CLOEXEC);
    if (fd < 0) return nullptr;
    if (ftruncate(fd, size) != 0) {
        ::close(fd);
        return nullptr;
    }
    void* memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    if (memory == MAP_FAILED) {
        ::close(fd);
        return nullptr;
    }
    for (int y = 0; y < pixels.height(); ++y) {
        std::memcpy(static_cast<char*>(memory) + y * stride, pixels.constScanLine(y), stride);
    }
    munmap(memory, size);
    wl_shm_pool* pool = wl_shm_create_pool(shm, fd, size);
    wl_buffer* buffer = wl_shm_pool_create_buffer(pool, 0, pixels.width(), pixels.height(), stride,
                                                  WL_SHM_FORMAT_ARGB8888);
    wl_shm_pool_destroy(pool);
    ::close(fd);
    return buffer;
}

void onConfigure(void* data, zwlr_layer_surface_v1* layer, uint32_t serial, uint32_t, uint32_t) {
    auto* surface = static_cast<WaylandOverlay::Surface*>(data);
    zwlr_layer_surface_v1_ack_configure(layer, serial);
    if (!surface->configured && surface->buffer) {
        wl_surface_attach(surface->surface, surface->buffer, 0, 0);
        wl_surface_damage(surface->surface, 0, 0, surface->picture.width(),
                          surface->picture.height());
    }
    surface->configured = true;
    wl_surface_commit(surface->surface);
}

void onClosed(void* data, zwlr_layer_surface_v1*) {
    static_cast<WaylandOverlay::Surface*>(data)->closed = true;
}

const zwlr_layer_surface_v1_listener kLayer = {onConfigure, onClosed};

}  // namespace

WaylandOverlay::WaylandOverlay(WaylandSession& session) : session_(session) {}

WaylandOverlay::~WaylandOverlay() {
    hide();
}

bool WaylandOverlay::available() const {
    return session_.offers().layerShell && !session_.broken();
}

bool WaylandOverlay::shown() const {
    return surface_ && surface_->configured && !surface_->closed;
}

void WaylandOverlay::show(const QImage& picture, int top) {
    hide();
    if (!available() || picture.isNull()) return;
    auto surface = std::make_unique<Surface>();
    surface->picture = picture;
    surface->surface = wl_compositor_create_surface(session_.compositor());
    surface->buffer = bufferOf(session_.shm(), picture);
    // Clicks go through to the windows below.
    wl_region* nothing = wl_compositor_create_region(session_.compositor());
    wl_surface_set_input_region(surface->surface, nothing);
    wl_region_destroy(nothing);
    surface->layer =
        zwlr_layer_shell_v1_get_layer_surface(session_.layerShell(), surface->surface, nullptr,
                                              ZWLR_LAYER_SHELL_V1_LAYER_OVERLAY, "pelix-status");
    zwlr_layer_surface_v1_add_listener(surface->layer, &kLayer, surface.get());
    zwlr_layer_surface_v1_set_size(surface->layer, picture.width(), picture.height());
    zwlr_layer_surface_v1_set_anchor(surface->layer, ZWLR_LAYER_SURFACE_V1_ANCHOR_TOP);
    zwlr_layer_surface_v1_set_margin(surface->layer, top, 0, 0, 0);
    zwlr_layer_surface_v1_set_keyboard_interactivity(surface->layer, 0);
    // The first commit carries no picture; the compositor answers with where it goes.
    wl_surface_commit(surface->surface);
    surface_ = std::move(surface);
    session_.flush();
}

void WaylandOverlay::hide() {
    if (!surface_) return;
    surface_.reset();
    session_.flush();
}

}  // namespace pelix::platform
