#pragma once

#include "core/Error.h"
#include "core/Worker.h"
#include "speech/SpeechEngines.h"

#include <QList>
#include <QObject>
#include <QString>
#include <QStringList>

#include <functional>
#include <optional>
#include <stop_token>

namespace pelix::transcribe {

// One final stretch of recognised speech: seconds from the start of the file, the text as
// recognised and its timed words. The engines' final results are exactly that.
using Spoken = speech::SpeechResult;

// Turns the speech in a video or audio file into timed text on this machine. Stateless: the
// engines are handed in.
namespace VideoTranscriber {

// Error codes; every failure but cancellation carries a sentence to show as it stands.
enum : int {
    kUnsupportedLocale = 3001,
    kNoModel = 3002,
    kUnreadable = 3003,
    kCancelled = 3004,
};

// What the transcript shows for a file in which nothing was heard.

// The locale of the machine when an engine serves it, else "en-US".
QString defaultLocale(const speech::SpeechEngines& engines);

// The supported locale and engine for transcribing in a requested locale, or none. A
// transcription server is preferred when one is configured and answers (asking it takes a
// moment: not on the main thread).
std::optional<speech::SpeechEngines::Choice> resolve(const speech::SpeechEngines& engines,
                                                     const QString& locale);

// Every locale some engine supports, once per identifier (the first engine's), sorted by display
// name (stable), for a language menu.
QStringList languages(const speech::SpeechEngines& engines);

using StatusCallback = std::function<void(const QString&)>;
using HeardCallback = std::function<void(const transcribe::Spoken&)>;

// The whole run, on the calling thread (not the main thread: it takes seconds). `words` are
// names and terms to expect. `status` gets "Getting the sound out…" and "Listening…" (and, for
// a file whose sound stops well before the length it states, a sentence saying so); `heard`
// gets each stretch as soon as it is final, in order; both are called on this thread. A stop
// requested through `stop` ends the run at the next check with kCancelled. The temporary sound
// file is removed however the run ends.
Result<QList<transcribe::Spoken>> transcribe(const speech::SpeechEngines& engines,
                                             const QString& file, const QString& locale,
                                             const QStringList& words, const StatusCallback& status,
                                             const HeardCallback& heard, std::stop_token stop = {});

// The same run as a job of `worker`. `status`, `heard` and `done` are called on the worker's
// owner's thread, where `context` lives (queued), and not at all once `context` is gone.
// `engines` must outlive the worker's jobs. Returns the source to request a stop with.
std::stop_source start(core::Worker& worker, const speech::SpeechEngines& engines,
                       const QString& file, const QString& locale, const QStringList& words,
                       QObject* context, StatusCallback status, HeardCallback heard,
                       std::function<void(Result<QList<transcribe::Spoken>>)> done);

// A stretch's text as a transcript shows it: trimmed and cleaned up (withoutActually), then, with
// `sentences`, written as a finished sentence (text::asSentences: capitals, "I", a full stop).
QString pieceText(const QString& heard, bool sentences);

// The stretches as text: a blank line where the pause before a stretch is longer than `gap`
// seconds, else a space; stretches without text are skipped and do not count for the pause. With
// `sentences`, each stretch is its pieceText. The transcript clean-up is applied to the whole.
QString paragraphs(const QList<transcribe::Spoken>& spoken, double gap, bool sentences);

// A media file's length in seconds.
Result<double> duration(const QString& file);

}  // namespace VideoTranscriber

}  // namespace pelix::transcribe
