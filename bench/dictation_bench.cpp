// Typing through XTest into a Qt window, and live dictation from the virtual microphone into it.
// Figures: characters per second typed; live dictation through the real `pelix`, timed from
// outside (from the sound played into the microphone to the first characters in the window, from
// the release of Ctrl to the live and the finished text standing); the word error of the live
// text, the finished text and the configuration files use; from the release of the key to a
// transcription server's text standing in the window. Needs the test session
// (scripts/with-desktop), the `pelix` of the same build (or PELIX_BIN) and the typing target from
// its tests (or PELIX_TYPING_TARGET).
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
#include "service/TokenStore.h"
#include "speech/PocketSphinxEngine.h"
#include "speech/TranscriptionServerEngine.h"

#include <QGuiApplication>
#include <QProcess>
#include <QTemporaryDir>

#include <benchmark/benchmark.h>

// Last: its X headers define macros (Status, None, Bool) that the names above would clash with.
#include "support/DesktopSession.h"
#undef Status
#undef None
#undef Bool

#include <pulse/simple.h>

#include <algorithm>
#include <atomic>
#include <map>
#include <memory>
#include <numeric>
#include <stdexcept>
#include <thread>
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

// The sentences dictated, spoken by flite (the voice named first) into WAV files.
struct Spoken {
    QString text;
    QString voice;
    QString wav;
    std::vector<int16_t> pcm;
};

std::vector<Spoken> speakAll(const QString& folder) {
    const std::pair<const char*, const char*> sentences[] = {
        {"The weather is nice today and we will go for a walk in the park.", "slt"},
        {"Please bring the report and a cup of coffee to the meeting.", "rms"},
        {"I think we should call the bank before noon on Monday.", "awb"},
    };
    std::vector<Spoken> spoken;
    for (const auto& [text, voice] : sentences) {
        Spoken s{text, voice, folder + "/" + voice + ".wav", {}};
        pelix::bench::run("flite", {"-voice", voice, "-t", text, "-o", s.wav});
        auto pcm = pelix::media::decodeAll(s.wav, 16000);
        if (!pcm) throw std::runtime_error(pcm.error().message.toStdString());
        s.pcm = std::move(*pcm);
        spoken.push_back(std::move(s));
    }
    return spoken;
}

// The sentences spoken into `folder`, or none with the benchmark skipped for why.
std::vector<Spoken> speakAllOrSkip(benchmark::State& state, const QString& folder) {
    try {
        return speakAll(folder);
    } catch (const std::exception& e) {
        state.SkipWithError(e.what());
        return {};
    }
}

// Where the first loud sample is, in samples from the start.
size_t onsetOf(const std::vector<int16_t>& pcm) {
    for (size_t i = 0; i < pcm.size(); ++i) {
        if (std::abs(pcm[i]) >= 600) return i;
    }
    return 0;
}

// Plays sound into the virtual microphone's sink on a thread of its own, in 10 ms writes into a
// stream that holds 20 ms, and notes on `clock` when its first loud sample sounded: the moment
// the write that held it returned, plus what the stream still held before it (the server's own
// latency figure).
class Player {
public:
    Player(const TargetWindow& clock, const std::vector<int16_t>& pcm) : clock_(clock) {
        thread_ = std::thread([this, &pcm] { play(pcm); });
    }
    ~Player() { thread_.join(); }
    double onsetMs() const { return onset_; }
    bool done() const { return done_; }

private:
    void play(const std::vector<int16_t>& pcm) {
        const pa_sample_spec format{PA_SAMPLE_S16LE, 16000, 1};
        const pa_buffer_attr attr{uint32_t(-1), 640, uint32_t(-1), uint32_t(-1), uint32_t(-1)};
        int error = 0;
        pa_simple* stream = pa_simple_new(nullptr, "dictation_bench", PA_STREAM_PLAYBACK, "vsink",
                                          "speech", &format, nullptr, &attr, &error);
        if (stream) {
            const size_t loud = onsetOf(pcm);
            for (size_t at = 0; at < pcm.size(); at += 160) {
                const size_t n = std::min<size_t>(160, pcm.size() - at);
                pa_simple_write(stream, pcm.data() + at, n * 2, &error);
                if (loud >= at && loud < at + n) {
                    const pa_usec_t held = pa_simple_get_latency(stream, &error);
                    onset_ = double(clock_.elapsed()) + held / 1000.0 - double(at + n - loud) / 16;
                }
            }
            pa_simple_drain(stream, &error);
            pa_simple_free(stream);
        }
        done_ = true;
    }

