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

#include <stdexcept>

namespace {

constexpr double kSeconds = 60.0;

using namespace pelix::bench;

// The recording, made once: flite reads a text of about a minute, padded or cut to exactly one
// minute; as a 16 kHz mono WAV for the bare engine and as a video with AAC sound for Pelix.
struct Recording {
    QTemporaryDir folder;
    QString wav, video;

    Recording() {
        const QString spoken = speak(kMinuteOfText, folder.filePath("spoken.wav"));
        const QString clean = folder.filePath("clean.wav");
        run("ffmpeg", {"-v", "error", "-y", "-i", spoken, "-af", "apad", "-t",
                       QString::number(kSeconds), "-ar", "16000", "-ac", "1", clean});
        video = folder.filePath("minute.mp4");
        run("ffmpeg", QString("-v error -y -f lavfi -i testsrc=size=320x240:rate=25 -i").split(' ')
                          << clean << "-t" << QString::number(kSeconds)
                          << QString("-c:v libx264 -preset ultrafast -pix_fmt yuv420p -c:a aac "
                                     "-b:a 64k")
                                 .split(' ')
                          << video);
        // The bare engine hears the video's own sound track, decoded as Pelix decodes it.
        wav = folder.filePath("minute.wav");
        run("ffmpeg", {"-v", "error", "-y", "-i", video, "-vn", "-ar", "16000", "-ac", "1", wav});
    }
};

const Recording& recording() {
    static const Recording made;
    return made;
}

void PelixTranscribe(benchmark::State& state) {
    report(state, {pelixProgram(), "--transcribe", recording().video, "--lang", "en-US"}, kSeconds);
}

void BareEngine(benchmark::State& state) {
    const QString models = pelix::speech::PocketSphinxEngine::systemModelFolder() + "/en-us";
    report(
        state,
        {"pocketsphinx_continuous", "-infile", recording().wav, "-hmm", models + "/en-us", "-lm",
         models + "/en-us.lm.bin", "-dict", models + "/cmudict-en-us.dict", "-logfn", "/dev/null"},
        kSeconds);
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
