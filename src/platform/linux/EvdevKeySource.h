#pragma once

// One ModTracker per device, so two keyboards holding Ctrl hold it until both let go.
// Auto-repeat is ignored; a SYN_DROPPED asks the device which keys are down. A folder that
// changes is read again a second later, when a new node has its group. Event times are put on
// CLOCK_MONOTONIC (EVIOCSCLOCKID), the clock of the gestures.

#include "core/Clock.h"
#include "platform/KeySource.h"

#include <QStringList>

#include <functional>
#include <map>
#include <memory>

class QFileSystemWatcher;

namespace pelix::platform {

// Keys and clicks of every keyboard and pointer of the machine, read from the kernel's input
// devices without grabbing them, so it hears the keys whatever the display server. Needs read
// access to the devices (the "input" group). Devices that come and go are picked up as the
// folders they live in change; keys held on a device that goes are let go.
//
// The kernel's key codes name physical keys: both Alt keys are Alt and both Super (Windows)
// keys are "other" modifiers, whatever the layout puts on them. Caps Lock's lock follows the
// keyboard's light, which the display server sets. Times are the events' own, on the monotonic
// clock. The program's own typing goes through the display server, never through these
// devices, so it is never heard here.
class EvdevKeySource final : public KeySource {
public:
    // Where the devices are: `list` gives the paths to read now, `watch` the folders whose
    // changes mean that devices came or went.
    struct Devices {
        std::function<QStringList()> list;
        QStringList watch;
    };

    // The devices of `folder` (/dev/input): every event* device that has keys or buttons, or
    // that this user may not open (starting says why it could not be read). Entries that are
    // not devices, such as named pipes carrying recorded events, are read as they are.
    static Devices devicesIn(const QString& folder);

    // What `devices` offers this user: how many there are and how many can be read.
    struct Access {
        int found = 0;
        int readable = 0;
    };
    static Access probe(const Devices& devices);

    EvdevKeySource(const core::Clock& clock, Devices devices);
    ~EvdevKeySource() override;

    // Opens every device and watches for new ones. Fails with one sentence when no device can
    // be read (none there, or no permission); it goes on watching for devices either way.
    Status start(Handlers handlers) override;
    void ignoreUntil(double uptime) override { ignoreUntil_ = uptime; }
    bool listening() const override { return !devices_.empty(); }

    // Looks for devices that came or went.
    void rescan();

private:
    struct Device;
    void read(Device& device);
    void drop(const QString& path);
    Mods mods() const;
    void report(double uptime);

    const core::Clock& clock_;
    Devices where_;
    Handlers handlers_;
    bool started_ = false;
    std::map<QString, std::unique_ptr<Device>> devices_;
    std::unique_ptr<QFileSystemWatcher> watcher_;
    bool capsLocked_ = false;
    double ignoreUntil_ = 0;
};

}  // namespace pelix::platform
