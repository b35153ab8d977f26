#include "platform/linux/EvdevKeySource.h"

#include "core/Sentences.h"

#include <QDir>
#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QSocketNotifier>
#include <QTimer>

#include <fcntl.h>
#include <linux/input.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>

namespace pelix::platform {
namespace {

constexpr std::uint32_t kEscapeKeysym = 0xff1b;

bool hasBit(const unsigned long* bits, int bit) {
    constexpr int kPerLong = 8 * sizeof(unsigned long);
    return bits[bit / kPerLong] & (1UL << (bit % kPerLong));
}

// What a kernel key code means to the gestures. Keys are physical: the right Alt key is Alt
// whatever the layout puts on it.
KeyRole roleOfCode(int code) {
    switch (code) {
        case KEY_LEFTALT:
        case KEY_RIGHTALT:
            return KeyRole::alt;
        case KEY_LEFTSHIFT:
        case KEY_RIGHTSHIFT:
            return KeyRole::shift;
        case KEY_LEFTCTRL:
        case KEY_RIGHTCTRL:
            return KeyRole::control;
        case KEY_LEFTMETA:
        case KEY_RIGHTMETA:
            return KeyRole::other;
        case KEY_CAPSLOCK:
            return KeyRole::capsLock;
        case KEY_NUMLOCK:
            return KeyRole::ignored;
        default:
            return KeyRole::plain;
    }
}

bool isClick(int code) {
    return code >= BTN_LEFT && code <= BTN_TASK;
}

// True for a device with keys a person types or buttons a person clicks.
bool hasKeysOrButtons(int fd) {
    unsigned long bits[(KEY_MAX + 1) / (8 * sizeof(unsigned long)) + 1] = {};
    if (ioctl(fd, EVIOCGBIT(EV_KEY, sizeof bits), bits) < 0) return false;
    return hasBit(bits, KEY_LEFTCTRL) || hasBit(bits, KEY_LEFTALT) || hasBit(bits, KEY_A) ||
           hasBit(bits, BTN_LEFT);
}

}  // namespace

struct EvdevKeySource::Device {
    int fd = -1;
    std::unique_ptr<QSocketNotifier> notifier;
    ModTracker tracker;
    QByteArray pending;  // a record that arrived in part
    ~Device() {
        notifier.reset();
        if (fd >= 0) ::close(fd);
    }
};

EvdevKeySource::Devices EvdevKeySource::devicesIn(const QString& folder) {
    Devices devices;
    devices.watch = {folder};
    devices.list = [folder] {
        QStringList paths;
        const QDir dir(folder);
        for (const QString& name :
             dir.entryList({QStringLiteral("event*")}, QDir::System, QDir::Name)) {
            const QString path = dir.filePath(name);
            const QByteArray local = path.toLocal8Bit();
            struct stat info {};
            if (::stat(local.constData(), &info) != 0) continue;
            if (!S_ISCHR(info.st_mode)) {
                paths << path;
                continue;
            }
            const int fd = ::open(local.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
            if (fd < 0) {
                if (errno == EACCES || errno == EPERM) paths << path;
                continue;
            }
            if (hasKeysOrButtons(fd)) paths << path;
            ::close(fd);
        }
        return paths;
    };
    return devices;
}

EvdevKeySource::Access EvdevKeySource::probe(const Devices& devices) {
    Access access;
    for (const QString& path : devices.list()) {
        ++access.found;
        const int fd = ::open(path.toLocal8Bit().constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        if (fd >= 0) {
            ++access.readable;
            ::close(fd);
        }
    }
    return access;
}

EvdevKeySource::EvdevKeySource(const core::Clock& clock, Devices devices)
    : clock_(clock), where_(std::move(devices)) {}

EvdevKeySource::~EvdevKeySource() = default;

Status EvdevKeySource::start(Handlers handlers) {
    if (started_) return {};
    started_ = true;
    handlers_ = std::move(handlers);
    watcher_ = std::make_unique<QFileSystemWatcher>();
    for (const QString& folder : where_.watch) {
        if (QFileInfo(folder).isDir()) watcher_->addPath(folder);
    }
    QObject::connect(watcher_.get(), &QFileSystemWatcher::directoryChanged, [this] {
        rescan();
        // A new device node gets its group and mode a moment after it appears.
        QTimer::singleShot(1000, watcher_.get(), [this] { rescan(); });
    });

    const QStringList paths = where_.list();
    rescan();
    if (!devices_.empty()) return {};
    if (paths.isEmpty()) {
        return fail(1, core::sentences::kNoKeyboard);
    }
    return fail(2, core::sentences::kKeyboardsForbidden);
}

void EvdevKeySource::rescan() {
    const QStringList paths = where_.list();
    // Devices no longer listed are gone.
    std::vector<QString> gone;
    for (const auto& [path, device] : devices_) {
        if (!paths.contains(path)) gone.push_back(path);
    }
    for (const QString& path : gone) drop(path);

    for (const QString& path : paths) {
        if (devices_.contains(path)) continue;
        const int fd = ::open(path.toLocal8Bit().constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        if (fd < 0) continue;
        // Event times on the clock the gestures use; a device that is not one keeps its own.
        int clockId = CLOCK_MONOTONIC;
        ioctl(fd, EVIOCSCLOCKID, &clockId);
        auto device = std::make_unique<Device>();
        device->fd = fd;
        unsigned long leds[(LED_MAX + 1) / (8 * sizeof(unsigned long)) + 1] = {};
        if (ioctl(fd, EVIOCGLED(sizeof leds), leds) >= 0 && hasBit(leds, LED_CAPSL)) {
            capsLocked_ = true;
        }
        device->notifier = std::make_unique<QSocketNotifier>(fd, QSocketNotifier::Read);
        Device* raw = device.get();
        QObject::connect(raw->notifier.get(), &QSocketNotifier::activated, [this, raw, path] {
            // Reading may drop the device; the notifier must not be deleted inside its own
            // signal, so a failed device is dropped on the next turn of the event loop.
            read(*raw);
            if (raw->fd < 0) {
                raw->notifier->setEnabled(false);
                QTimer::singleShot(0, watcher_.get(), [this, path] { drop(path); });
            }
        });
        devices_.emplace(path, std::move(device));
    }
}

void EvdevKeySource::drop(const QString& path) {
    const auto found = devices_.find(path);
    if (found == devices_.end()) return;
    const Mods before = mods();
    devices_.erase(found);
    // Keys held on a keyboard that went are no longer held.
    if (mods() != before) report(clock_.uptime());
}

Mods EvdevKeySource::mods() const {
    Mods all;
    for (const auto& [path, device] : devices_) all.bits |= device->tracker.current().bits;
    if (capsLocked_) all.bits |= Mods::kOther;
    return all;
}

void EvdevKeySource::report(double uptime) {
    if (uptime > ignoreUntil_ && handlers_.modifiersChanged)
        handlers_.modifiersChanged(mods(), uptime);
}

void EvdevKeySource::read(Device& device) {
    char buffer[64 * sizeof(input_event)];
    for (;;) {
        const ssize_t got = ::read(device.fd, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR) continue;
        if (got < 0 && errno == EAGAIN) return;
        if (got <= 0) {
            // Unplugged (ENODEV), or the other end of a pipe closed.
            ::close(device.fd);
            device.fd = -1;
            return;
        }
        device.pending.append(buffer, got);
        qsizetype at = 0;
        for (; at + qsizetype(sizeof(input_event)) <= device.pending.size();
             at += sizeof(input_event)) {
            input_event event;
            std::memcpy(&event, device.pending.constData() + at, sizeof event);
            const double uptime = double(event.input_event_sec) + event.input_event_usec / 1e6;
            const bool ours = uptime <= ignoreUntil_;
            if (event.type == EV_LED && event.code == LED_CAPSL) {
                const bool locked = event.value != 0;
                if (locked == capsLocked_) continue;
                capsLocked_ = locked;
                report(uptime);
                continue;
            }
            if (event.type == EV_SYN && event.code == SYN_DROPPED) {
                // The kernel's queue overflowed: ask which keys are down now.
                unsigned long keys[(KEY_MAX + 1) / (8 * sizeof(unsigned long)) + 1] = {};
                if (ioctl(device.fd, EVIOCGKEY(sizeof keys), keys) < 0) continue;
                device.tracker.reset();
                for (int code = 0; code < 256; ++code) {
                    const KeyRole role = roleOfCode(code);
                    if (hasBit(keys, code)) device.tracker.change(code, role, true);
                }
                report(uptime);
                continue;
            }
            // Auto-repeat (2) is no news.
            if (event.type != EV_KEY || event.value == 2) continue;
            const bool down = event.value == 1;
            if (isClick(event.code)) {
                if (down && !ours && handlers_.otherInput) {
                    handlers_.otherInput(OtherInput{false, 0, uptime});
                }
                continue;
            }
            const KeyRole role = roleOfCode(event.code);
            if (role == KeyRole::ignored || role == KeyRole::capsLock) continue;
            if (role == KeyRole::plain) {
                // Keys beyond the keyboard's (joystick and tablet buttons, touches) are no input.
                if (event.code >= BTN_MISC) continue;
                if (down && !ours && handlers_.otherInput) {
                    const std::uint32_t keysym = event.code == KEY_ESC ? kEscapeKeysym : 0;
                    handlers_.otherInput(OtherInput{true, keysym, uptime});
                }
                continue;
            }
            device.tracker.change(event.code, role, down);
            report(uptime);
        }
        device.pending.remove(0, at);
    }
}

}  // namespace pelix::platform
