#include "dictation/FinishingRecognizer.h"

#include "core/Log.h"
#include "core/Sentences.h"

namespace pelix::dictation {

FinishingRecognizer::FinishingRecognizer(Recognizer& local, Wanted wanted, Hear hear)
    : local_(local), wanted_(std::move(wanted)), hear_(std::move(hear)) {}

FinishingRecognizer::~FinishingRecognizer() {
    abandonPass();
    local_.cancel();
}

bool FinishingRecognizer::ready() const {
    return local_.ready();
}

Status FinishingRecognizer::begin(Updates updates) {
    abandonPass();
    const quint64 run = ++run_;
    updates_ = std::move(updates);
    sound_.clear();
    localFinal_.reset();
    keeping_ = hear_ && wanted_ && wanted_();
    return local_.begin([this, run](const Update& update) {
        if (run == run_) fromLocal(update);
    });
}

void FinishingRecognizer::append(const QByteArray& pcm) {
    if (keeping_) {
        if (sound_.size() + pcm.size() <= kMostBytes) {
            sound_ += pcm;
        } else {
            keeping_ = false;  // longer than any hold: the local text will do
            sound_.clear();
        }
    }
    local_.append(pcm);
}

void FinishingRecognizer::endAudio() {
    local_.endAudio();
    if (!keeping_ || sound_.isEmpty()) return;
    keeping_ = false;
    const quint64 run = run_;
    passing_ = true;
    std::function<void()> abandon =
        hear_(std::exchange(sound_, {}),
              [this, run](Result<QString> text) { fromPass(run, std::move(text)); });
    if (passing_) abandon_ = std::move(abandon);
}

void FinishingRecognizer::fromLocal(const Update& update) {
    if (!updates_) return;
    if (!passing_) return updates_(update);
    if (update.isFinal || (!update.text && update.error)) {
        // The local end waits for the pass; its text is typed meanwhile.
        localFinal_ = update;
        if (update.text) updates_({update.text, false, std::nullopt, true});
        return;
    }
    updates_(update);
}

void FinishingRecognizer::fromPass(quint64 run, Result<QString> text) {
    if (run != run_ || !passing_) return;
    passing_ = false;
    abandon_ = nullptr;
    if (text) {
        failures_ = 0;
        const QString heard = text->trimmed();
        if (!heard.isEmpty()) {
            // Final: the dictation ends, and with it the local recognition.
            localFinal_.reset();
            if (updates_) updates_({heard, true, std::nullopt});
            return;
        }
    } else {
        failed(text.error().message);
    }
    // The local text stands: now, or when the local recogniser ends.
    if (auto held = std::exchange(localFinal_, std::nullopt); held && updates_) updates_(*held);
}

void FinishingRecognizer::failed(const QString& sentence) {
    ++failures_;
    core::logLine(
        "dictation",
        QStringLiteral("finishing pass failed (%1 in a row): ").arg(failures_) + sentence);
    if (failures_ == kFailuresBeforeSaying && onTrouble) onTrouble(sentence);
}

void FinishingRecognizer::abandonPass() {
    passing_ = false;
    if (auto abandon = std::exchange(abandon_, nullptr)) abandon();
}

void FinishingRecognizer::cancel() {
    // Cancelled while the pass is out: the stop bound came first.
    if (passing_) {
        failed(core::sentences::kServerTooSlow);
    }
    abandonPass();
    ++run_;
    keeping_ = false;
    sound_.clear();
    localFinal_.reset();
    local_.cancel();
}

}  // namespace pelix::dictation
