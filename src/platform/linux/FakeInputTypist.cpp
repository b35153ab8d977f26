#include "platform/linux/FakeInputTypist.h"

#include "core/Sentences.h"
#include "fake-input-client-protocol.h"
#include "platform/linux/WaylandClipboard.h"
#include "platform/linux/WaylandSession.h"

#include <QDeadlineTimer>
#include <QTimer>

#include <sys/mman.h>
#include <unistd.h>
#include <wayland-client.h>

#include <thread>

namespace pelix::platform {

// What the clipboard held before Pelix pasted, and which paste may give it back.
struct FakeInputTypist::Lent {
    Clipboard::Contents saved;
    int paste = 0;
    bool out = false;
};

namespace {

// How long after the last paste the user's clipboard comes back.
constexpr int kRestoreMs = 700;
// How long an application may take to ask for pasted text before typing goes on, and how long
// the keys after a paste wait for it to stand in the application.
constexpr int kPasteWaitMs = 500;
constexpr int kPasteSettleMs = 120;

void onEnter(void*, wl_keyboard*, uint32_t, wl_surface*, wl_array*) {}
void onLeave(void*, wl_keyboard*, uint32_t, wl_surface*) {}
void onKey(void*, wl_keyboard*, uint32_t, uint32_t, uint32_t, uint32_t) {}
void onModifiers(void*, wl_keyboard*, uint32_t, uint32_t, uint32_t, uint32_t, uint32_t) {}
void onRepeat(void*, wl_keyboard*, int32_t, int32_t) {}

const wl_keyboard_listener kKeyboard = {
    &FakeInputTypist::keymapArrived, onEnter, onLeave, onKey, onModifiers, onRepeat};

}  // namespace

FakeInputTypist::FakeInputTypist(WaylandSession& session, WaylandClipboard* clipboard,
                                 std::function<std::optional<FrontWindow>()> fallbackFront)
    : session_(session), clipboard_(clipboard), fallbackFront_(std::move(fallbackFront)) {
    org_kde_kwin_fake_input_authenticate(session_.fakeInput(), core::sentences::kPelix,
                                         core::sentences::kFakeInputReason);
    // The compositor hands every keyboard its keymap at once, and again when the layout
    // changes.
    if (session_.seat()) {
        keyboard_ = wl_seat_get_keyboard(session_.seat());
        wl_keyboard_add_listener(keyboard_, &kKeyboard, this);
    }
    session_.roundtrip();
}

FakeInputTypist::~FakeInputTypist() {
    if (keyboard_) wl_keyboard_destroy(keyboard_);
    session_.flush();
}

void FakeInputTypist::keymapArrived(void* data, wl_keyboard*, uint32_t format, int32_t fd,
                                    uint32_t size) {
    auto* self = static_cast<FakeInputTypist*>(data);
    if (format == WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1 && size > 0) {
        void* mapped = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, fd, 0);
        if (mapped != MAP_FAILED) {
            // The map ends with a NUL, which is not part of the text.
            const QByteArray text(static_cast<const char*>(mapped), qsizetype(size));
            ::munmap(mapped, size);
            if (auto keys = LayoutKeys::fromText(text.left(text.indexOf('\0')))) {
                self->layout_ = std::move(keys);
            }
        }
    }
    ::close(fd);
}

const LayoutKeys& FakeInputTypist::layout() {
    // Without a keymap from the compositor, the system's default layout is the best guess.
    if (!layout_) layout_ = LayoutKeys::fromNames({});
    if (!layout_) layout_ = LayoutKeys();
    return *layout_;
}

std::optional<FrontWindow> FakeInputTypist::frontWindow() const {
    if (fallbackFront_) {
        if (std::optional<FrontWindow> front = fallbackFront_()) return front;
    }
    // Unknown: the text goes to whatever has the focus.
    return FrontWindow{};
}

void FakeInputTypist::key(int code, bool down) {
    org_kde_kwin_fake_input_keyboard_key(
        session_.fakeInput(), uint32_t(code),
        down ? WL_KEYBOARD_KEY_STATE_PRESSED : WL_KEYBOARD_KEY_STATE_RELEASED);
}

void FakeInputTypist::stroke(const KeyStroke& stroke) {
    for (int modifier : stroke.modifiers) key(modifier, true);
    key(stroke.code, true);
    key(stroke.code, false);
    for (auto it = stroke.modifiers.crbegin(); it != stroke.modifiers.crend(); ++it) {
        key(*it, false);
    }
}

void FakeInputTypist::type(const QString& text) {
    const LayoutKeys& keys = layout();
    const std::u32string points = text.toStdU32String();
    QList<KeyStroke> strokes;
    for (char32_t point : points) {
        const std::optional<KeyStroke> found = keys.stroke(point);
        if (!found) break;
        strokes.append(*found);
    }
    settle();
    for (const KeyStroke& each : strokes) stroke(each);
    // From the first character the layout lacks, the rest goes in one paste: keys typed while
    // the application takes in a paste could land ahead of it.
    if (size_t(strokes.size()) < points.size()) {
        paste(QString::fromStdU32String(points.substr(size_t(strokes.size()))));
    }
    if (!session_.roundtrip()) ++undelivered_;
}

void FakeInputTypist::settle() {
    if (pasted_.hasExpired()) return;
    session_.flush();
    std::this_thread::sleep_for(std::chrono::milliseconds(pasted_.remainingTime()));
}

void FakeInputTypist::paste(const QString& text) {
    if (!clipboard_ || !clipboard_->available()) {
        ++undelivered_;
        return;
    }
    if (!lent_ || !lent_->out) {
        lent_ = std::make_shared<Lent>();
        lent_->saved = clipboard_->save();
        lent_->out = true;
    }
    const int paste = ++lent_->paste;
    clipboard_->setText(text);
    const int asked = clipboard_->handedOut();
    const LayoutKeys& keys = layout();
    stroke({keys.v(), {keys.control()}});
    // Keys typed before the application has the pasted text would land ahead of it.
    const QDeadlineTimer deadline(kPasteWaitMs);
    while (clipboard_->handedOut() == asked && !deadline.hasExpired()) {
        if (!session_.waitForEvents(int(deadline.remainingTime()))) break;
    }
    // The application has the text once it asked for it, but reads and inserts it on its own
    // time, with nothing to tell when it has: the next keys wait a moment.
    pasted_.setRemainingTime(kPasteSettleMs);
    QTimer::singleShot(kRestoreMs, clipboard_, [clipboard = clipboard_, lent = lent_, paste] {
        if (lent->paste != paste) return;
        lent->out = false;
        clipboard->restore(lent->saved);
    });
}

void FakeInputTypist::press(Key key, bool control, int times) {
    if (times < 1) return;
    const LayoutKeys& keys = layout();
    const int code = key == Key::backspace ? keys.backSpace()
                     : key == Key::enter   ? keys.enter()
                                           : keys.v();
    const KeyStroke once{code, control ? QList<int>{keys.control()} : QList<int>{}};
    settle();
    for (int i = 0; i < times; ++i) stroke(once);
    if (!session_.roundtrip()) ++undelivered_;
}

void FakeInputTypist::pause(std::chrono::microseconds duration) {
    session_.flush();
    std::this_thread::sleep_for(duration);
}

}  // namespace pelix::platform
