// A ten-minute voice memo (AAC in M4A, as recorders make them) transcribed by
// `pelix --transcribe --engine server` through the fake transcription server of the tests, against
// curl posting the same file to the same server, in one run. The server answers at once, so the
// figures are the clients' own. The memo fits under the upload limit, so Pelix sends the same
// bytes as curl (its sound track copied into an M4A of its own); curl posting the 16 kHz WAV that
// Pelix sends for longer files, or to servers that read only WAV, shows what that transfer costs;
// `pelix --version` shows what starting the program costs.

#include "fakes/FakeTranscriptionServer.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

#include "BenchSupport.h"

#include <benchmark/benchmark.h>

#include <chrono>
#include <stdexcept>

namespace {

constexpr double kMinutes = 10;

using namespace pelix::bench;

// The memo and a home whose preferences name the server, made once.
struct Setup {
    QTemporaryDir folder;
    QString memo;
    QString wav;  // its sound as Pelix sends it: 16 kHz mono WAV
    pelix::fakes::FakeTranscriptionServer server;

    Setup() {
        const QString spoken = speak(
            "We talked about the budget for next year and agreed to spend less on travel. "
            "The team will meet again on Monday morning to look at the numbers.",
            folder.filePath("spoken.wav"));
        memo = folder.filePath("memo.m4a");
        run("ffmpeg", {"-v", "error", "-y", "-stream_loop", "-1", "-i", spoken, "-t",
                       QString::number(kMinutes * 60), "-ar", "44100", "-ac", "1", "-c:a", "aac",
                       "-b:a", "64k", memo});
        wav = folder.filePath("memo.wav");
        run("ffmpeg", {"-v", "error", "-y", "-i", memo, "-ar", "16000", "-ac", "1", wav});
        QDir(folder.path()).mkpath("config/Pelix");
        QFile prefs(folder.filePath("config/Pelix/Pelix.conf"));
        if (!prefs.open(QIODevice::WriteOnly)) throw std::runtime_error("no preferences file");
        prefs.write("[General]\nspeech.server=" + server.base().toUtf8() + "\n");
        prefs.close();
        server.takeAnySound();
        server.answer("We talked about the budget.", pelix::fakes::Shape::segmentTimes);
    }
};

Setup& setup() {
    static Setup made;
    return made;
}

void timed(benchmark::State& state, const QString& program, const QStringList& args,
           const QProcessEnvironment& environment) {
    const qsizetype before = setup().server.calls().size();
    for (auto _ : state) {
        QProcess process;
        process.setProcessEnvironment(environment);
        process.setStandardOutputFile(QProcess::nullDevice());
        process.setStandardErrorFile(QProcess::nullDevice());
        const auto began = std::chrono::steady_clock::now();
        process.start(program, args);
        if (!process.waitForFinished(300000) || process.exitCode() != 0) {
            state.SkipWithError((program + " did not succeed").toStdString().c_str());
            return;
        }
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - began;
        state.SetIterationTime(took.count());
    }
    const qsizetype calls = setup().server.calls().size() - before;
    if (calls != state.iterations()) state.SkipWithError("the server did not hear every run");
    state.counters["sent_MB"] = setup().server.calls().last().bodySize / 1e6;
}

void PelixThroughServer(benchmark::State& state) {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("XDG_CONFIG_HOME", setup().folder.filePath("config"));
    environment.insert("XDG_DATA_HOME", setup().folder.filePath("data"));
    timed(state, pelixProgram(),
          {"--transcribe", setup().memo, "--lang", "en-US", "--engine", "server"}, environment);
}

// Starting the program and nothing else: the part of the run that is not transcription.
void PelixStart(benchmark::State& state) {
    for (auto _ : state) {
        QProcess process;
        process.setStandardOutputFile(QProcess::nullDevice());
        const auto began = std::chrono::steady_clock::now();
        process.start(pelixProgram(), {"--version"});
        if (!process.waitForFinished(30000) || process.exitCode() != 0) {
            state.SkipWithError("pelix --version did not succeed");
            return;
        }
        const std::chrono::duration<double> took = std::chrono::steady_clock::now() - began;
        state.SetIterationTime(took.count());
    }
}

void curl(benchmark::State& state, const QString& file) {
    timed(state, "curl",
          {"-sf", "-o", "/dev/null", setup().server.base() + "/v1/audio/transcriptions", "-F",
           "file=@" + file, "-F", "model=whisper-1", "-F", "response_format=verbose_json", "-F",
           "timestamp_granularities[]=word", "-F", "timestamp_granularities[]=segment", "-F",
           "language=en"},
          QProcessEnvironment::systemEnvironment());
}

void CurlToServer(benchmark::State& state) {
    curl(state, setup().memo);
}

// The same bytes as Pelix sends: what the transfer itself costs.
void CurlWavToServer(benchmark::State& state) {
    curl(state, setup().wav);
}

BENCHMARK(CurlToServer)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK(CurlWavToServer)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK(PelixThroughServer)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK(PelixStart)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
