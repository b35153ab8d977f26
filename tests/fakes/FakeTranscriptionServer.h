#pragma once

#include "fakes/LoopbackBackend.h"

#include <QByteArray>
#include <QList>
#include <QMap>
#include <QString>
#include <QStringList>

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace pelix::fakes {

// One transcription request as the fake server saw it.
struct TranscriptionCall {
    QString path;
    // The text fields of the multipart form, by name, in the order they came.
    QMap<QString, QStringList> fields;
    // The "file" part.
    QByteArray audio;
    QString filename;
    QString audioType;
    // The Authorization header; empty when there was none.
    QString authorization;
    // The size of the whole request body.
    qsizetype bodySize = 0;
    // What is wrong with the request as an OpenAI-compatible transcription; empty when nothing.
    QStringList problems;

    QString field(const QString& name) const { return fields.value(name).value(0); }
    // The samples of a 16-bit mono WAV `audio`, and their length at its rate.
    std::vector<int16_t> samples() const;
    double seconds() const;
};

// The three shapes servers answer `verbose_json` in.
enum class Shape {
    topLevelWords,  // "words" beside "segments", one entry per word (OpenAI)
    segmentTokens,  // each segment's "words" are sub-word tokens with leading spaces (whisper.cpp)
    segmentTimes,   // segments with times and text only
};

// What a server would answer for hearing `text` in `seconds` of sound: the words spread evenly
// from 0.1 s to `seconds` − 0.1 s, a segment per sentence, in the shape asked for.
QByteArray transcriptionAnswer(const QString& text, double seconds, Shape shape);

// An OpenAI-compatible transcription server on 127.0.0.1 and a free port, serving in threads of
// its own: `POST /v1/audio/transcriptions` (a 404 elsewhere). It checks each request (multipart
// form, a WAV "file", "model", "response_format" verbose_json, word and segment times) and
// answers one with problems with 400 and the problems as the error message; others as scripted
// (by default the text "Hello there." with top-level words). It records every request.
class FakeTranscriptionServer {
public:
    FakeTranscriptionServer();
    ~FakeTranscriptionServer();
    FakeTranscriptionServer(const FakeTranscriptionServer&) = delete;
    FakeTranscriptionServer& operator=(const FakeTranscriptionServer&) = delete;

    // The base address to configure ("http://127.0.0.1:PORT").
    QString base() const;

    // Every request is answered with `text` in `shape`, `delayMs` after it arrived.
    void answer(const QString& text, Shape shape = Shape::topLevelWords, int delayMs = 0);
    // Every request is answered by `respond`, on a server thread. A reply's delay is waited out
    // unless the server is closed meanwhile.
    void answerWith(std::function<Reply(const TranscriptionCall&)> respond);

    QList<TranscriptionCall> calls() const;
    // Waits (running the Qt event loop, if any) until `count` requests have arrived.
    bool waitFor(int count, int timeoutMs = 10000) const;
    // Stops serving: connections are refused from now on.
    void close();
    // Takes any sound file, not only WAV (for comparing with other clients).
    void takeAnySound();

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
    int port_ = 0;
};

}  // namespace pelix::fakes
