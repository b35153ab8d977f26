// Typing through XTest into a Qt window, and live dictation from the virtual microphone into it.
// Figures: characters per second typed; from the first word in the microphone stream to the
// first characters in the window; from the end of the speech in the stream to its final text
// standing in the window; from the release of the key to a transcription server's text standing
// in the window. Needs the test session (scripts/with-desktop) and the typing target from the
// tests of the same build (or its path in PELIX_TYPING_TARGET).
#include "BenchSupport.h"
#include "app/AppDictation.h"
#include "core/Prefs.h"
#include "dictation/EngineRecognizer.h"
#include "dictation/FinishingRecognizer.h"
#include "dictation/Insert.h"
#include "dictation/LiveDictation.h"
#include "fakes/FakeTranscriptionServer.h"
#include "media/AudioDecoder.h"
#include "platform/Desktop.h"
#include "speech/TranscriptionServerEngine.h"

#include <QGuiApplication>
#include <QProcess>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <vector>

namespace {

using namespace pelix::bench;
using pelix::testing::TargetWindow;

QString targetProgram() {
    return builtProgram("PELIX_TYPING_TARGET", "tests/dictation/pelix-typing-target");
}

std::unique_ptr<TargetWindow> window;

TargetWindow& target() {
    if (!window) {
        window = std::make_unique<TargetWindow>(targetProgram());
        if (!window->ready()) throw std::runtime_error("the typing target never got the focus");
    }
    return *window;
}

void typeText(benchmark::State& state, const QString& text) {
    QTemporaryDir dir;
    pelix::core::SystemClock clock;
    const auto desktop = pelix::platform::makeDesktop({.clock = clock, .cacheDir = dir.path()});
    pelix::bench::typeText(state, desktop->typist(), target(), text);
}

void BM_TypeEnglish(benchmark::State& state) {
    typeText(state, QString("remember to call the plumber about the kitchen sink on tuesday ")
                        .repeated(16));  // 1,008 characters
}
BENCHMARK(BM_TypeEnglish)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);

void BM_TypeUnicode(benchmark::State& state) {
    typeText(state, QString::fromUtf8("Grüße aus Köln — 日本語のテキスト, ÀÉÎ ø ł ").repeated(10));
}
BENCHMARK(BM_TypeUnicode)->UseManualTime()->Iterations(3)->Unit(benchmark::kMillisecond);

// The microphone, noting when the first and the last loud sample of the stream arrived.
class TimedMicrophone final : public pelix::platform::Microphone {
public:
    TimedMicrophone(const TargetWindow& clock, pelix::platform::Microphone& real)
        : clock_(clock), real_(real) {}
    pelix::Status start(int rate, Samples samples) override {
        onset = end = -1;
        return real_.start(rate, [this, rate, samples](const QByteArray& pcm) {
            const auto* s = reinterpret_cast<const int16_t*>(pcm.constData());
            const qsizetype n = pcm.size() / 2;
            const double now = clock_.elapsed();
            for (qsizetype i = 0; i < n; ++i) {
                if (std::abs(s[i]) < 600) continue;
                // A sample was heard as long before the block's arrival as it is from its end.
                const double at = now - 1000.0 * double(n - 1 - i) / rate;
                if (onset < 0) onset = at;
                end = at;
            }
            samples(pcm);
        });
    }
    void stop() override { real_.stop(); }
    double onset = -1, end = -1;

private:
    const TargetWindow& clock_;
    pelix::platform::Microphone& real_;
};

