// A Wayland session's parts. Typing through the virtual-keyboard protocol into a Qt window on a
// headless sway: characters per second, from the call to the window holding the text. The key
// source over input devices: from an input_event written into a pipe to the modifier change
// reaching its handler, against a bare poll() and read() of the same pipe. Needs sway (Debian's
// package) and the typing target from the tests of the same build (or PELIX_TYPING_TARGET).
#include "../tests/support/HeadlessSway.h"
#include "BenchSupport.h"
#include "dictation/Insert.h"
#include "platform/Desktop.h"
#include "platform/KeySource.h"

#include <QGuiApplication>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <linux/input.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <ctime>
#include <memory>
#include <vector>

namespace {

using pelix::testing::HeadlessSway;
using pelix::testing::TargetWindow;
using Clock = std::chrono::steady_clock;

using namespace pelix::bench;

QString targetProgram() {
    return builtProgram("PELIX_TYPING_TARGET", "tests/dictation/pelix-typing-target");
}

void typeText(benchmark::State& state, const QString& text) {
    const HeadlessSway& sway = HeadlessSway::shared();
    if (!sway.error().isEmpty()) {
        state.SkipWithError(sway.error().toStdString().c_str());
        return;
    }
    QTemporaryDir dir;
    pelix::core::SystemClock clock;
    const auto desktop = pelix::platform::makeDesktop({.clock = clock,
                                                       .cacheDir = dir.path(),
                                                       .session = "wayland",
                                                       .waylandDisplay = sway.socket(),
                                                       .inputFolder = dir.path()});
    pelix::platform::Typist& typist = desktop->typist();
    TargetWindow window(targetProgram(), sway.clientEnvironment());
    if (!window.ready()) {
        state.SkipWithError("the typing target never got the focus");
        return;
    }
    pelix::bench::typeText(state, typist, window, text);
}

void BM_WaylandTypeEnglish(benchmark::State& state) {
    typeText(state, QString("remember to call the plumber about the kitchen sink on tuesday ")
                        .repeated(16));  // 1,008 characters
}
BENCHMARK(BM_WaylandTypeEnglish)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);

void BM_WaylandTypeUnicode(benchmark::State& state) {
    typeText(state, QString::fromUtf8("Grüße aus Köln — 日本語のテキスト, ÀÉÎ ø ł ").repeated(10));
}
BENCHMARK(BM_WaylandTypeUnicode)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);

// A pipe standing for a keyboard in a folder of input devices.
struct PipeKeyboard {
    QTemporaryDir dir;
    QString folder = dir.path() + "/input";
    int fd = -1;
    PipeKeyboard() {
        ::mkdir(folder.toLocal8Bit().constData(), 0700);
        const QByteArray path = (folder + "/event0").toLocal8Bit();
        ::mkfifo(path.constData(), 0600);
        fd = ::open(path.constData(), O_RDWR | O_NONBLOCK);
    }
    ~PipeKeyboard() { ::close(fd); }
    void key(int code, int value) const {
        input_event events[2] = {};
        timespec now{};
        clock_gettime(CLOCK_MONOTONIC, &now);
        for (input_event& event : events) {
            event.input_event_sec = now.tv_sec;
            event.input_event_usec = now.tv_nsec / 1000;
        }
        events[0].type = EV_KEY;
        events[0].code = code;
        events[0].value = value;
        events[1].type = EV_SYN;
        [[maybe_unused]] const ssize_t wrote = ::write(fd, events, sizeof events);
    }
};

void BM_EvdevKeyToGesture(benchmark::State& state) {
    PipeKeyboard keyboard;
    pelix::core::SystemClock clock;
    const auto desktop = pelix::platform::makeDesktop({.clock = clock,
                                                       .cacheDir = keyboard.dir.path(),
                                                       .session = "wayland",
                                                       .waylandDisplay = "/nonexistent",
                                                       .inputFolder = keyboard.folder});
    int changes = 0;
    const pelix::Status started = desktop->keys().start({
        .modifiersChanged = [&](pelix::platform::Mods, double) { ++changes; },
        .otherInput = {},
    });
    if (!started) {
        state.SkipWithError("the key source did not start");
        return;
    }
    std::vector<double> micros;
    bool down = false;
    for (auto _ : state) {
        const int before = changes;
        down = !down;
        const auto start = Clock::now();
        keyboard.key(KEY_LEFTCTRL, down ? 1 : 0);
        while (changes == before) QCoreApplication::processEvents(QEventLoop::AllEvents);
        const double took = std::chrono::duration<double, std::micro>(Clock::now() - start).count();
        micros.push_back(took);
        state.SetIterationTime(took / 1e6);
    }
    state.counters["median_us"] = median(micros);
}
BENCHMARK(BM_EvdevKeyToGesture)->UseManualTime()->Iterations(2000);

// The bare job: wait for the pipe and read the record.
void BM_BarePipeRead(benchmark::State& state) {
    PipeKeyboard keyboard;
    const int reader =
        ::open((keyboard.folder + "/event0").toLocal8Bit().constData(), O_RDONLY | O_NONBLOCK);
    std::vector<double> micros;
    input_event events[2];
    for (auto _ : state) {
        const auto start = Clock::now();
        keyboard.key(KEY_LEFTCTRL, 1);
        pollfd wait{reader, POLLIN, 0};
        ::poll(&wait, 1, 1000);
        [[maybe_unused]] const ssize_t got = ::read(reader, events, sizeof events);
        const double took = std::chrono::duration<double, std::micro>(Clock::now() - start).count();
        micros.push_back(took);
        state.SetIterationTime(took / 1e6);
    }
    ::close(reader);
    state.counters["median_us"] = median(micros);
}
BENCHMARK(BM_BarePipeRead)->UseManualTime()->Iterations(2000);

}  // namespace

int main(int argc, char** argv) {
    // The typing target opens on sway; Pelix's side needs no windows.
    if (qEnvironmentVariableIsEmpty("DISPLAY")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