    const TargetWindow& clock_;
    std::atomic<double> onset_ = -1;
    std::atomic<bool> done_ = false;
    std::thread thread_;
};

double wordError(const QString& said, const QString& heard) {
    return pelix::testing::wordErrorRate(pelix::testing::spokenWords(said),
                                         pelix::testing::spokenWords(heard));
}

// Live dictation as a person lives it, timed from outside the program: the real `pelix` in the
// test session, Ctrl held through XTest for five seconds from the start of the speech, which is
// played into the virtual microphone; the typing target notes every change of its text. The
// clock starts when the first loud sample sounds in the microphone's sink and stops when the
// window's text changes: to the first characters; from the release of Ctrl to the live text's
// final form (the first text after the release that ends in the full stop) and to the finished
// text (the last change, when the accurate pass has had its say). The word errors are those of
// the live and the finished text.
void BM_DictationFromOutside(benchmark::State& state) {
    pelix::testing::IsolatedHome home;
    const std::vector<Spoken> spoken = speakAllOrSkip(state, home.path());
    if (spoken.empty()) return;
    QProcessEnvironment env;
    env.insert("PELIX_API_BASE", "http://127.0.0.1:9");  // never reached
    qputenv("PELIX_BIN", QFile::encodeName(pelixProgram()));
    pelix::service::TokenStore(home.dataDir()).write("pelix_bench");
    TargetWindow& window = target();
    pelix::testing::PelixProcess pelix(env);
    pelix::testing::Keyboard keys;
    if (!pelix.saw("tray: ready", 20000) || !keys.ok()) {
        state.SkipWithError("pelix did not start in the test session");
        return;
    }
    // The model loads when the tray starts; the first hold is not to wait for it here either.
    TargetWindow::spin([] { return false; }, 6000);

    std::vector<double> first, live, finished, liveError, finishedError;
    std::map<std::string, std::vector<double>> firstByVoice;
    size_t round = 0;
    for (auto _ : state) {
        const Spoken& s = spoken[round++ % spoken.size()];
        window.clear();
        window.focus();
        keys.key(XK_Control_L, true);
        const int done = pelix.count("dictation: done");
        if (!pelix.saw("dictation: typing into typing-target", 5000)) {
            keys.key(XK_Control_L, false);
            state.SkipWithError("the hold did not start dictation");
            return;
        }
        TargetWindow::spin([] { return false; }, 300);
        double released = 0;
        {
            Player player(window, s.pcm);
            TargetWindow::spin([&] { return player.onsetMs() >= 0; }, 5000);
            const double onset = player.onsetMs();
            TargetWindow::spin([&] { return window.elapsed() >= onset + 5000; }, 10000);
            keys.key(XK_Control_L, false);
            released = double(window.elapsed());
            TargetWindow::spin([&] { return pelix.count("dictation: done") > done; }, 6000);
            TargetWindow::spin([] { return false; }, 300);

            const auto& seen = window.history();
            const auto typed = std::ranges::find_if(
                seen, [](const auto& x) { return !x.text.trimmed().isEmpty(); });
            const auto standing = std::ranges::find_if(seen, [&](const auto& x) {
                return x.ms >= released && x.text.trimmed().endsWith('.');
            });
            if (typed == seen.end() || standing == seen.end() || onset < 0) {
                state.SkipWithError("nothing was typed");
                return;
            }
            first.push_back(double(typed->ms) - onset);
            firstByVoice[s.voice.toStdString()].push_back(first.back());
            std::fprintf(stderr,
                         "round %zu (%s): first characters %.0f ms, \"%s\"; finished \"%s\"\n",
                         round, qPrintable(s.voice), first.back(), qPrintable(typed->text),
                         qPrintable(seen.back().text));
            live.push_back(double(standing->ms) - released);
            finished.push_back(double(seen.back().ms) - released);
            liveError.push_back(wordError(s.text, standing->text));
            finishedError.push_back(wordError(s.text, seen.back().text));
        }
    }
    state.counters["first_chars_ms_median"] = median(first);
    state.counters["first_chars_ms_least"] = *std::ranges::min_element(first);
    state.counters["first_chars_ms_most"] = *std::ranges::max_element(first);
    // Each voice's own, to set beside its floor in sound (BM_FirstCharactersInSound).
    for (const auto& [voice, times] : firstByVoice) {
        state.counters["first_chars_ms_" + voice] = median(times);
    }
    state.counters["release_to_live_text_ms_median"] = median(live);
    state.counters["release_to_finished_text_ms_median"] = median(finished);
    state.counters["live_word_error_median"] = median(liveError);
    state.counters["finished_word_error_median"] = median(finishedError);
}
BENCHMARK(BM_DictationFromOutside)->Iterations(5)->Unit(benchmark::kSecond);

