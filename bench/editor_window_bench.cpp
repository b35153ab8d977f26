// The editor window at work: a click on a line of a three-hour project until the transcript and
// the total show it, a change to the edit of a one-minute 1080p video until the preview shows a
// picture of it, and the memory the window takes with the three-hour project open.
#include "BenchSupport.h"
#include "core/Timers.h"
#include "editor/SampleProject.h"
#include "render/Renderer.h"
#include "studio/EditorModel.h"
#include "studio/EditorWindow.h"
#include "studio/PreviewPane.h"
#include "studio/PreviewPlayer.h"
#include "ui/Theme.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QFile>
#include <QLabel>
#include <QListWidget>
#include <QTemporaryDir>
#include <QTimer>
#include <QUuid>

#include <benchmark/benchmark.h>

#include <map>
#include <memory>

namespace {

// About 30,000 words is three hours of speech.
constexpr int kThreeHours = 30000;

// Resident memory of the process, in bytes.
double residentBytes() {
    QFile statm(QStringLiteral("/proc/self/statm"));
    if (!statm.open(QIODevice::ReadOnly)) return 0;
    const QList<QByteArray> fields = statm.readAll().split(' ');
    return fields.value(1).toDouble() * 4096;
}

// Runs the event loop until `done`, or for `limit` ms at most.
template <class F>
void spinUntil(F done, int limit = 10000) {
    QElapsedTimer waited;
    waited.start();
    QTimer wake;  // so that the limit is seen without events
    wake.start(20);
    while (!done() && waited.elapsed() < limit) {
        QApplication::processEvents(QEventLoop::WaitForMoreEvents);
    }
}

// A click on a line of a three-hour project: the model's change, the transcript's rows and the
// totals, then the events it leaves (the preview's copy of the edit, the repaint), all on the
// main thread; the preview's picture follows on its own thread.
void BM_EditorWindowClick(benchmark::State& state) {
    QTemporaryDir dir;
    qputenv("PELIX_EDITOR_DIR", dir.path().toUtf8());
    pelix::core::QtTimers timers;
    const auto renderer = pelix::render::makeRenderer();
    const double before = residentBytes();
    double opened = 0;
    {
        pelix::studio::EditorModel model(timers, nullptr);
        pelix::studio::EditorWindow window(
            model, pelix::studio::EditorTools{renderer.get(), nullptr, nullptr, dir.path(), {}});
        model.open(pelix::editor::sampleProject(kThreeHours, 5, 42));
        window.show();
        spinUntil([] { return false; }, 1000);  // laid out, painted, the event loop settled
        opened = residentBytes();
        int line = int(model.lines().size()) / 2;
        for (auto _ : state) {
            model.toggleCut(line);
            benchmark::DoNotOptimize(window.totals()->text().size());
            // What follows on the main thread: the preview's copy of the edit, the repaint.
            QApplication::processEvents();
            // Clicks come apart: the preview's picture is drawn before the next one.
            state.PauseTiming();
            spinUntil([&] {
                return window.preview()->player().shownGeneration() ==
                       window.preview()->player().generation();
            });
            state.ResumeTiming();
            line = (line + 7) % int(model.lines().size());
        }
        state.counters["lines"] = double(model.lines().size());
        state.counters["window_MB"] = (opened - before) / 1e6;
    }
    qunsetenv("PELIX_EDITOR_DIR");
}

// A one-minute 1080p video made with the ffmpeg program's test picture, with a key frame every
// `gop` pictures, and a project of lines of eight words over it.
struct Minute {
    QTemporaryDir folder;
    pelix::editor::EditProject project;

    explicit Minute(int gop) {
        const QString file = folder.filePath("minute.mp4");
        pelix::bench::run(
            "ffmpeg", {"-v", "error", "-y", "-f", "lavfi", "-i", "testsrc2=size=1920x1080:rate=30",
                       "-t", "60", "-c:v", "libx264", "-preset", "veryfast", "-g",
                       QString::number(gop), "-pix_fmt", "yuv420p", file});
        pelix::editor::SourceClip clip;
        clip.id = QUuid::createUuid();
        clip.path = file;
        clip.duration = 60;
        clip.width = 1920;
        clip.height = 1080;
        clip.transcribed = true;
        double t = 0.5;
        for (int i = 0; t < 59; ++i) {
            QString word = QStringLiteral("word%1").arg(i);
            if (i % 8 == 7) word += '.';
            clip.words.push_back({t, t + 0.35, word});
            t += i % 8 == 7 ? 1.45 : 0.45;
        }
        project.id = QUuid::createUuid();
        project.name = QStringLiteral("Minute");
        project.clips = {clip};
        project.hook = QStringLiteral("Three things I learned");
    }
};

// A line near the start cut or restored while paused half-way: from the change to the picture
// of the new edit. The same output time now falls elsewhere in the source, so the decoder seeks
// to the key frame before it and decodes up to it: the distance between key frames counts.
void BM_EditorPreviewChange(benchmark::State& state) {
    static std::map<int, std::unique_ptr<Minute>> made;
    auto& slot = made[int(state.range(0))];
    if (!slot) slot = std::make_unique<Minute>(int(state.range(0)));
    const Minute& minute = *slot;
    QTemporaryDir dir;
    qputenv("PELIX_EDITOR_DIR", dir.path().toUtf8());
    pelix::core::QtTimers timers;
    const auto renderer = pelix::render::makeRenderer();
    pelix::studio::EditorModel model(timers, nullptr);
    pelix::studio::EditorWindow window(
        model, pelix::studio::EditorTools{renderer.get(), nullptr, nullptr, dir.path(), {}});
    model.open(minute.project);
    window.show();
    pelix::studio::PreviewPlayer& player = window.preview()->player();
    const auto caughtUp = [&] {
        return player.shownGeneration() == player.generation() && !player.picture().isNull();
    };
    spinUntil(caughtUp);
    player.seek(30);
    spinUntil(caughtUp);
    int line = 0;
    for (auto _ : state) {
        const quint64 before = player.generation();
        QElapsedTimer took;
        took.start();
        model.toggleCut(line);
        spinUntil([&] { return player.generation() > before && caughtUp(); });
        state.SetIterationTime(double(took.nsecsElapsed()) / 1e9);
        if (!player.problem().isEmpty()) {
            static std::string problem;
            problem = player.problem().toStdString();
            state.SkipWithError(problem.c_str());
        }
        line = (line + 1) % 3;
    }
    qunsetenv("PELIX_EDITOR_DIR");
}

}  // namespace

BENCHMARK(BM_EditorWindowClick)->Arg(1)->Arg(0)->Unit(benchmark::kMillisecond);
// Key frames every second (as phones record) and every 250 pictures (x264's default).
BENCHMARK(BM_EditorPreviewChange)
    ->Arg(30)
    ->Arg(250)
    ->UseManualTime()
    ->Iterations(20)
    ->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
    QApplication app(argc, argv);
    pelix::ui::theme::apply(app);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
