#pragma once

// What the benchmarks of the headless desktops (kde_bench, gnome_bench) share: running the
// benchmark again as the desktop's user in its session, the tests' GTK window on the desktop or
// on the test session's X server, and typing into it through a typist, the remote-desktop
// portal's or XTest's. Needs the tests' support (tests/support/HeadlessDesktop and TargetWindow)
// and PELIX_GTK_TARGET, the GTK window's script.
#include "BenchSupport.h"
#include "core/Clock.h"
#include "platform/Desktop.h"
#include "platform/linux/AtspiAccessibility.h"
#include "platform/linux/PortalTypist.h"

#include "../tests/support/HeadlessDesktop.h"

#include <QDBusConnection>
#include <QFileInfo>
#include <QProcess>
#include <QProcessEnvironment>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <functional>
#include <memory>
#include <string>

namespace pelix::bench {

// The texts typed: lowercase English, 1,008 characters, three times that (3,024) and a quarter
// of it (252), and German (ä, ö, ü, ß), all in the German layout the headless desktops have,
// and typed by X11 through its borrowed key codes.
inline const QString kPhrase = "remember to call the plumber about the kitchen sink on tuesday ";
inline const QString kEnglish = kPhrase.repeated(16);
inline const QString kLongEnglish = kPhrase.repeated(48);
inline const QString kShortEnglish = kPhrase.repeated(4);
inline const QString kGerman =
    QString::fromUtf8("Grüße aus Köln, schön schräg über Maß ").repeated(10);

// Starts this program again with its arguments, as `desktop`'s user in its session, with
// `marker` set (the run that measures) and `extra` besides; its exit status.
inline int runInSession(const testing::HeadlessDesktop& desktop, const char* marker, int argc,
                        char** argv, const QProcessEnvironment& extra = {}) {
    QProcessEnvironment env = desktop.clientEnvironment();
    // The test session's X server, for the X11 figures of the same run.
    for (const char* kept : {"DISPLAY", "XAUTHORITY", "PELIX_BIN"}) {
        if (qEnvironmentVariableIsSet(kept)) env.insert(kept, qEnvironmentVariable(kept));
    }
    env.insert(extra);
    env.insert(marker, "1");
    QStringList args;
    for (int i = 1; i < argc; ++i) args << QString::fromLocal8Bit(argv[i]);
    const auto [program, wrapped] =
        desktop.command(QFileInfo("/proc/self/exe").canonicalFilePath(), args, env);
    QProcess self;
    self.setProcessChannelMode(QProcess::ForwardedChannels);
    self.setProcessEnvironment(env);
    self.start(program, wrapped);
    self.waitForFinished(-1);
    return self.exitStatus() == QProcess::NormalExit ? self.exitCode() : 1;
}

// Whether this is the run in the desktop's session (`marker` set), else the benchmark skipped.
inline bool inSession(benchmark::State& state, const char* marker, const char* desktop) {
    if (qEnvironmentVariableIsSet(marker)) return true;
    state.SkipWithError((std::string(desktop) + " did not start").c_str());
    return false;
}

// The GTK window on the Wayland desktop (`wayland`) or on the test session's X server, once it
// has the focus.
inline std::unique_ptr<testing::TargetWindow> gtkWindow(bool wayland) {
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    if (wayland) {
        env.insert("GDK_BACKEND", "wayland");
    } else {
        env.remove("WAYLAND_DISPLAY");
        env.insert("GDK_BACKEND", "x11");
    }
    auto target = std::make_unique<testing::TargetWindow>("/usr/bin/python3", env,
                                                          QStringList{PELIX_GTK_TARGET});
    if (!target->ready()) return nullptr;
    return target;
}

// Types `text` through `typist` into a new GTK window (see typeText).
inline void typeIntoWindow(benchmark::State& state, platform::Typist& typist, bool wayland,
                           const QString& text) {
    const auto target = gtkWindow(wayland);
    if (!target) {
        state.SkipWithError("the GTK window never got the focus");
        return;
    }
    typeText(state, typist, *target, text);
}

// The same through XTest on the test session's X server: the X11 figure.
inline void typeThroughXTest(benchmark::State& state, const QString& text) {
    QTemporaryDir dir;
    core::SystemClock clock;
    const auto desktop =
        platform::makeDesktop({.clock = clock, .cacheDir = dir.path(), .session = "x11"});
    typeIntoWindow(state, desktop->typist(), false, text);
}

// A remote-desktop portal typist on the session bus once its session runs, `consent` (a
// program and its arguments, one that answers the desktop's question as a person would) running
// while the desktop asks; null, with the benchmark skipped, when no session started.
inline std::unique_ptr<platform::PortalTypist> portalTypist(benchmark::State& state,
                                                            const QString& tokenFile,
                                                            const QStringList& consent = {}) {
    using platform::PortalTypist;
    // The bus starts the portal on the first call, which offers RemoteDesktop once the desktop's
    // backend has come up.
    testing::TargetWindow::spin([] { return PortalTypist::offered(QDBusConnection::sessionBus()); },
                                30000);
    // Following the focus on the accessibility bus, as Pelix's typist does: GTK windows do more
    // at every key while anyone listens there.
    auto accessibility = std::make_shared<platform::AtspiAccessibility>();
    accessibility->focusedApplication();
    auto typist = std::make_unique<PortalTypist>(
        QDBusConnection::sessionBus(), tokenFile,
        [accessibility] { return accessibility->focusedApplication(); });
    QProcess answer;
    answer.setProcessChannelMode(QProcess::MergedChannels);
    if (!consent.isEmpty()) answer.start(consent.first(), consent.mid(1));
    testing::TargetWindow::spin([&] { return typist->state() != PortalTypist::State::starting; },
                                60000);
    if (!consent.isEmpty() && !answer.waitForFinished(30000)) answer.kill();
    if (!typist->canType()) {
        const std::string why = "the remote-desktop portal did not start a session (state " +
                                std::to_string(int(typist->state())) + ") " +
                                answer.readAll().toStdString();
        state.SkipWithError(why.c_str());
        return nullptr;
    }
    return typist;
}

}  // namespace pelix::bench
