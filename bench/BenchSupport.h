#pragma once

// Helpers the benchmarks share: the programs they start, the media they make with the bare tools
// (flite, ffmpeg), the measuring of a program run to its end, and the typing of text into the
// tests' target window.
#include "dictation/Insert.h"

#include "../tests/support/TargetWindow.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QString>
#include <QStringList>

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <algorithm>
#include <chrono>
#include <stdexcept>
#include <string>
#include <vector>

extern char** environ;

namespace pelix::bench {

// Runs a tool to its end; throws with its standard error when it fails.
inline void run(const QString& program, const QStringList& args) {
    QProcess process;
    process.start(program, args);
    if (!process.waitForFinished(-1) || process.exitCode() != 0) {
        throw std::runtime_error(
            (program + " failed: " + process.readAllStandardError()).toStdString());
    }
}

// `text` spoken by flite into the WAV file `wav`.
inline QString speak(const QString& text, const QString& wav) {
    run("flite", {"-voice", "slt", "-t", text, "-o", wav});
    return wav;
}

// About a minute of plain English, for the speech the benchmarks hear.
inline constexpr auto kMinuteOfText =
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

// A program built with the benchmarks: `variable` when set (ctest sets PELIX_BIN), else `path`
// relative to the build folder.
inline QString builtProgram(const char* variable, const QString& path) {
    const QString configured = qEnvironmentVariable(variable);
    if (!configured.isEmpty()) return configured;
    const QString self = QFileInfo("/proc/self/exe").canonicalFilePath();
    return QFileInfo(self).dir().filePath("../" + path);
}
inline QString pelixProgram() {
    return builtProgram("PELIX_BIN", "src/app/pelix");
}

inline double median(std::vector<double> values) {
    if (values.empty()) return -1;
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

struct Outcome {
    double seconds = 0;
    double cpuSeconds = 0;  // user and system: steadier than wall time on a shared machine
    double peakMegabytes = 0;
};

// Runs a program to its end with its output thrown away: its own wall time, CPU time and peak
// memory.
inline Outcome measure(const QStringList& command) {
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
    const int spawned = posix_spawnp(&child, argv[0], &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) throw std::runtime_error("could not start " + bytes[0].toStdString());
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

// Measures `command` once per iteration: its wall time, and the counters rtf (wall time over
// `mediaSeconds` of media), cpu_s and peak_MB.
inline void report(benchmark::State& state, const QStringList& command, double mediaSeconds) {
    Outcome total;
    for (auto _ : state) {
        const Outcome one = measure(command);
        state.SetIterationTime(one.seconds);
        total.seconds += one.seconds;
        total.cpuSeconds += one.cpuSeconds;
        total.peakMegabytes = std::max(total.peakMegabytes, one.peakMegabytes);
    }
    const double runs = double(state.iterations());
    state.counters["rtf"] = total.seconds / runs / mediaSeconds;
    state.counters["cpu_s"] = total.cpuSeconds / runs;
    state.counters["peak_MB"] = total.peakMegabytes;
}

// Types `text` into the target window once per iteration: the time until the window holds it,
// and the counters chars_per_s (over every iteration) and median_chars_per_s.
inline void typeText(benchmark::State& state, platform::Typist& typist,
                     testing::TargetWindow& window, const QString& text) {
    std::vector<double> took;
    for (auto _ : state) {
        window.clear();
        const qint64 start = window.elapsed();
        dictation::Insert::type(typist, text);
        if (!window.waitForText(text, 60000)) {
            const QString got = window.text();
            qsizetype same = 0;
            while (same < got.size() && same < text.size() && got[same] == text[same]) ++same;
            const std::string why = QString(
                                        "the window did not receive the text: %1 of %2 "
                                        "characters, the first %3 right")
                                        .arg(got.size())
                                        .arg(text.size())
                                        .arg(same)
                                        .toStdString();
            state.SkipWithError(why.c_str());
            return;
        }
        const double seconds = (window.elapsed() - start) / 1000.0;
        state.SetIterationTime(seconds);
        took.push_back(seconds);
    }
    state.counters["chars_per_s"] =
        benchmark::Counter(double(text.size()) * state.iterations(), benchmark::Counter::kIsRate);
    state.counters["median_chars_per_s"] = double(text.size()) / median(took);
}

}  // namespace pelix::bench
