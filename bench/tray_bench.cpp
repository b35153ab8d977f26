// The tray application's own work on the main thread: the Alt tap's rule per modifier change,
// and building the body of a braindump of the longest recording (300 s at 64 kbit/s).
#include "app/Gestures.h"
#include "braindump/Braindump.h"

#include <QFile>
#include <QRandomGenerator>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

namespace {

void tapGesture(benchmark::State& state) {
    pelix::app::TapGesture tap;
    double now = 0;
    for (auto _ : state) {
        now += 0.1;
        benchmark::DoNotOptimize(
            tap.modifiers(pelix::platform::Mods{pelix::platform::Mods::kAlt}, now));
        benchmark::DoNotOptimize(tap.modifiers(pelix::platform::Mods{0}, now + 0.05));
    }
    state.SetItemsProcessed(state.iterations() * 2);
}
BENCHMARK(tapGesture);

void braindumpBodyOfLongestRecording(benchmark::State& state) {
    QTemporaryDir dir;
    const QString path = dir.filePath("pelix-1.m4a");
    QByteArray bytes(300 * 64000 / 8, Qt::Uninitialized);
    QRandomGenerator generator(7);
    generator.fillRange(reinterpret_cast<quint32*>(bytes.data()), bytes.size() / 4);
    QFile file(path);
    file.open(QIODevice::WriteOnly);
    file.write(bytes);
    file.close();
    const QJsonObject context{{"input", "voice"}, {"duration_s", 300}};
    for (auto _ : state) {
        auto body = pelix::braindump::braindumpBody(path, context);
        benchmark::DoNotOptimize(body);
    }
    state.SetBytesProcessed(state.iterations() * bytes.size());
}
BENCHMARK(braindumpBodyOfLongestRecording)->Unit(benchmark::kMillisecond);

}  // namespace
