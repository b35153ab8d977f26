// The editor's heavy work, measured against the bare tools in one run:
// - exporting a 60-second reel (captions, pop-ups, hook, progress bar, punch-ins) from a 1080p
//   source with `pelix --edit export`, and the ffmpeg program running an equivalent filter graph
//   (the same kept segments trimmed, cropped and scaled, the same overlay through libass, the
//   same fades and encoders) on the same input;
// - `pelix --edit new` on one minute of speech (wall time, CPU and peak memory), and the face
//   finding alone, to see its share.

#include "editor/EditProject.h"
#include "editor/ProjectStore.h"
#include "render/FaceFinder.h"
#include "render/RenderPlan.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QProcess>
#include <QTemporaryDir>

#include "BenchSupport.h"

#include <benchmark/benchmark.h>

#include <stdexcept>

namespace {

using pelix::render::RenderPlan;

constexpr double kReelSeconds = 60.0;

using namespace pelix::bench;

const QStringList kWords =
    QStringLiteral(
        "the quick brown fox jumps over the lazy dog please bring the report and a cup "
        "of coffee the weather is nice today so we can walk to the park we talked about "
        "the budget for next year and agreed to spend less on travel")
        .split(' ');

// The media, made once: a 1080p source of 100 s (a moving test picture, with the face
// picture of python3-skimage standing in it when that is installed, and a minute of flite
// speech), its first minute, and a project over the source whose kept segments make 60 s.
struct Media {
    QTemporaryDir folder;
    QString source, minute, project;
    RenderPlan plan;

