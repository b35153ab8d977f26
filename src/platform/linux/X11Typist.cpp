#include "platform/linux/X11Typist.h"

#include "core/Log.h"
#include "core/PrivateFile.h"

#include <QFile>
#include <QStringList>

#include <algorithm>
#include <thread>
#include <unordered_map>
#include <vector>

#include <X11/XKBlib.h>
#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

// Xlib names its int result type with a macro that hides pelix::Status.
#undef Status

namespace pelix::platform {
namespace {

// Key codes borrowed at most; more give an application that reads slowly more room.
constexpr size_t kMostBorrowed = 24;
// After giving a borrowed code a new keysym, the applications refetch the keyboard map before
// they read the press: give them this long.
constexpr std::chrono::microseconds kRemapPause{1200};
// A text with more characters beyond the layout than there are borrowed codes gives a code a new
// keysym while its earlier press may still wait in the application's queue, which would then
// read it with the new keysym. Before the first such reuse the typing waits this long, once for
// every round of codes.
constexpr std::chrono::milliseconds kReusePause{40};

// A window that vanished between two requests makes Xlib's default handler end the process;
// a failed request here only means there is nothing to type into.
int ignoreErrors(Display*, XErrorEvent*) {
    return 0;
}

KeySym keysymOf(char32_t c) {
    if (c == '\n' || c == '\r') return XK_Return;
    if (c == '\t') return XK_Tab;
    if (c < 0x20 || (c >= 0x7f && c < 0xa0)) return NoSymbol;
    if (c < 0x100) return c;  // Latin-1 keysyms are the code points
    return 0x01000000 | c;
}

// One 32-bit value of a window property (a window id, a number), if the window has it.
std::optional<unsigned long> cardinalProperty(Display* display, Window window, const char* name,
                                              Atom type) {
    const Atom property = XInternAtom(display, name, True);
    if (property == None) return std::nullopt;
    Atom actualType = None;
    int format = 0;
    unsigned long items = 0, after = 0;
    unsigned char* data = nullptr;
    std::optional<unsigned long> value;
    if (XGetWindowProperty(display, window, property, 0, 1, False, type, &actualType, &format,
                           &items, &after, &data) == Success &&
        data) {
        if (items == 1 && format == 32) value = *reinterpret_cast<unsigned long*>(data);
        XFree(data);
    }
    return value;
}

bool isDown(const char keys[32], KeyCode code) {
    return keys[code / 8] & (1 << (code % 8));
}

}  // namespace

struct X11Typist::X {
    Display* display = nullptr;
    int minCode = 8, maxCode = 255;
    std::vector<KeyCode> borrowed;
    std::vector<KeySym> holding;     // the keysym each borrowed code has now
    std::vector<uint64_t> lastUsed;  // when each borrowed code was last pressed, in presses
    uint64_t presses = 0;
    bool noted = false;  // the borrowed codes are in the file
    bool lent = false;   // some borrowed code has a keysym
    // Keysyms on the first two levels of the first group: their key, and whether Shift picks it.
    struct Plain {
        KeyCode code;
        bool shift;
    };
    std::unordered_map<KeySym, Plain> plain;
    KeyCode shift = 0;

    ~X() {
        if (display) XCloseDisplay(display);
    }

    std::vector<KeySym> mapping(KeyCode code, int& perCode) const {
        KeySym* syms = XGetKeyboardMapping(display, code, 1, &perCode);
        std::vector<KeySym> out(syms, syms + (syms ? perCode : 0));
        if (syms) XFree(syms);
        return out;
    }

    void setMapping(KeyCode code, KeySym keysym) {
        // Both levels carry the keysym: a single letter would be read as its lower case.
        KeySym syms[2] = {keysym, keysym};
        XChangeKeyboardMapping(display, code, keysym == NoSymbol ? 1 : 2, syms, 1);
    }

