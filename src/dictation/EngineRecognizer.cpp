#include "dictation/EngineRecognizer.h"

#include "core/Log.h"
#include "core/Sentences.h"

#include <atomic>

namespace pelix::dictation {
namespace {

// Dictation's sessions: partial texts after every step, the accurate passes once at the end.
speech::SessionOptions liveOptions() {
    speech::SessionOptions options;
    options.partials = true;
    options.live = true;
    return options;
}

}  // namespace

// One recognition, shared by the main thread and the worker. The session is touched on the
// worker only; `cancelled` is set on the main thread and read on both.
struct EngineRecognizer::Run {
    speech::SpeechEngines::Choice choice;
    Updates updates;
    const core::Worker* worker = nullptr;
    std::unique_ptr<speech::SpeechSession> session;
    std::atomic<bool> cancelled = false;

    // Hands an update to the main thread, where it is dropped if the run was cancelled meanwhile.
    // From the worker's jobs only.
    static void report(const std::shared_ptr<Run>& run, Update update) {
        if (run->cancelled) return;
        run->worker->post([run, update = std::move(update)] {
            if (!run->cancelled && run->updates) run->updates(update);
        });
    }
};

EngineRecognizer::EngineRecognizer(Choose choose)
    : choose_(std::move(choose)), worker_(nullptr, 1) {}

EngineRecognizer::~EngineRecognizer() {
    cancel();
}

bool EngineRecognizer::ready() const {
    const std::optional<speech::SpeechEngines::Choice> choice = choose_();
    return choice && choice->engine && choice->engine->installed(choice->locale);
}

void EngineRecognizer::prepare() {
    const std::optional<speech::SpeechEngines::Choice> choice = choose_();
    if (!choice || !choice->engine || !choice->engine->installed(choice->locale)) return;
    worker_.run([choice = *choice] { choice.engine->prepare(choice.locale, liveOptions()); });
}

Status EngineRecognizer::begin(Updates updates) {
    cancel();
    const std::optional<speech::SpeechEngines::Choice> choice = choose_();
    if (!choice || !choice->engine || !choice->engine->installed(choice->locale)) {
        return fail(1, core::sentences::kRecognitionUnavailable);
    }
    auto run = std::make_shared<Run>();
    run->choice = *choice;
    run->updates = std::move(updates);
    run->worker = &worker_;
    run_ = run;
    worker_.run([run] {
        if (run->cancelled) return;
        speech::SessionEvents events;
        std::weak_ptr<Run> weak = run;
        events.partial = [weak](const QString& text) {
            if (auto r = weak.lock()) Run::report(r, {text, false, std::nullopt});
        };
        events.heard = [weak](const QString& text) {
            if (auto r = weak.lock()) Run::report(r, {text, false, std::nullopt, true});
        };
        Result<std::unique_ptr<speech::SpeechSession>> session =
            run->choice.engine->start(run->choice.locale, liveOptions(), std::move(events));
        if (!session) {
            core::logLine("dictation", session.error().message);
            Run::report(run, {std::nullopt, false, session.error()});
            return;
        }
        run->session = std::move(*session);
    });
    return {};
}

void EngineRecognizer::append(const QByteArray& pcm) {
    if (!run_ || pcm.isEmpty()) return;
    worker_.run([run = run_, pcm] {
        if (run->cancelled || !run->session) return;
        const std::span<const int16_t> samples(reinterpret_cast<const int16_t*>(pcm.constData()),
                                               static_cast<size_t>(pcm.size()) / 2);
        if (Status fed = run->session->feed(samples); !fed) {
            run->session.reset();
            Run::report(run, {std::nullopt, false, fed.error()});
        }
    });
}

void EngineRecognizer::endAudio() {
    if (!run_) return;
    worker_.run([run = run_] {
        if (run->cancelled || !run->session) return;
        Result<QString> text = run->session->finish();
        run->session.reset();
        if (text) {
            Run::report(run, {*text, true, std::nullopt});
        } else {
            Run::report(run, {std::nullopt, false, text.error()});
        }
    });
}

void EngineRecognizer::cancel() {
    if (!run_) return;
    std::shared_ptr<Run> run = std::exchange(run_, nullptr);
    run->cancelled = true;
    // The session may be decoding right now: it stops at its next check, and goes on the worker.
    worker_.run([run] {
        if (run->session) run->session->cancel();
        run->session.reset();
    });
}

}  // namespace pelix::dictation