// The word error of the three ways of hearing the same recordings, in one run: the live
// configuration as dictation types it, the finished text (the same session's accurate passes)
// and the configuration dictation had before, which files still use (a tenth of a second at a
// time, second passes at every pause).
void BM_WordErrorByConfiguration(benchmark::State& state) {
    QTemporaryDir dir;
    const std::vector<Spoken> spoken = speakAllOrSkip(state, dir.path());
    if (spoken.empty()) return;
    pelix::speech::PocketSphinxEngine engine(pelix::speech::PocketSphinxEngine::systemModelFolder(),
                                             dir.path());
    std::vector<double> live, finished, before;
    for (auto _ : state) {
        for (const Spoken& s : spoken) {
            QString heard;
            pelix::speech::SessionOptions options;
            options.partials = options.live = true;
            pelix::speech::SessionEvents events;
            events.heard = [&](const QString& text) { heard = text; };
            auto session = engine.start("en-US", options, events);
            for (size_t at = 0; session && at < s.pcm.size(); at += 160) {
                (*session)->feed(
                    std::span(s.pcm).subspan(at, std::min<size_t>(160, s.pcm.size() - at)));
            }
            auto plain = engine.start("en-US", {}, {});
            if (!session || !plain) {
                state.SkipWithError("PocketSphinx did not start");
                return;
            }
            const auto accurate = (*session)->finish();
            for (size_t at = 0; at < s.pcm.size(); at += 1600) {
                (*plain)->feed(
                    std::span(s.pcm).subspan(at, std::min<size_t>(1600, s.pcm.size() - at)));
            }
            const auto old = (*plain)->finish();
            if (!accurate || !old) {
                state.SkipWithError("PocketSphinx did not hear the recordings");
                return;
            }
            live.push_back(wordError(s.text, heard));
            finished.push_back(wordError(s.text, *accurate));
            before.push_back(wordError(s.text, *old));
        }
    }
    const auto mean = [](const std::vector<double>& v) {
        return v.empty() ? -1 : std::accumulate(v.begin(), v.end(), 0.0) / double(v.size());
    };
    state.counters["live_word_error"] = mean(live);
    state.counters["finished_word_error"] = mean(finished);
    state.counters["before_word_error"] = mean(before);
}
BENCHMARK(BM_WordErrorByConfiguration)->Iterations(1)->Unit(benchmark::kSecond);