    Media() {
        const QString spoken = speak(kMinuteOfText, folder.filePath("spoken.wav"));
        source = folder.filePath("source.mp4");
        const QString face = "/usr/lib/python3/dist-packages/skimage/data/astronaut.png";
        QStringList args =
            QString("-v error -y -f lavfi -i testsrc2=size=1920x1080:rate=30 -i").split(' ')
            << spoken;
        if (QFile::exists(face)) {
            args << "-loop"
                 << "1"
                 << "-i" << face
                 << QString("-filter_complex [0][2]overlay=x=700:y=200[v] -map [v] -map 1:a")
                        .split(' ');
        }
        args << QString(
                    "-af apad -t 100 -c:v libx264 -preset veryfast -pix_fmt yuv420p -c:a aac "
                    "-ar 44100")
                    .split(' ')
             << source;
        run("ffmpeg", args);
        minute = folder.filePath("minute.mp4");
        run("ffmpeg", {"-v", "error", "-y", "-i", source, "-t", "60", "-c", "copy", minute});

        // Sentences of eight words, 0.45 s a word, a second apart; every sixth cut, every
        // fourth with a pop-up.
        pelix::editor::EditProject edit =
            pelix::editor::newProject(QDateTime::currentDateTimeUtc());
        edit.name = "Bench";
        pelix::editor::SourceClip clip;
        clip.id = QUuid::createUuid();
        clip.path = source;
        clip.duration = 100;
        clip.width = 1920;
        clip.height = 1080;
        clip.transcribed = true;
        double t = 0.5;
        for (int i = 0; t < 98; ++i) {
            QString word = kWords[i % kWords.size()];
            if (i % 8 == 7) word += '.';
            clip.words.push_back({t, t + 0.35, word});
            t += i % 8 == 7 ? 1.45 : 0.45;
        }
        edit.clips = {clip};
        edit.hook = "Three things I learned this week";
        edit.settings.progressBar = true;
        const QString prefix = pelix::editor::upperUuid(clip.id).left(8) + ":";
        for (int line = 0; line < 21; ++line) {
            const QString id = prefix + QString::number(line);
            if (line % 6 == 5) edit.cut.insert(id);
            if (line % 4 == 1) edit.keywords[id] = kWords[(line * 8) % kWords.size()];
        }
        // Cut the lines past a minute.
        for (int line = 0;; ++line) {
            plan = pelix::render::makePlan(edit);
            if (plan.total <= kReelSeconds + 0.5) break;
            edit.cut.insert(prefix + QString::number(20 - line));
        }
        project = folder.filePath("bench.json");
        QFile file(project);
        if (!file.open(QIODevice::WriteOnly)) throw std::runtime_error("cannot write the project");
        file.write(QJsonDocument(pelix::editor::toJson(edit)).toJson());
    }
};

const Media& media() {
    static const Media made;
    return made;
}

// The ffmpeg program's filter graph for the same plan: each kept segment trimmed, cropped
// around the framing at its zoom, scaled to the reel, its sound faded at cuts; all joined, the
// overlay drawn by libass.
QString ffmpegGraph(const RenderPlan& plan, const QString& overlay) {
    const int n = int(plan.pieces.size());
    QString graph = QStringLiteral("[0:v]split=%1").arg(n);
    for (int i = 0; i < n; ++i) graph += QStringLiteral("[s%1]").arg(i);
    graph += QStringLiteral(";[0:a]asplit=%1").arg(n);
    for (int i = 0; i < n; ++i) graph += QStringLiteral("[t%1]").arg(i);
    QString joined;
    for (int i = 0; i < n; ++i) {
        const pelix::render::Piece& p = plan.pieces[size_t(i)];
        const QRectF crop = pelix::render::cropRect({1920, 1080}, plan.size, p.centre, p.zoom);
        const double length = p.sourceEnd - p.sourceStart;
        graph += QStringLiteral(
                     ";[s%1]trim=start=%2:end=%3,setpts=PTS-STARTPTS,"
                     "crop=%4:%5:%6:%7,scale=%8:%9:flags=bicubic,setsar=1,fps=30[v%1]")
                     .arg(i)
                     .arg(p.sourceStart)
                     .arg(p.sourceEnd)
                     .arg(int(crop.width()) / 2 * 2)
                     .arg(int(crop.height()) / 2 * 2)
                     .arg(int(crop.x()) / 2 * 2)
                     .arg(int(crop.y()) / 2 * 2)
                     .arg(plan.size.width())
                     .arg(plan.size.height());
        graph += QStringLiteral(
                     ";[t%1]atrim=start=%2:end=%3,asetpts=PTS-STARTPTS,"
                     "aresample=48000,afade=t=in:d=0.012,afade=t=out:st=%4:d=0.012[a%1]")
                     .arg(i)
                     .arg(p.sourceStart)
                     .arg(p.sourceEnd)
                     .arg(length - 0.012);
        joined += QStringLiteral("[v%1][a%1]").arg(i);
    }
    graph += ";" + joined +
             QStringLiteral("concat=n=%1:v=1:a=1[v][a];[v]ass=%2[out]").arg(n).arg(overlay);
    return graph;
}

void PelixExport(benchmark::State& state) {
    const Media& m = media();
    state.counters["video_s"] = m.plan.total;
    report(state,
           {pelixProgram(), "--edit", "export", m.project, "--out", m.folder.filePath("pelix.mp4")},
           m.plan.total);
}

void FfmpegExport(benchmark::State& state) {
    const Media& m = media();
    const QString overlay = m.folder.filePath("overlay.ass");
    QFile file(overlay);
    if (!file.open(QIODevice::WriteOnly)) throw std::runtime_error("cannot write the overlay");
    file.write(m.plan.overlay.toUtf8());
    file.close();
    report(state,
           {"ffmpeg",
            "-v",
            "error",
            "-y",
            "-i",
            m.source,
            "-filter_complex",
            ffmpegGraph(m.plan, overlay),
            "-map",
            "[out]",
            "-map",
            "[a]",
            "-c:v",
            "libx264",
            "-preset",
            "veryfast",
            "-crf",
            "21",
            "-pix_fmt",
            "yuv420p",
            "-c:a",
            "aac",
            "-b:a",
            "128k",
            "-ac",
            "2",
            "-movflags",
            "+faststart",
            m.folder.filePath("ffmpeg.mp4")},
           m.plan.total);
}

void PelixNewOneMinute(benchmark::State& state) {
    const Media& m = media();
    qputenv("PELIX_EDITOR_DIR", m.folder.filePath("projects").toUtf8());
    report(state, {pelixProgram(), "--edit", "new", m.minute, "--lang", "en-US"}, 60);
}

void FaceFindingOneMinute(benchmark::State& state) {
    const Media& m = media();
    for (auto _ : state) {
        const auto found = pelix::render::findFace(m.minute);
        if (!found) throw std::runtime_error(found.error().message.toStdString());
        state.counters["found"] = found->found;
    }
}

// One after the other, in the same run, on the same machine and input.
BENCHMARK(FfmpegExport)->UseManualTime()->Iterations(2)->Unit(benchmark::kSecond);
BENCHMARK(PelixExport)->UseManualTime()->Iterations(2)->Unit(benchmark::kSecond);
BENCHMARK(PelixNewOneMinute)->UseManualTime()->Iterations(2)->Unit(benchmark::kSecond);
BENCHMARK(FaceFindingOneMinute)->Iterations(3)->Unit(benchmark::kMillisecond);

}  // namespace
