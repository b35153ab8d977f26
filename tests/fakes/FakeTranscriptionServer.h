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
    QMap<QString, QStringList> fields;  // the form's text fields, in the order they came
    QByteArray audio;                   // the "file" part
    QString filename;
    QString audioType;
    QString authorization;
    qsizetype bodySize = 0;
    QStringList problems;  // what is wrong with it as an OpenAI-compatible transcription

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

// An OpenAI-compatible `POST /v1/audio/transcriptions` on 127.0.0.1. A request with problems (no
// multipart form, WAV "file", "model", verbose_json, word and segment times) gets a 400 naming
// them; others the script ("Hello there." unless told). It records every request.
class FakeTranscriptionServer {
public:
    FakeTranscriptionServer();
    ~FakeTranscriptionServer();
    FakeTranscriptionServer(const FakeTranscriptionServer&) = delete;
    FakeTranscriptionServer& operator=(const FakeTranscriptionServer&) = delete;

    QString base() const;

    // Every request is answered with `text` in `shape`, `delayMs` after it arrived.
    void answer(const QString& text, Shape shape = Shape::topLevelWords, int delayMs = 0);
    // Every request is answered by `respond`, on a server thread; a delay ends with `close`.
    void answerWith(std::function<Reply(const TranscriptionCall&)> respond);

    QList<TranscriptionCall> calls() const;
    bool waitFor(int count, int timeoutMs = 10000) const;
    void close();         // connections are refused from now on
    void takeAnySound();  // not only WAV

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
    int port_ = 0;
};

}  // namespace pelix::fakes