    // The keyboard map as it is now: the free codes to borrow (once) and the plain keys.
    void readKeyboard() {
        int perCode = 0;
        const int count = maxCode - minCode + 1;
        KeySym* syms = XGetKeyboardMapping(display, KeyCode(minCode), count, &perCode);
        if (!syms) return;
        plain.clear();
        const bool fillBorrowed = borrowed.empty();
        for (int i = count - 1; i >= 0; --i) {
            const auto code = KeyCode(minCode + i);
            const KeySym* row = syms + static_cast<ptrdiff_t>(i) * perCode;
            const bool empty =
                std::all_of(row, row + perCode, [](KeySym s) { return s == NoSymbol; });
            if (fillBorrowed && empty && borrowed.size() < kMostBorrowed) {
                borrowed.push_back(code);
                continue;
            }
            if (auto at = std::find(borrowed.begin(), borrowed.end(), code); at != borrowed.end()) {
                // What the code really holds: a layout switch may have cleared it.
                if (!fillBorrowed) holding[static_cast<size_t>(at - borrowed.begin())] = row[0];
                continue;
            }
            if (perCode > 1 && row[1] != NoSymbol && row[1] != row[0]) {
                plain.insert_or_assign(row[1], Plain{code, true});
            }
        }
        // The unshifted level wins over a shifted one of the same keysym.
        for (int i = count - 1; i >= 0; --i) {
            const auto code = KeyCode(minCode + i);
            const KeySym first = syms[static_cast<ptrdiff_t>(i) * perCode];
            if (first == NoSymbol) continue;
            if (std::find(borrowed.begin(), borrowed.end(), code) != borrowed.end()) continue;
            plain.insert_or_assign(first, Plain{code, false});
        }
        XFree(syms);
        shift = XKeysymToKeycode(display, XK_Shift_L);
        if (fillBorrowed) {
            holding.assign(borrowed.size(), NoSymbol);
            lastUsed.assign(borrowed.size(), 0);
        }
    }
};

// One burst of synthetic input: the user's modifiers and Caps Lock are let go before it and
// restored after it, and the display has taken all of it when it ends.
class X11Typist::Injection {
public:
    explicit Injection(const X11Typist& typist) : typist_(typist), display_(typist.x_->display) {
        char keys[32] = {};
        XQueryKeymap(display_, keys);
        if (XModifierKeymap* map = XGetModifierMapping(display_)) {
            for (int mod = 0; mod < 8; ++mod) {
                if (mod == LockMapIndex) continue;
                for (int k = 0; k < map->max_keypermod; ++k) {
                    const KeyCode code = map->modifiermap[mod * map->max_keypermod + k];
                    if (code == 0 || !isDown(keys, code)) continue;
                    if (std::find(held_.begin(), held_.end(), code) != held_.end()) continue;
                    held_.push_back(code);
                    XTestFakeKeyEvent(display_, code, False, CurrentTime);
                }
            }
            XFreeModifiermap(map);
        }
        XkbStateRec state{};
        if (XkbGetState(display_, XkbUseCoreKbd, &state) == Success) {
            capsLocked_ = state.locked_mods & LockMask;
            group_ = state.group;
        }
        if (capsLocked_) XkbLockModifiers(display_, XkbUseCoreKbd, LockMask, 0);
    }

    ~Injection() {
        if (capsLocked_) XkbLockModifiers(display_, XkbUseCoreKbd, LockMask, LockMask);
        for (KeyCode code : held_) XTestFakeKeyEvent(display_, code, True, CurrentTime);
        XSync(display_, False);
        if (typist_.injected_) typist_.injected_();
    }

    // The keyboard is in its first group: plain keys type what their first level says.
    bool firstGroup() const { return group_ == 0; }

