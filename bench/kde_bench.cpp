// KDE's routes against X11's, in one run. Typing into a GTK window through KWin's fake input,
// through the remote-desktop portal (KDE's backend), and through XTest on the test session's
// Xvfb: characters per second, from the call to the window holding the text. A gesture's key
// through the shortcuts portal (Ctrl+Alt+D pressed and let go through fake input, to the key
// source's handler seeing the dictation key go down and up), against XInput 2 (Ctrl through
// XTest). Needs the test session (scripts/with-desktop), KWin and the portals (Debian's
// kwin-wayland, xdg-desktop-portal-kde), and the tests of the same build.
//
// KWin trusts with its fake input only the programs its desktop entries name, by their
// executable: the benchmark starts KWin (tests/support/HeadlessKWin, which names the program
// that started it), then runs itself again as KWin's user in KWin's session, where the
// measuring happens.
#include "../tests/support/HeadlessKWin.h"
#include "DesktopBench.h"
#include "platform/KeySource.h"
#include "platform/linux/PortalKeySource.h"

#include <QDBusConnection>
#include <QGuiApplication>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <chrono>
#include <functional>
#include <memory>
#include <string>
#include <vector>

// Last: it brings in the X headers, whose macros clash with the names of the others.
#include "../tests/support/DesktopSession.h"

