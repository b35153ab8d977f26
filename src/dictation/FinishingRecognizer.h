#pragma once

#include "dictation/LiveDictation.h"

#include <QByteArray>

#include <functional>
#include <optional>

namespace pelix::dictation {

// Live recognition with a finishing pass: a local recogniser hears the sound as it comes (its
// partial texts are typed as usual), and when the sound ends the whole of it goes to a second,
// better recogniser (a transcription server). Its text, when it comes, is the final one; until
// then the local final text stands in as a partial one, and when the pass fails the local text
// is final. The dictation's stop bound still holds: a pass that has not answered by then is
// abandoned and counted as a failure. Failures stay quiet until several come in a row. Main
// thread only, like LiveDictation.
class FinishingRecognizer final : public Recognizer {
public:
    static constexpr int kFailuresBeforeSaying = 3;
    // Sound kept for the pass: 10 minutes of 16 kHz 16-bit mono, well above any hold.
    static constexpr qsizetype kMostBytes = 10 * 60 * 32000;

    using Heard = std::function<void(Result<QString>)>;
    // Hears a whole stretch of 16 kHz mono 16-bit PCM and calls `done` later on the calling
    // thread; the returned function abandons the hearing (no call after it).
    using Hear = std::function<std::function<void()>(const QByteArray& pcm, Heard done)>;
    // Whether a finishing pass is to be made now (a server is configured).
    using Wanted = std::function<bool()>;

    FinishingRecognizer(Recognizer& local, Wanted wanted, Hear hear);
    ~FinishingRecognizer() override;

    // Told one sentence when kFailuresBeforeSaying passes in a row have failed.
    std::function<void(const QString&)> onTrouble;

    bool ready() const override;
    Status begin(Updates updates) override;
    void append(const QByteArray& pcm) override;
    void endAudio() override;
    void cancel() override;

private:
    void fromLocal(const Update& update);
    void fromPass(quint64 run, Result<QString> text);
    void failed(const QString& sentence);
    void abandonPass();

    Recognizer& local_;
    Wanted wanted_;
    Hear hear_;
    Updates updates_;
    QByteArray sound_;
    bool keeping_ = false;
    bool passing_ = false;
    // The pass under way: how to abandon it, and the local final update held back meanwhile.
    std::function<void()> abandon_;
    std::optional<Update> localFinal_;
    quint64 run_ = 0;
    int failures_ = 0;
};

}  // namespace pelix::dictation
