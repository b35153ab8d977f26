// One minute of flite speech, heard by `pelix --transcribe` and by the bare engine
// (pocketsphinx_continuous from Debian's pocketsphinx package) on the same audio, in one run:
// wall time, real-time factor and peak memory of each, and the extraction and decoding that
// Pelix adds.

#include "media/AudioDecoder.h"
#include "media/Media.h"
#include "speech/PocketSphinxEngine.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

#include "BenchSupport.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <chrono>
#include <stdexcept>

extern char** environ;

namespace {

constexpr double kSeconds = 60.0;

using pelix::bench::run;

// The recording, made once: flite reads a text of about a minute, padded or cut to exactly one
// minute; as a 16 kHz mono WAV for the bare engine and as a video with AAC sound for Pelix.
struct Recording {
    QTemporaryDir folder;
    QString wav, video;

    Recording() {
        const QString text =
            "The quick brown fox jumps over the lazy dog. Please bring the report and a cup of "
            "coffee. The weather is nice today, so we can walk to the park. We talked about the "
            "budget for next year and agreed to spend less on travel. The team will meet again "
            "on Monday morning to look at the numbers. Remember to call the bank before noon. "
            "The children played in the garden until it was dark. She said the train was late "
            "again, and everyone waited on the platform. I would like to read a good book this "
            "weekend. The new office has large windows and a view of the river. Write down three "
            "things you want to finish this week. The store closes at six in the evening. We "
            "should plant more trees along the street. The music was loud, but the food was "
            "very good. My sister moved to a small town near the coast last spring. The doctor "
            "asked me to come back in two weeks. We need to order new chairs for the meeting "
            "room. It rained all night, and the roads were still wet in the morning. Thank you "
            "for listening to this recording.";
        const QString spoken = folder.filePath("spoken.wav");
        run("flite", {"-voice", "slt", "-t", text, "-o", spoken});
        const QString clean = folder.filePath("clean.wav");
        run("ffmpeg", {"-v", "error", "-y", "-i", spoken, "-af", "apad", "-t",
                       QString::number(kSeconds), "-ar", "16000", "-ac", "1", clean});
        video = folder.filePath("minute.mp4");
        const QStringList mux{"-v",
                              "error",
                              "-y",
                              "-f",
                              "lavfi",
                              "-i",
                              "testsrc=size=320x240:rate=25",
                              "-i",
                              clean,
                              "-t",
                              QString::number(kSeconds),
                              "-c:v",
                              "libx264",
                              "-preset",
                              "ultrafast",
                              "-pix_fmt",
                              "yuv420p",
                              "-c:a",
                              "aac",
                              "-b:a",
                              "64k",
                              video};
        run("ffmpeg", mux);
        // The bare engine hears the video's own sound track, decoded as Pelix decodes it.
        wav = folder.filePath("minute.wav");
        run("ffmpeg", {"-v", "error", "-y", "-i", video, "-vn", "-ar", "16000", "-ac", "1", wav});
    }
};

const Recording& recording() {
    static const Recording made;
    return made;
}

QString pelixProgram() {
    const QString configured = qEnvironmentVariable("PELIX_BIN");
    if (!configured.isEmpty()) return configured;
    const QString self = QFileInfo("/proc/self/exe").canonicalFilePath();
    return QFileInfo(self).dir().filePath("../src/app/pelix");
}

struct Outcome {
    double seconds = 0;
    double cpuSeconds = 0;  // user and system: steadier than wall time on a shared machine
    double peakMegabytes = 0;
};

// Runs a program to its end with its output thrown away; its own wall time and peak memory.
Outcome measure(const QStringList& command) {
    std::vector<QByteArray> bytes;
    for (const QString& part : command) bytes.push_back(part.toLocal8Bit());
    std::vector<char*> argv;
    for (QByteArray& part : bytes) argv.push_back(part.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
    const auto began = std::chrono::steady_clock::now();
    pid_t child = 0;
    if (posix_spawnp(&child, argv[0], &actions, nullptr, argv.data(), environ) != 0) {
        posix_spawn_file_actions_destroy(&actions);
        throw std::runtime_error("could not start " + bytes[0].toStdString());
    }
    posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    rusage usage{};
    wait4(child, &status, 0, &usage);
    const std::chrono::duration<double> took = std::chrono::steady_clock::now() - began;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        throw std::runtime_error(bytes[0].toStdString() + " did not succeed");
    }
    const auto cpu = [](const timeval& t) { return t.tv_sec + t.tv_usec / 1e6; };
    return {took.count(), cpu(usage.ru_utime) + cpu(usage.ru_stime), usage.ru_maxrss / 1024.0};
}

void report(benchmark::State& state, const QStringList& command) {
    Outcome total;
    for (auto _ : state) {
        const Outcome one = measure(command);
        state.SetIterationTime(one.seconds);
        total.seconds += one.seconds;
        total.cpuSeconds += one.cpuSeconds;
        total.peakMegabytes = std::max(total.peakMegabytes, one.peakMegabytes);
    }
    const double runs = static_cast<double>(state.iterations());
    state.counters["rtf"] = total.seconds / runs / kSeconds;
    state.counters["cpu_s"] = total.cpuSeconds / runs;
    state.counters["peak_MB"] = total.peakMegabytes;
}

void PelixTranscribe(benchmark::State& state) {
    report(state, {pelixProgram(), "--transcribe", recording().video, "--lang", "en-US"});
}

void BareEngine(benchmark::State& state) {
    const QString models = pelix::PocketSphinxEngine::systemModelFolder() + "/en-us";
    report(state, {"pocketsphinx_continuous", "-infile", recording().wav, "-hmm", models + "/en-us",
                   "-lm", models + "/en-us.lm.bin", "-dict", models + "/cmudict-en-us.dict",
                   "-logfn", "/dev/null"});
}

void ExtractOneMinute(benchmark::State& state) {
    for (auto _ : state) {
        auto sound = pelix::media::extractAudio(recording().video);
        if (!sound) throw std::runtime_error(sound.error().message.toStdString());
        state.PauseTiming();
        QFile::remove(*sound);
        state.ResumeTiming();
    }
}

void DecodeOneMinuteTo16k(benchmark::State& state) {
    for (auto _ : state) {
        auto pcm = pelix::media::decodeAll(recording().video, 16000);
        benchmark::DoNotOptimize(pcm);
    }
}

// The two programs alternate, so that both see the same machine.
BENCHMARK(BareEngine)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(PelixTranscribe)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);
BENCHMARK(ExtractOneMinute)->Unit(benchmark::kMillisecond);
BENCHMARK(DecodeOneMinuteTo16k)->Unit(benchmark::kMillisecond);

}  // namespace
