// The Tell/Ask panel: from a click on the tray icon to the panel painted on the screen, with the
// sample content and with a long conversation; the first opening (the window is made on the X
// server) and the ones after it. Runs on the test desktop (scripts/with-desktop) for real
// painting through the X server.
#include "core/Clock.h"
#include "panel/PanelModel.h"
#include "panel/PanelSample.h"
#include "panel/PanelWindow.h"
#include "service/Api.h"
#include "ui/BadgeWindow.h"
#include "ui/Theme.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QNetworkAccessManager>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <memory>

namespace {

using pelix::panel::PanelModel;
using pelix::panel::PanelWindow;

// Counts the panel's paint events.
class Painted final : public QObject {
public:
    bool eventFilter(QObject*, QEvent* event) override {
        if (event->type() == QEvent::Paint) ++count;
        return false;
    }
    int count = 0;
};

struct Panel {
    explicit Panel(int extraBubbles)
        : api(QUrl("http://127.0.0.1:9"), pelix::service::TokenStore(dir.path()), &network, &clock),
          model(api, clock) {
        pelix::panel::showSample(model);
        for (int i = 0; i < extraBubbles; ++i) {
            model.addBubble(QStringLiteral("Bubble %1 of a long conversation, long enough to wrap "
                                           "onto a second line in the panel.")
                                .arg(i),
                            i % 2 == 0);
        }
        // Opening asks for insights once in half an hour: this one counts as fresh.
        model.refreshInsights(true);
        window = std::make_unique<PanelWindow>(model);
        window->installEventFilter(&painted);
    }

    // Opens the panel as a tray click does and returns the milliseconds until it is painted.
    double open() {
        QElapsedTimer timer;
        timer.start();
        const int before = painted.count;
        window->open(QRect());
        while (painted.count == before) QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
        const double ms = timer.nsecsElapsed() / 1e6;
        window->hide();
        QCoreApplication::processEvents();
        return ms;
    }

    QTemporaryDir dir;
    QNetworkAccessManager network;
    pelix::core::SystemClock clock;
    pelix::service::Api api;
    PanelModel model;
    Painted painted;
    std::unique_ptr<PanelWindow> window;
};

void openPanel(benchmark::State& state) {
    Panel panel(static_cast<int>(state.range(0)));
    state.counters["first_ms"] = panel.open();
    for (auto _ : state) {
        state.SetIterationTime(panel.open() / 1000);
    }
}
BENCHMARK(openPanel)
    ->Arg(0)
    ->Arg(200)
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->Iterations(20);

void buildPanelAndBadge(benchmark::State& state) {
    for (auto _ : state) {
        Panel panel(0);
        pelix::ui::BadgeWindow badge;
        benchmark::DoNotOptimize(panel.window.get());
    }
}
BENCHMARK(buildPanelAndBadge)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    pelix::ui::theme::apply(app);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
