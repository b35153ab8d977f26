#include "platform/linux/WaylandTypist.h"

#include "platform/linux/WaylandSession.h"
#include "virtual-keyboard-unstable-v1-client-protocol.h"

#include <sys/mman.h>
#include <unistd.h>
#include <wayland-client.h>
#include <xkbcommon/xkbcommon.h>

#include <QSet>

#include <ctime>
#include <thread>

namespace pelix::platform {
namespace {

// The first key codes of every map.
enum : int { kBackSpace = 9, kReturn, kControl, kV, kFirstCharacter };
// Control's bit in the modifier state: the core modifiers come first in every map (Shift,
// Lock, Control, …).
constexpr uint32_t kControlMask = 1u << 2;

xkb_keysym_t keysymOf(char32_t character) {
    if (character == U'\n' || character == U'\r') return XKB_KEY_Return;
    return xkb_utf32_to_keysym(character);
}

QList<char32_t> codePoints(const QString& text) {
    QList<char32_t> points;
    points.reserve(text.size());
    for (char32_t point : text.toUcs4()) points.append(point);
    return points;
}

}  // namespace

QByteArray typingKeymap(const QList<char32_t>& characters, QHash<char32_t, int>* codes) {
    QByteArray names = "xkb_keycodes \"pelix\" {\n minimum = 8;\n maximum = 255;\n";
    QByteArray symbols =
        "xkb_symbols \"pelix\" {\n"
        " key <I9> { [ BackSpace ] };\n"
        " key <I10> { [ Return ] };\n"
        " key <I11> { [ Control_L ] };\n"
        " modifier_map Control { <I11> };\n"
        " key <I12> { [ v ] };\n";
    for (int code = kBackSpace; code < kFirstCharacter; ++code) {
        names += " <I" + QByteArray::number(code) + "> = " + QByteArray::number(code) + ";\n";
    }
    int code = kFirstCharacter;
    for (char32_t character : characters) {
        if (code >= kFirstCharacter + kTypingKeymapSlots) break;
        if (codes->contains(character)) continue;
        const xkb_keysym_t keysym = keysymOf(character);
        if (keysym == XKB_KEY_NoSymbol) continue;
        char name[64];
        if (xkb_keysym_get_name(keysym, name, sizeof name) <= 0) continue;
        const QByteArray key = "<I" + QByteArray::number(code) + ">";
        names += " " + key + " = " + QByteArray::number(code) + ";\n";
        symbols += " key " + key + " { [ " + name + " ] };\n";
        codes->insert(character, code);
        ++code;
    }
    // A spare key code closes the map: GTK's search for the keys of a key value (its shortcuts,
    // Ctrl+V among them) stops one short of the highest code, so no key may sit there.
    names += " <I" + QByteArray::number(code) + "> = " + QByteArray::number(code) + ";\n";
    return "xkb_keymap {\n" + names +
           "};\n"
           "xkb_types \"pelix\" { include \"complete\" };\n"
           "xkb_compatibility \"pelix\" { include \"complete\" };\n" +
           symbols + "};\n};\n";
}

WaylandTypist::WaylandTypist(WaylandSession& session,
                             std::function<std::optional<FrontWindow>()> fallbackFront)
    : session_(session), fallbackFront_(std::move(fallbackFront)) {
    // The keyboard comes at once: applications bind to a seat's keyboard only once it has one,
    // and keys sent before they did are lost.
    carry({});
}

WaylandTypist::~WaylandTypist() {
    if (keyboard_) {
        zwp_virtual_keyboard_v1_destroy(keyboard_);
        session_.flush();
    }
}

bool WaylandTypist::available() const {
    return session_.offers().virtualKeyboard && !session_.broken();
}

std::optional<FrontWindow> WaylandTypist::frontWindow() const {
    if (session_.offers().foreignToplevel) {
        const std::optional<QString> appId = session_.activeAppId();
        if (!appId) return std::nullopt;
        return FrontWindow{.id = 0, .appId = *appId, .pid = 0};
    }
    if (fallbackFront_) {
        if (std::optional<FrontWindow> front = fallbackFront_()) return front;
    }
    // Unknown: the text goes to whatever has the focus.
    return FrontWindow{};
}

bool WaylandTypist::ensureKeyboard() {
    if (keyboard_) return !session_.broken();
    if (!available()) return false;
    keyboard_ = zwp_virtual_keyboard_manager_v1_create_virtual_keyboard(session_.virtualKeyboards(),
                                                                        session_.seat());
    return keyboard_ != nullptr;
}

bool WaylandTypist::carry(const QList<char32_t>& characters) {
    if (!ensureKeyboard()) return false;
    if (mapped_) {
        bool all = true;
        for (char32_t character : characters) {
            if (!codes_.contains(character) && keysymOf(character) != XKB_KEY_NoSymbol) {
                all = false;
                break;
            }
        }
        if (all) return true;
    }
    QHash<char32_t, int> codes;
    const QByteArray keymap = typingKeymap(characters, &codes);
    const int fd = memfd_create("pelix-keymap", MFD_CLOEXEC);
    if (fd < 0) return false;
    // The compositor maps the size given, the closing NUL included.
    const bool written = ::write(fd, keymap.constData(), keymap.size() + 1) == keymap.size() + 1;
    if (written) {
        zwp_virtual_keyboard_v1_keymap(keyboard_, WL_KEYBOARD_KEYMAP_FORMAT_XKB_V1, fd,
                                       uint32_t(keymap.size() + 1));
    }
    ::close(fd);
    if (!written) return false;
    // Keys sent before the compositor has taken the map can be lost.
    mapped_ = session_.roundtrip();
    codes_ = std::move(codes);
    return mapped_;
}

uint32_t WaylandTypist::now() const {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return uint32_t(ts.tv_sec * 1000 + ts.tv_nsec / 1000000);
}

void WaylandTypist::tap(int code) {
    const uint32_t time = now();
    // Wayland key codes are XKB's less 8.
    zwp_virtual_keyboard_v1_key(keyboard_, time, code - 8, WL_KEYBOARD_KEY_STATE_PRESSED);
    zwp_virtual_keyboard_v1_key(keyboard_, time, code - 8, WL_KEYBOARD_KEY_STATE_RELEASED);
}

void WaylandTypist::type(const QString& text) {
    const QList<char32_t> points = codePoints(text);
    // A text with more distinct characters than a map holds goes in runs, a map for each.
    qsizetype at = 0;
    while (at < points.size()) {
        QSet<char32_t> distinct;
        qsizetype end = at;
        while (end < points.size() &&
               (distinct.contains(points[end]) || distinct.size() < kTypingKeymapSlots)) {
            distinct.insert(points[end]);
            ++end;
        }
        const QList<char32_t> run = points.mid(at, end - at);
        if (!carry(run)) {
            ++undelivered_;
            return;
        }
        for (char32_t point : run) {
            if (point == U'\n' || point == U'\r') {
                tap(kReturn);
            } else if (const auto code = codes_.constFind(point); code != codes_.cend()) {
                tap(*code);
            }
        }
        at = end;
    }
    if (!session_.roundtrip()) ++undelivered_;
}

void WaylandTypist::press(Key key, bool control, int times) {
    if (times < 1) return;
    if (!carry({})) {
        ++undelivered_;
        return;
    }
    const int code = key == Key::backspace ? kBackSpace : key == Key::enter ? kReturn : kV;
    if (control) {
        zwp_virtual_keyboard_v1_key(keyboard_, now(), kControl - 8, WL_KEYBOARD_KEY_STATE_PRESSED);
        zwp_virtual_keyboard_v1_modifiers(keyboard_, kControlMask, 0, 0, 0);
    }
    for (int i = 0; i < times; ++i) tap(code);
    if (control) {
        zwp_virtual_keyboard_v1_key(keyboard_, now(), kControl - 8, WL_KEYBOARD_KEY_STATE_RELEASED);
        zwp_virtual_keyboard_v1_modifiers(keyboard_, 0, 0, 0, 0);
    }
    if (!session_.roundtrip()) ++undelivered_;
}

void WaylandTypist::pause(std::chrono::microseconds duration) {
    session_.flush();
    std::this_thread::sleep_for(duration);
}

}  // namespace pelix::platform
