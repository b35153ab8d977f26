// The key source of a Wayland session fed through named pipes that carry the kernel's input_event
// records, one pipe per keyboard, in a folder the source watches for keyboards that come and go.
#include "fakes/ManualTime.h"
#include "platform/Desktop.h"
#include "platform/KeySource.h"
#include "support/TestSupport.h"

#include <fcntl.h>
#include <linux/input.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>

namespace pelix::platform {
namespace {

// One keyboard: a pipe whose writing end the test holds.
class PipeKeyboard {
public:
    // Makes the pipe beside the watched folder and moves it in once it can be written, as a
    // device node appears whole.
    PipeKeyboard(const QString& folder, const QString& name)
        : path_((folder + "/" + name).toLocal8Bit()) {
        const QByteArray staged = (folder + "/../" + name + ".new").toLocal8Bit();
        ::mkfifo(staged.constData(), 0600);
        fd_ = ::open(staged.constData(), O_RDWR | O_NONBLOCK);
        ::rename(staged.constData(), path_.constData());
    }
    ~PipeKeyboard() {
        ::unlink(path_.constData());
        ::close(fd_);
    }

    void send(int type, int code, int value, double at) {
        input_event events[2] = {};
        for (input_event& event : events) {
            event.input_event_sec = static_cast<long>(std::floor(at));
            event.input_event_usec = static_cast<long>(std::llround((at - std::floor(at)) * 1e6));
        }
        events[0].type = type;
        events[0].code = code;
        events[0].value = value;
        events[1].type = EV_SYN;
        events[1].code = SYN_REPORT;
        ASSERT_EQ(::write(fd_, events, sizeof events), ssize_t(sizeof events));
    }
    void key(int code, int value, double at) { send(EV_KEY, code, value, at); }

private:
    QByteArray path_;
    int fd_ = -1;
};

class EvdevKeys : public ::testing::Test {
protected:
    void SetUp() override {
        // A session without the desktop's shortcuts portal, which keyboards that can't be read
        // would otherwise give way to: these tests are about the keyboards.
        qputenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus");
        ASSERT_TRUE(QDir(root.path()).mkdir("input"));
    }

    // A Wayland session's desktop whose input devices are the pipes of the folder. No compositor
    // is needed for the keys.
    std::unique_ptr<Desktop> makeDesktop() {
        return platform::makeDesktop({.clock = clock,
                                      .cacheDir = root.path(),
                                      .session = "wayland",
                                      .waylandDisplay = root.path() + "/no-compositor",
                                      .inputFolder = folder});
    }

    KeySource& start() {
        desktop = makeDesktop();
        const auto at = [](double t) { return QString::number(t, 'f', 2); };
        const Status started = desktop->keys().start({
            .modifiersChanged =
                [=, this](Mods m, double t) {
                    seen << QString("mods %1 at %2").arg(m.bits).arg(at(t));
                },
            .otherInput =
                [=, this](const OtherInput& in) {
                    seen << (in.isKey
                                 ? QString("key %1 at %2").arg(in.keysym, 0, 16).arg(at(in.uptime))
                                 : "click at " + at(in.uptime));
                },
        });
        EXPECT_TRUE(started) << started.error().message.toStdString();
        return desktop->keys();
    }

    // Waits until `count` reports have come, then a moment longer for any that should not.
    QStringList waitFor(qsizetype count) {
        testing::waitUntil([&] { return seen.size() >= count; }, 3000);
        testing::pause(30);
        return seen;
    }

    QTemporaryDir root;
    QString folder = root.path() + "/input";
    fakes::ManualClock clock;
    std::unique_ptr<Desktop> desktop;
    QStringList seen;
};

struct Step {
    int keyboard;  // which of two keyboards
    int type, code, value;
    double at;
};
// A key going down (1), auto-repeating (2) or up (0) at `at`, on the first keyboard unless told.
Step key(int code, int value, double at, int keyboard = 0) {
    return {keyboard, EV_KEY, code, value, at};
}
Step capsLight(int on, double at) {
    return {0, EV_LED, LED_CAPSL, on, at};
}

TEST_F(EvdevKeys, GesturesComeOutAsModifierBitsAndOtherInput) {
    const struct {
        const char* name;
        std::vector<Step> steps;
        QStringList expected;
    } gestures[] = {
        {"right ctrl hold, auto-repeat is no news",
         {key(KEY_RIGHTCTRL, 1, 2.0), key(KEY_RIGHTCTRL, 2, 2.3), key(KEY_RIGHTCTRL, 0, 2.5)},
         {"mods 8 at 2.00", "mods 0 at 2.50"}},
        {"escape, a letter, a click; releases, num lock and touches are not input",
         {key(KEY_ESC, 1, 5.0), key(KEY_ESC, 0, 5.05), key(KEY_A, 1, 5.1), key(KEY_A, 2, 5.15),
          key(KEY_NUMLOCK, 1, 5.2), key(BTN_TOUCH, 1, 5.25, 1), key(BTN_LEFT, 1, 5.3, 1),
          key(BTN_LEFT, 0, 5.35, 1)},
         {"key ff1b at 5.00", "key 0 at 5.10", "click at 5.30"}},
        {"caps lock's light counts as another modifier",
         {capsLight(1, 6.0), capsLight(1, 6.05), key(KEY_LEFTCTRL, 1, 6.1), capsLight(0, 6.2),
          key(KEY_LEFTCTRL, 0, 6.3)},
         {"mods 4 at 6.00", "mods 12 at 6.10", "mods 8 at 6.20", "mods 0 at 6.30"}},
        {"ctrl on two keyboards is held until both let go",
         {key(KEY_LEFTCTRL, 1, 7.0), key(KEY_LEFTCTRL, 1, 7.1, 1), key(KEY_LEFTCTRL, 0, 7.2, 1),
          key(KEY_LEFTCTRL, 0, 7.3)},
         {"mods 8 at 7.00", "mods 8 at 7.10", "mods 8 at 7.20", "mods 0 at 7.30"}},
    };
    PipeKeyboard first(folder, "event0");
    PipeKeyboard second(folder, "event1");
    KeySource& source = start();
    ASSERT_TRUE(source.listening());
    for (const auto& gesture : gestures) {
        seen.clear();
        for (size_t i = 0; i < gesture.steps.size(); ++i) {
            const Step& step = gesture.steps[i];
            // Two devices are read in turn: a step on the other one waits for the first's.
            if (i > 0 && step.keyboard != gesture.steps[i - 1].keyboard) testing::pause(30);
            (step.keyboard == 0 ? first : second).send(step.type, step.code, step.value, step.at);
        }
        EXPECT_EQ(waitFor(gesture.expected.size()), gesture.expected) << gesture.name;
    }
}

}  // namespace
}  // namespace pelix::platform