// The floor of the first characters, counted in sound rather than on the clock: each sentence
// after 300 ms of silence, fed to the live session in 10 ms steps as the microphone hands it
// over, with nothing else to wait for. A partial text comes some sound after the first loud
// sample; the debounce types the first one that no other follows within 150 ms of sound. What
// the clock adds to this (capture, decoding on a busy machine, typing) is the rest of the
// measure from outside.
void BM_FirstCharactersInSound(benchmark::State& state) {
    QTemporaryDir dir;
    const std::vector<Spoken> spoken = speakAllOrSkip(state, dir.path());
    if (spoken.empty()) return;
    pelix::speech::PocketSphinxEngine engine(pelix::speech::PocketSphinxEngine::systemModelFolder(),
                                             dir.path());
    constexpr size_t kLead = 300 * 16;
    for (auto _ : state) {
        for (const Spoken& s : spoken) {
            std::vector<int16_t> pcm(kLead, 0);
            pcm.insert(pcm.end(), s.pcm.begin(), s.pcm.end());
            const double onset = double(onsetOf(pcm)) / 16;
            size_t fed = 0;
            std::vector<double> partials;  // ms of sound after the onset
            pelix::speech::SessionOptions options;
            options.partials = options.live = true;
            pelix::speech::SessionEvents events;
            events.partial = [&](const QString&) { partials.push_back(double(fed) / 16 - onset); };
            auto session = engine.start("en-US", options, events);
            if (!session) {
                state.SkipWithError("PocketSphinx did not start");
                return;
            }
            for (size_t at = 0; at < pcm.size(); at += 160) {
                const size_t n = std::min<size_t>(160, pcm.size() - at);
                fed = at + n;
                (*session)->feed(std::span(pcm).subspan(at, n));
            }
            (*session)->cancel();
            if (partials.empty()) continue;
            double typed = partials.back() + 150;
            for (size_t i = 0; i + 1 < partials.size(); ++i) {
                if (partials[i + 1] >= partials[i] + 150) {
                    typed = partials[i] + 150;
                    break;
                }
            }
            state.counters["first_partial_ms_" + s.voice.toStdString()] = partials.front();
            state.counters["first_chars_ms_" + s.voice.toStdString()] = typed;
        }
    }
}
BENCHMARK(BM_FirstCharactersInSound)->Iterations(1)->Unit(benchmark::kSecond);

// The sentence the finishing pass hears, spoken by flite into `wav`.
bool speak(const QString& wav) {
    try {
        pelix::bench::speak("The weather is nice today and we will go for a walk in the park.",
                            wav);
        return true;
    } catch (const std::exception&) {
        return false;
    }
}

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
    QString typedBefore;   // what the dictation had typed then
    const pelix::dictation::LiveDictation* typing = nullptr;
    pelix::dictation::FinishingRecognizer finishing(
        recognizer, [] { return true; },
        [&](const QByteArray& sound, pelix::dictation::FinishingRecognizer::Heard done) {
            auto session = onServer.start("en-US", {}, {});
            return pelix::speech::hearInBackground(
                serverWork, std::move(*session), sound,
                [&, done = std::move(done)](pelix::Result<QString> text) {
                    answered = stopwatch.elapsed();
                    typedBefore = typing->typed();
                    done(std::move(text));
                });
        });
    pelix::core::SystemClock clock;
    const auto desktop = pelix::platform::makeDesktop({.clock = clock, .cacheDir = dir.path()});
    RecordingMicrophone microphone;
    pelix::core::QtTimers timers;
    pelix::dictation::LiveDictation live(finishing, microphone, desktop->typist(), timers);
    live.sentences = true;  // as the application types: the capital costs no retyping
    typing = &live;

    std::vector<double> ours, total, pass, correcting, unpaused;
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
        correcting.push_back(standing - answered);
        // The pause after erasing that lets the window catch up: 1.5 ms a character, at most 40.
        const qsizetype erased = pelix::dictation::correction(typedBefore, corrected + " ").erase;
        unpaused.push_back(standing - released - delayMs -
                           double(std::min<qsizetype>(erased, 40)) * 1.5);
    }
    state.counters["release_to_text_ms_median"] = median(total);
    state.counters["ours_ms_median"] = median(ours);
    // Of which: sending the hold and reading the answer, and correcting the window's text.
    state.counters["pass_ms_median"] = median(pass);
    state.counters["correcting_ms_median"] = median(correcting);
    // Pelix's own part less the pause after erasing.
    state.counters["ours_without_pause_ms_median"] = median(unpaused);
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