namespace {

using pelix::testing::TargetWindow;
using Clock = std::chrono::steady_clock;
using namespace pelix::bench;

// Set in KWin's session, where the benchmarks run.
constexpr auto kInSession = "PELIX_BENCH_IN_KWIN";

bool inKWin(benchmark::State& state) {
    return inSession(state, kInSession, "KWin");
}

// What the desktop factory picks on KWin for a program KWin trusts: its fake input.
void fakeInput(benchmark::State& state, const QString& text) {
    if (!inKWin(state)) return;
    QTemporaryDir dir;
    pelix::core::SystemClock clock;
    const auto desktop = pelix::platform::makeDesktop(
        {.clock = clock, .cacheDir = dir.path(), .session = "wayland", .inputFolder = dir.path()});
    if (desktop->probe().typingRoute != pelix::platform::TypingRoute::fakeInput) {
        state.SkipWithError("KWin did not offer its fake input to the benchmark");
        return;
    }
    typeIntoWindow(state, desktop->typist(), true, text);
}

// The remote-desktop portal, which KDE's backend serves through fake input of its own.
void portal(benchmark::State& state, const QString& text) {
    if (!inKWin(state)) return;
    QTemporaryDir dir;
    const auto typist = portalTypist(state, dir.path() + "/token");
    if (typist) typeIntoWindow(state, *typist, true, text);
}

void xtest(benchmark::State& state, const QString& text) {
    typeThroughXTest(state, text);
}

void BM_KWinFakeInputTypeEnglish(benchmark::State& state) {
    fakeInput(state, kEnglish);
}
void BM_KWinPortalTypeEnglish(benchmark::State& state) {
    portal(state, kEnglish);
}
void BM_X11TypeEnglish(benchmark::State& state) {
    xtest(state, kEnglish);
}
void BM_KWinPortalTypeShortEnglish(benchmark::State& state) {
    portal(state, kShortEnglish);
}
void BM_KWinPortalTypeLongEnglish(benchmark::State& state) {
    portal(state, kLongEnglish);
}
void BM_KWinFakeInputTypeGerman(benchmark::State& state) {
    fakeInput(state, kGerman);
}
void BM_KWinPortalTypeGerman(benchmark::State& state) {
    portal(state, kGerman);
}
void BM_X11TypeGerman(benchmark::State& state) {
    xtest(state, kGerman);
}

#define TYPING(name) BENCHMARK(name)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond)
TYPING(BM_KWinFakeInputTypeEnglish);
TYPING(BM_KWinPortalTypeEnglish);
TYPING(BM_X11TypeEnglish);
TYPING(BM_KWinPortalTypeShortEnglish);
TYPING(BM_KWinPortalTypeLongEnglish);
TYPING(BM_KWinFakeInputTypeGerman);
TYPING(BM_KWinPortalTypeGerman);
TYPING(BM_X11TypeGerman);

// Presses and lets go of the dictation key through `key`: each iteration's time is from the
// press to the handler seeing Ctrl go down; the counters are the medians of that and of the
// letting go, in microseconds.
void gestures(benchmark::State& state, pelix::platform::KeySource& keys,
              const std::function<void(bool)>& key) {
    bool held = false;
    int changes = 0;
    const auto started = keys.start({
        .modifiersChanged =
            [&](pelix::platform::Mods mods, double) {
                held = mods.control();
                ++changes;
            },
        .otherInput = {},
    });
    if (!started || !TargetWindow::spin([&] { return keys.listening(); }, 15000)) {
        state.SkipWithError("the key source did not start");
        return;
    }
    const auto timed = [&](bool down) {
        const int before = changes;
        const auto start = Clock::now();
        key(down);
        if (!TargetWindow::spin([&] { return changes > before && held == down; }, 5000))
            return -1.0;
        return std::chrono::duration<double, std::micro>(Clock::now() - start).count();
    };
    std::vector<double> downs, ups;
    for (auto _ : state) {
        const double down = timed(true);
        const double up = timed(false);
        if (down < 0 || up < 0) {
            state.SkipWithError("the handler did not see the key");
            return;
        }
        downs.push_back(down);
        ups.push_back(up);
        state.SetIterationTime(down / 1e6);
    }
    state.counters["down_median_us"] = median(downs);
    state.counters["up_median_us"] = median(ups);
}

// Ctrl+Alt+D, the dictation shortcut, through KWin's fake input (tests/support/fake_keys.cpp,
// one pipe away) to KDE's shortcuts portal.
void BM_KWinShortcutToGesture(benchmark::State& state) {
    if (!inKWin(state)) return;
    pelix::core::SystemClock clock;
    pelix::platform::PortalKeySource keys(QDBusConnection::sessionBus(), clock);
    QProcess fakeKeys;
    fakeKeys.start(qEnvironmentVariable("PELIX_FAKE_KEYS"), QStringList{});
    const auto answered = [&](const QByteArray& line) {
        return TargetWindow::spin(
            [&] { return fakeKeys.canReadLine() && fakeKeys.readLine().trimmed() == line; }, 5000);
    };
    if (!answered("ready")) {
        state.SkipWithError("KWin did not take the fake keyboard");
        return;
    }
    gestures(state, keys, [&](bool down) {
        fakeKeys.write(down ? "down 29 56 32\n" : "up 32 56 29\n");
        fakeKeys.waitForBytesWritten(1000);
    });
    fakeKeys.closeWriteChannel();
    fakeKeys.waitForFinished(3000);
}
BENCHMARK(BM_KWinShortcutToGesture)->UseManualTime()->Iterations(50);

// Ctrl through XTest on the test session's X server, heard through XInput 2.
void BM_X11KeyToGesture(benchmark::State& state) {
    QTemporaryDir dir;
    pelix::core::SystemClock clock;
    const auto desktop =
        pelix::platform::makeDesktop({.clock = clock, .cacheDir = dir.path(), .session = "x11"});
    pelix::testing::Keyboard keyboard;
    if (!keyboard.ok()) {
        state.SkipWithError("no X display");
        return;
    }
    gestures(state, desktop->keys(), [&](bool down) { keyboard.key(XK_Control_L, down); });
}
BENCHMARK(BM_X11KeyToGesture)->UseManualTime()->Iterations(200);

// Starts KWin and runs this program again as its user in its session; its exit status.
int runInKWin(int argc, char** argv) {
    const pelix::testing::HeadlessKWin& kwin = pelix::testing::HeadlessKWin::shared();
    if (!kwin.error().isEmpty()) return -1;
    QProcessEnvironment extra;
    extra.insert("PELIX_FAKE_KEYS", kwin.fakeKeys());
    return runInSession(kwin, kInSession, argc, argv, extra);
}

}  // namespace

int main(int argc, char** argv) {
    if (!qEnvironmentVariableIsSet(kInSession)) {
        QCoreApplication app(argc, argv);
        // KWin trusts the `pelix` under test besides this program.
        if (qEnvironmentVariableIsEmpty("PELIX_BIN"))
            qputenv("PELIX_BIN", pelixProgram().toLocal8Bit());
        const int status = runInKWin(argc, argv);
        if (status >= 0) return status;
        qWarning("KWin did not start (%s): only X11 is measured.",
                 qPrintable(pelix::testing::HeadlessKWin::shared().error()));
    }
    // Pelix's side needs no windows; the GTK windows open on their own.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