    void tap(KeyCode code) {
        XTestFakeKeyEvent(display_, code, True, CurrentTime);
        XTestFakeKeyEvent(display_, code, False, CurrentTime);
    }

private:
    const X11Typist& typist_;
    Display* display_;
    std::vector<KeyCode> held_;
    bool capsLocked_ = false;
    int group_ = 0;
};

X11Typist::X11Typist(QString borrowedFile) : borrowedFile_(std::move(borrowedFile)) {}

X11Typist::~X11Typist() {
    giveBack();
    if (x_ && x_->noted) QFile::remove(borrowedFile_);
}

bool X11Typist::available() const {
    return connect();
}

bool X11Typist::connect() const {
    if (x_) return true;
    auto x = std::make_unique<X>();
    x->display = XOpenDisplay(nullptr);
    if (!x->display) return false;
    int event = 0, error = 0, major = 0, minor = 0;
    if (!XTestQueryExtension(x->display, &event, &error, &major, &minor)) return false;
    XSetErrorHandler(ignoreErrors);
    XDisplayKeycodes(x->display, &x->minCode, &x->maxCode);

    // Codes a run before this one borrowed and never gave back: only a mapping that looks like
    // ours (one keysym on the first two levels) is cleared.
    QFile noted(borrowedFile_);
    if (noted.open(QIODevice::ReadOnly)) {
        const QStringList lines = QString::fromUtf8(noted.readAll()).split('\n');
        noted.close();
        if (lines.size() >= 2 && lines[0] == QString::fromLocal8Bit(DisplayString(x->display))) {
            for (const QString& word : lines[1].split(' ', Qt::SkipEmptyParts)) {
                const int code = word.toInt();
                if (code < x->minCode || code > x->maxCode) continue;
                int perCode = 0;
                const std::vector<KeySym> syms = x->mapping(KeyCode(code), perCode);
                const bool ours = !syms.empty() && syms[0] != NoSymbol &&
                                  std::all_of(syms.begin() + 1, syms.end(), [&](KeySym s) {
                                      return s == NoSymbol || s == syms[0];
                                  });
                if (ours) x->setMapping(KeyCode(code), NoSymbol);
            }
            XSync(x->display, False);
            core::logLine("typing", "gave back the keys a previous run borrowed");
        }
        QFile::remove(borrowedFile_);
    }
    x->readKeyboard();
    x_ = std::move(x);
    return true;
}

std::optional<FrontWindow> X11Typist::frontWindow() const {
    if (!connect()) return std::nullopt;
    Display* display = x_->display;
    const Window root = DefaultRootWindow(display);
    Window window = cardinalProperty(display, root, "_NET_ACTIVE_WINDOW", XA_WINDOW).value_or(0);
    if (window == 0) {
        // No window manager says which window is active: the one with the focus, up to the
        // window that names its application.
        int revert = 0;
        XGetInputFocus(display, &window, &revert);
        if (window == None || window == PointerRoot) return std::nullopt;
    }

    FrontWindow front;
    for (Window at = window; at != 0 && at != root;) {
        XClassHint hint{};
        if (XGetClassHint(display, at, &hint)) {
            front.id = at;
            front.appId = QString::fromLocal8Bit(hint.res_class ? hint.res_class : "");
            if (hint.res_name) XFree(hint.res_name);
            if (hint.res_class) XFree(hint.res_class);
            break;
        }
        Window parentRoot = 0, parent = 0;
        Window* children = nullptr;
        unsigned int count = 0;
        if (!XQueryTree(display, at, &parentRoot, &parent, &children, &count)) break;
        if (children) XFree(children);
        front.id = at;
        at = parent;
    }
    if (front.id == 0) return std::nullopt;

    front.pid = static_cast<qint64>(
        cardinalProperty(display, front.id, "_NET_WM_PID", XA_CARDINAL).value_or(0));
    return front;
}

void X11Typist::type(const QString& text) {
    if (text.isEmpty()) return;
    if (!connect()) {
        ++undelivered_;
        return;
    }
    X& x = *x_;
    Injection injection(*this);
    x.readKeyboard();
    const bool plainKeys = injection.firstGroup();
    // Presses up to this count were made long enough ago for any code to be given a new keysym.
    uint64_t settled = x.presses;
    for (const char32_t c : text.toUcs4()) {
        const KeySym keysym = keysymOf(c);
        if (keysym == NoSymbol) continue;
        if (plainKeys) {
            if (auto found = x.plain.find(keysym);
                found != x.plain.end() && (!found->second.shift || x.shift)) {
                if (found->second.shift) XTestFakeKeyEvent(x.display, x.shift, True, CurrentTime);
                injection.tap(found->second.code);
                if (found->second.shift) XTestFakeKeyEvent(x.display, x.shift, False, CurrentTime);
                continue;
            }
        }
        if (x.borrowed.empty()) continue;  // a layout without a free code types its own keys only
        auto slot = std::find(x.holding.begin(), x.holding.end(), keysym);
        if (slot == x.holding.end()) {
            if (!x.noted) {
                QStringList codes;
                for (KeyCode code : x.borrowed) codes << QString::number(code);
                const QByteArray note = QString::fromLocal8Bit(DisplayString(x.display)).toUtf8() +
                                        '\n' + codes.join(' ').toUtf8() + '\n';
                x.noted = static_cast<bool>(core::writePrivateFile(borrowedFile_, note));
            }
            // The code pressed longest ago: an application still reading older presses has
            // long since read that one.
            slot = x.holding.begin() +
                   (std::min_element(x.lastUsed.begin(), x.lastUsed.end()) - x.lastUsed.begin());
            const auto i = static_cast<size_t>(slot - x.holding.begin());
            if (x.lastUsed[i] > settled) {
                XSync(x.display, False);
                std::this_thread::sleep_for(kReusePause);
                settled = x.presses;
            }
            x.setMapping(x.borrowed[i], keysym);
            x.holding[i] = keysym;
            x.lent = true;
            XFlush(x.display);
            std::this_thread::sleep_for(kRemapPause);
        }
        const auto i = static_cast<size_t>(slot - x.holding.begin());
        x.lastUsed[i] = ++x.presses;
        injection.tap(x.borrowed[i]);
    }
}

void X11Typist::press(Key key, bool control, int times) {
    if (times < 1) return;
    if (!connect()) {
        ++undelivered_;
        return;
    }
    X& x = *x_;
    Injection injection(*this);
    const KeySym keysym = key == Key::backspace ? XK_BackSpace
                          : key == Key::enter   ? XK_Return
                                                : XK_v;
    const KeyCode code = XKeysymToKeycode(x.display, keysym);
    const KeyCode ctrl = XKeysymToKeycode(x.display, XK_Control_L);
    if (code == 0) {
        ++undelivered_;
        return;
    }
    if (control && ctrl) XTestFakeKeyEvent(x.display, ctrl, True, CurrentTime);
    for (int i = 0; i < times; ++i) injection.tap(code);
    if (control && ctrl) XTestFakeKeyEvent(x.display, ctrl, False, CurrentTime);
}

void X11Typist::pause(std::chrono::microseconds duration) {
    if (x_) XFlush(x_->display);
    std::this_thread::sleep_for(duration);
}

void X11Typist::giveBack() {
    if (!x_ || !x_->lent) return;
    X& x = *x_;
    // One request per code: rewriting a range in one go disturbs the layout.
    for (size_t i = 0; i < x.borrowed.size(); ++i) {
        if (x.holding[i] == NoSymbol) continue;
        x.setMapping(x.borrowed[i], NoSymbol);
        x.holding[i] = NoSymbol;
    }
    x.lent = false;
    XSync(x.display, False);
}

}  // namespace pelix::platform
