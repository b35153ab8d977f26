// GNOME's typing route against X11's, in one run: text typed into a GTK window on a headless
// Mutter through the remote-desktop portal (GNOME's backend, its consent dialog accepted over
// the accessibility bus as the tests do), and into the same window on the test session's Xvfb
// through XTest: characters per second, from the call to the window holding the text. GNOME 43
// has no shortcuts portal, so there is no key-to-gesture route to measure there. Needs the test
// session (scripts/with-desktop), Mutter and GNOME's portal (Debian's mutter,
// xdg-desktop-portal-gnome), and the tests of the same build.
//
// The benchmark starts Mutter (tests/support/HeadlessMutter), then runs itself again as Mutter's
// user in its session, where the measuring happens. One portal session serves the whole run, as
// it serves the tray's life: GNOME 43's portal cannot remember consent, so each session asks.
#include "../tests/support/HeadlessMutter.h"
#include "DesktopBench.h"

#include <QGuiApplication>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <memory>

namespace {

using namespace pelix::bench;
using pelix::platform::PortalTypist;

// Set in Mutter's session, where the benchmarks run.
constexpr auto kInSession = "PELIX_BENCH_IN_MUTTER";

// The run's one portal session, made by the first benchmark that needs it.
struct Portal {
    QTemporaryDir dir;
    std::unique_ptr<PortalTypist> typist;
};
Portal* thePortal = nullptr;

void portal(benchmark::State& state, const QString& text) {
    if (!inSession(state, kInSession, "Mutter")) return;
    if (!thePortal->typist) {
        thePortal->typist = portalTypist(state, thePortal->dir.path() + "/token",
                                         {"/usr/bin/python3", PELIX_ACCEPT_REMOTE_DESKTOP, "30"});
        if (!thePortal->typist) return;
    }
    typeIntoWindow(state, *thePortal->typist, true, text);
}

void BM_MutterPortalTypeEnglish(benchmark::State& state) {
    portal(state, kEnglish);
}
void BM_X11TypeEnglish(benchmark::State& state) {
    typeThroughXTest(state, kEnglish);
}
void BM_MutterPortalTypeShortEnglish(benchmark::State& state) {
    portal(state, kShortEnglish);
}
void BM_MutterPortalTypeLongEnglish(benchmark::State& state) {
    portal(state, kLongEnglish);
}
void BM_MutterPortalTypeGerman(benchmark::State& state) {
    portal(state, kGerman);
}
void BM_X11TypeGerman(benchmark::State& state) {
    typeThroughXTest(state, kGerman);
}

#define TYPING(name) BENCHMARK(name)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond)
TYPING(BM_MutterPortalTypeEnglish);
TYPING(BM_X11TypeEnglish);
TYPING(BM_MutterPortalTypeShortEnglish);
TYPING(BM_MutterPortalTypeLongEnglish);
TYPING(BM_MutterPortalTypeGerman);
TYPING(BM_X11TypeGerman);

}  // namespace

int main(int argc, char** argv) {
    if (!qEnvironmentVariableIsSet(kInSession)) {
        QCoreApplication app(argc, argv);
        const pelix::testing::HeadlessMutter& mutter = pelix::testing::HeadlessMutter::shared();
        if (mutter.error().isEmpty()) return runInSession(mutter, kInSession, argc, argv);
        qWarning("Mutter did not start (%s): only X11 is measured.", qPrintable(mutter.error()));
    }
    // Pelix's side needs no windows; the GTK windows open on their own.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    Portal portal;
    thePortal = &portal;
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    thePortal = nullptr;
    return 0;
}
