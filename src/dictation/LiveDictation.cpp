#include "dictation/LiveDictation.h"

#include "core/Graphemes.h"
#include "core/Sentences.h"
#include "dictation/Insert.h"
#include "speech/SpeechEngine.h"
#include "text/CleanUp.h"
#include "text/SentenceText.h"

#include <QCoreApplication>
#include <QMetaObject>
#include <QPointer>

#include <algorithm>

namespace pelix::dictation {
namespace {

// Erasing waits 1.5 ms per character, at most 60 ms, before anything is typed after it.
constexpr qsizetype kBackspacePauseCap = 40;
constexpr std::chrono::microseconds kBackspacePause{1500};

}  // namespace

Correction correction(const QString& typed, const QString& wanted) {
    const QList<qsizetype> old = core::graphemeBounds(typed);
    const QList<qsizetype> now = core::graphemeBounds(wanted);
    const qsizetype common = std::min(old.size(), now.size()) - 1;
    qsizetype same = 0;  // characters in the common prefix
    while (same < common && old[same + 1] == now[same + 1] &&
           QStringView(typed).sliced(old[same], old[same + 1] - old[same]) ==
               QStringView(wanted).sliced(now[same], now[same + 1] - now[same])) {
        ++same;
    }
    return {old.size() - 1 - same, wanted.mid(now[same])};
}

LiveDictation::LiveDictation(Recognizer& recognizer, platform::Microphone& microphone,
                             platform::Typist& typist, core::Timers& timers, QObject* parent)
    : QObject(parent),
      recognizer_(recognizer),
      microphone_(microphone),
      typist_(typist),
      timers_(timers) {}

LiveDictation::~LiveDictation() {
    if (!ended_) {
        stopListening();
        recognizer_.cancel();
    }
}

void LiveDictation::requestAuthorization(const Recognizer& recognizer,
                                         std::function<void(bool)> answer) {
    const bool ready = recognizer.ready();
    QMetaObject::invokeMethod(
        QCoreApplication::instance(), [ready, answer = std::move(answer)] { answer(ready); },
        Qt::QueuedConnection);
}

Status LiveDictation::start(bool typing) {
    if (!recognizer_.ready()) return fail(1, core::sentences::kRecognitionUnavailable);
    // A session still running (or its stop still waiting) gives way to the new one.
    if (!ended_) {
        ended_ = true;
        stopListening();
        recognizer_.cancel();
    }
    apply_.reset();
    bound_.reset();
    finish_ = nullptr;
    typesIntoApp_ = typing;
    typed_.clear();
    latest_.clear();
    ended_ = false;

    QPointer<LiveDictation> self(this);
    if (Status begun = recognizer_.begin([self](const Recognizer::Update& update) {
            if (self) self->handle(update);
        });
        !begun) {
        ended_ = true;
        return fail(1, core::sentences::kRecognitionUnavailable);
    }
    Status listening = microphone_.start(
        speech::kSpeechSampleRate, [this](const QByteArray& pcm) { recognizer_.append(pcm); });
    if (!listening) {
        ended_ = true;
        recognizer_.cancel();
        return listening;
    }
    listening_ = true;
    return {};
}

void LiveDictation::handle(const Recognizer::Update& update) {
    if (ended_) return;
    if (update.text) {
        const bool settled = update.isFinal || update.standing;
        QString text = shaped(*update.text, settled);
        // A partial that reads as the text already waiting changes nothing: the wait goes on.
        if (!settled && text == latest_) return;
        latest_ = std::move(text);
        if (onText) onText(latest_);
        if (update.isFinal) {
            complete();
        } else if (update.standing) {
            applyLatest();
        } else {
            scheduleApply();
        }
    } else if (update.error) {
        complete();
    }
}

QString LiveDictation::shaped(const QString& heard, bool finished) const {
    const QString cleaned = text::withoutActually(heard);
    return sentences ? text::asSentences(cleaned, finished) : cleaned;
}

void LiveDictation::scheduleApply() {
    apply_ = timers_.after(kDebounceSeconds, [this] { applyLatest(); });
}

void LiveDictation::applyLatest() {
    apply_.reset();
    if (!typesIntoApp_ || ended_) return;
    correctTo(latest_);
}

void LiveDictation::correctTo(const QString& text) {
    const QString wanted = text::withFirstLetterOf(typed_, text);
    const Correction change = correction(typed_, wanted);
    backspace(change.erase);
    if (!change.insert.isEmpty()) Insert::type(typist_, change.insert);
    typed_ = wanted;
}

void LiveDictation::backspace(qsizetype count) {
    if (count < 1) return;
    typist_.press(platform::Key::backspace, false, static_cast<int>(count));
    typist_.pause(std::min(count, kBackspacePauseCap) * kBackspacePause);
}

void LiveDictation::stopListening() {
    if (!listening_) return;
    listening_ = false;
    microphone_.stop();
}

void LiveDictation::complete() {
    if (ended_) return;
    ended_ = true;
    apply_.reset();
    stopListening();
    recognizer_.cancel();
    QString final = latest_.trimmed();
    if (typesIntoApp_) {
        // The trailing space leaves the cursor ready for the next dictation.
        correctTo(final.isEmpty() ? QString() : final + ' ');
        latest_ = typed_;
        final = typed_.trimmed();
    }
    if (auto finish = std::exchange(finish_, nullptr)) finish(final);
}

void LiveDictation::stop(std::function<void(const QString&)> finish) {
    if (finish_) return;
    if (ended_) {
        // The session ended on its own (a recognition error): its text is already final.
        if (finish) finish(latest_.trimmed());
        return;
    }
    finish_ = std::move(finish);
    // The microphone hands over what it still holds before the audio is closed.
    stopListening();
    recognizer_.endAudio();
    bound_ = timers_.after(kStopBoundSeconds, [this] { complete(); });
}

void LiveDictation::cancel(bool erase) {
    finish_ = nullptr;
    const bool wasRunning = !ended_;
    ended_ = true;
    apply_.reset();
    bound_.reset();
    stopListening();
    if (wasRunning) recognizer_.cancel();
    if (erase && typesIntoApp_ && !typed_.isEmpty()) backspace(core::graphemeCount(typed_));
    typed_.clear();
    latest_.clear();
}

}  // namespace pelix::dictation