// The sentence both benchmarks dictate, spoken by flite into `wav`.
bool speak(const QString& wav) {
    try {
        pelix::bench::speak("The weather is nice today and we will go for a walk in the park.",
                            wav);
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

void BM_DictationLatency(benchmark::State& state) {
    QTemporaryDir dir;
    const QString speech = dir.filePath("speech.wav");
    if (!speak(speech)) {
        state.SkipWithError("flite could not make speech");
        return;
    }
    TargetWindow& window = target();
    pelix::speech::SpeechEngines engines = pelix::speech::SpeechEngines::standard();
    pelix::dictation::EngineRecognizer recognizer(
        [&] { return pelix::app::dictationEngine(engines); });
    pelix::core::SystemClock clock;
    const auto desktop = pelix::platform::makeDesktop({.clock = clock, .cacheDir = dir.path()});
    TimedMicrophone microphone(window, desktop->microphone());
    pelix::platform::Typist& typist = desktop->typist();
    pelix::core::QtTimers timers;
    pelix::dictation::LiveDictation live(recognizer, microphone, typist, timers);

    std::vector<double> first, final;
    for (auto _ : state) {
        window.clear();
        if (!live.start(true)) {
            state.SkipWithError("live dictation did not start");
            return;
        }
        QProcess player;
        player.start("paplay", {"-d", "vsink", speech});
        player.waitForStarted();
        TargetWindow::spin([&] { return player.state() == QProcess::NotRunning; }, 20000);
        TargetWindow::spin([] { return false; }, 1500);
        std::optional<QString> done;
        live.stop([&](const QString& text) { done = text; });
        TargetWindow::spin([&] { return done.has_value(); }, 5000);
        TargetWindow::spin([] { return false; }, 200);

        const auto& seen = window.history();
        const auto typed =
            std::find_if(seen.begin(), seen.end(), [](const auto& s) { return !s.text.isEmpty(); });
        if (!done || done->isEmpty() || typed == seen.end() || microphone.onset < 0) {
            state.SkipWithError("nothing was recognised");
            return;
        }
        first.push_back(typed->ms - microphone.onset);
        // The final text stands from the last change that did not already show it.
        double standing = seen.back().ms;
        for (auto s = seen.rbegin(); s != seen.rend() && s->text.trimmed() == *done; ++s) {
            standing = s->ms;
        }
        final.push_back(standing - microphone.end);
    }
    state.counters["first_chars_ms_median"] = median(first);
    state.counters["final_text_ms_median"] = median(final);
}
BENCHMARK(BM_DictationLatency)->Iterations(5)->Unit(benchmark::kSecond);

// A microphone that hands over a recording at once, as fast as it is asked for.
class RecordingMicrophone final : public pelix::platform::Microphone {
public:
    pelix::Status start(int, Samples samples) override {
        samples_ = std::move(samples);
        return {};
    }
    void stop() override {}
    void play(const std::vector<int16_t>& pcm) {
        for (size_t at = 0; at < pcm.size(); at += 1600) {
            const size_t n = std::min<size_t>(1600, pcm.size() - at);
            samples_(QByteArray(reinterpret_cast<const char*>(pcm.data() + at),
                                static_cast<qsizetype>(n * 2)));
        }
    }

private:
    Samples samples_;
};

// From the release of the key to the transcription server's text standing in the window, with
// the server answering `state.range(0)` ms after the sound arrived; Pelix's own part is that
// time less the server's. PocketSphinx hears the sentence while the key is held, as in use.
void BM_FinishingPass(benchmark::State& state) {
    const int delayMs = static_cast<int>(state.range(0));
    const QString corrected = "The weather is nice today, and we'll go for a walk in the park.";
    QTemporaryDir dir;
    const QString speech = dir.filePath("speech.wav");
    if (!speak(speech)) {
        state.SkipWithError("flite could not make speech");
        return;
    }
    const auto pcm = pelix::media::decodeAll(speech, 16000);
    if (!pcm) {
        state.SkipWithError("the speech could not be decoded");
        return;
    }
    pelix::fakes::FakeTranscriptionServer server;
    server.answer(corrected, pelix::fakes::Shape::segmentTokens, delayMs);
    pelix::core::Prefs prefs(dir.filePath("Pelix.conf"));
    prefs.setValue("speech.server", server.base());
    pelix::speech::TranscriptionServerEngine onServer(prefs,
                                                      pelix::speech::SpeechKeyStore(dir.path()));

    TargetWindow& window = target();
    pelix::speech::SpeechEngines engines =
        pelix::speech::SpeechEngines::standard(pelix::speech::SpeechEngines::Kind::local);
    pelix::dictation::EngineRecognizer recognizer(
        [&] { return pelix::app::dictationEngine(engines); });
    QObject home;
    pelix::core::Worker serverWork(&home, 1);
    const TargetWindow& stopwatch = window;
    double answered = -1;  // when the server's text reached the main thread
    pelix::dictation::FinishingRecognizer finishing(
        recognizer, [] { return true; },
        [&](const QByteArray& sound, pelix::dictation::FinishingRecognizer::Heard done) {
            auto session = onServer.start("en-US", {}, {});
            return pelix::speech::hearInBackground(
                serverWork, std::move(*session), sound,
                [&, done = std::move(done)](pelix::Result<QString> text) {
                    answered = stopwatch.elapsed();
                    done(std::move(text));
                });
        });
    pelix::core::SystemClock clock;
    const auto desktop = pelix::platform::makeDesktop({.clock = clock, .cacheDir = dir.path()});
    RecordingMicrophone microphone;
    pelix::core::QtTimers timers;
    pelix::dictation::LiveDictation live(finishing, microphone, desktop->typist(), timers);

    std::vector<double> ours, total, pass, typing;
    for (auto _ : state) {
        window.clear();
        if (!live.start(true)) {
            state.SkipWithError("live dictation did not start");
            return;
        }
        microphone.play(*pcm);
        TargetWindow::spin([] { return false; }, 1500);
        const qint64 released = window.elapsed();
        live.stop([](const QString&) {});
        if (!window.waitForText(corrected + " ", 5000)) {
            state.SkipWithError("the server's text did not arrive");
            return;
        }
        const auto& seen = window.history();
        double standing = seen.back().ms;
        for (auto s = seen.rbegin(); s != seen.rend() && s->text == corrected + " "; ++s) {
            standing = s->ms;
        }
        total.push_back(standing - released);
        ours.push_back(standing - released - delayMs);
        pass.push_back(answered - released - delayMs);
        typing.push_back(standing - answered);
    }
    state.counters["release_to_text_ms_median"] = median(total);
    state.counters["ours_ms_median"] = median(ours);
    // Of which: sending the hold and reading the answer, and correcting the window's text.
    state.counters["pass_ms_median"] = median(pass);
    state.counters["correcting_ms_median"] = median(typing);
}
BENCHMARK(BM_FinishingPass)->Arg(0)->Arg(200)->Arg(500)->Iterations(5)->Unit(benchmark::kSecond);

}  // namespace

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    window.reset();
    return 0;
}
