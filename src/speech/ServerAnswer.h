#pragma once

#include "core/Error.h"
#include "core/Word.h"
#include "speech/SpeechEngine.h"

#include <QByteArray>
#include <QJsonArray>
#include <QList>
#include <QString>
#include <QUrl>

// What an OpenAI-compatible transcription server answers (`POST /v1/audio/transcriptions` with
// `response_format=verbose_json`), read into final stretches. Pure functions.
namespace pelix::speech::server {

// Error codes of the transcription server; a refusal carries the HTTP status instead.
enum : int {
    kUnreachable = 2101,  // no answer at all (refused, timed out, no such host)
    kUnreadable = 2102,   // an answer that is not a transcription
};

// The stretches of one piece of sound that began `offset` seconds into the stream and lasted
// `seconds`. Words come, in this order of preference, from the answer's top-level "words", from
// each segment's "words" (sub-word tokens joined into words), or from the segment's time range
// spread over its words by their length; an answer with text alone is spread over the piece.
// Times are on the stream's axis. Fails (kUnreadable, or the server's own error) when the body
// is not a transcription.
Result<QList<SpeechResult>> readAnswer(const QByteArray& body, double offset, double seconds);

// Timed entries ("word" or "text", "start", "end") as words. When some entries begin with white
// space, the server is sending tokens in the leading-space convention: an entry without leading
// space continues the word before it (" wea" + "ther" + "."). Entries without text, and special
// tokens ("[_BEG_]", "<|endoftext|>"), are dropped.
QList<core::Word> joinTokens(const QJsonArray& entries);

// The words of `text` spread over [start, end], each given time in proportion to its length.
QList<core::Word> spreadWords(const QString& text, double start, double end);

// The one sentence for an answer other than a transcription: the server's own message when it
// gives one (with `key` blanked out), else a sentence for the status. `endpoint` is named when
// the address is wrong.
QString refusal(int status, const QByteArray& body, const QUrl& endpoint, const QString& key);

// The sentence for no answer at all.
QString unreachable(const QString& reason);

}  // namespace pelix::speech::server
