#pragma once

#include "core/Error.h"
#include "core/Prefs.h"
#include "core/Worker.h"
#include "speech/TranscriptionServer.h"

#include <QObject>
#include <QString>

#include <functional>

namespace pelix::speech {

// What the speech settings window edits: where speech is heard (on this computer, or on a
// transcription server with its model and key) and a test of a server with a short recording
// built into Pelix. Main thread; the test runs on a worker thread.
class SpeechSettings : public QObject {
public:
    struct Values {
        QString server;  // the base address; empty: on this computer
        QString model;   // empty: "whisper-1"
        QString key;     // a new key; empty keeps the stored one
    };

    SpeechSettings(core::Prefs prefs, SpeechKeyStore keys, QObject* parent = nullptr);
    ~SpeechSettings() override;

    // What is kept now; the key is never handed out, only whether there is one.
    Values stored() const;
    bool keyStored() const;
    // Keeps `values`: an empty address means on this computer, an empty model the default, and
    // a key typed replaces the stored one.
    Status save(const Values& values);
    Status forgetKey();

    // Transcribes the built-in recording with `values` (not kept yet) and calls `done` later, on
    // this thread, with one line to show and whether the server heard it. A new test or the end
    // of this object drops the one before.
    void test(const Values& values, std::function<void(const QString& line, bool heard)> done);

    // The built-in recording ("Pelix can hear you."), 16 kHz mono 16-bit PCM.
    static QByteArray sample();

private:
    core::Prefs prefs_;
    SpeechKeyStore keys_;
    std::function<void()> stopTest_;
    core::Worker worker_;
};

}  // namespace pelix::speech
