// A ten-minute voice memo (AAC in M4A, as recorders make them) transcribed by
// `pelix --transcribe --engine server` through the fake transcription server of the tests, against
// curl posting the same file to the same server, in one run and alternating. The server answers
// at once, so the figures are the clients' own: Pelix extracts the sound, decodes it to 16 kHz
// and sends it as WAV (what every server takes, whisper.cpp's included), curl sends the file's
// bytes as they are.

#include "fakes/FakeTranscriptionServer.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <chrono>
#include <stdexcept>

namespace {

constexpr double kMinutes = 10;

void run(const QString& program, const QStringList& args) {
    QProcess process;
    process.start(program, args);
    if (!process.waitForFinished(300000) || process.exitCode() != 0) {
        throw std::runtime_error(
            (program + " failed: " + process.readAllStandardError()).toStdString());
    }
}

// The memo and a home whose preferences name the server, made once.
struct Setup {
    QTemporaryDir folder;
    QString memo;
    pelix::fakes::FakeTranscriptionServer server;

    Setup() {
        const QString spoken = folder.filePath("spoken.wav");
        run("flite", {"-voice", "slt", "-t",
                      "We talked about the budget for next year and agreed to spend less on "
                      "travel. The team will meet again on Monday morning to look at the numbers.",
                      "-o", spoken});
        memo = folder.filePath("memo.m4a");
        run("ffmpeg", {"-v", "error", "-y", "-stream_loop", "-1", "-i", spoken, "-t",
                       QString::number(kMinutes * 60), "-ar", "44100", "-ac", "1", "-c:a", "aac",
                       "-b:a", "64k", memo});
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

QString pelixProgram() {
    const QString configured = qEnvironmentVariable("PELIX_BIN");
    if (!configured.isEmpty()) return configured;
    const QString self = QFileInfo("/proc/self/exe").canonicalFilePath();
    return QFileInfo(self).dir().filePath("../src/app/pelix");
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

void CurlToServer(benchmark::State& state) {
    timed(state, "curl",
          {"-sf", "-o", "/dev/null", setup().server.base() + "/v1/audio/transcriptions", "-F",
           "file=@" + setup().memo, "-F", "model=whisper-1", "-F", "response_format=verbose_json",
           "-F", "timestamp_granularities[]=word", "-F", "timestamp_granularities[]=segment", "-F",
           "language=en"},
          QProcessEnvironment::systemEnvironment());
}

BENCHMARK(CurlToServer)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);
BENCHMARK(PelixThroughServer)->UseManualTime()->Iterations(5)->Unit(benchmark::kMillisecond);

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
