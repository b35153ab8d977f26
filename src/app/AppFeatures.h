#pragma once

#include "core/Timers.h"
#include "core/Worker.h"
#include "memos/Drops.h"

#include <QObject>
#include <QPointer>
#include <QString>

#include <atomic>
#include <functional>
#include <map>
#include <memory>

namespace pelix::service {
class Api;
}  // namespace pelix::service
namespace pelix::core {
class Clock;
class Prefs;
}  // namespace pelix::core
namespace pelix::memos {
class MemoChooserWindow;
class MemoSender;
class VoiceMemoWatcher;
}  // namespace pelix::memos
namespace pelix::speech {
class SpeechEngines;
}  // namespace pelix::speech
namespace pelix::transcribe {
class TranscriptWindow;
}  // namespace pelix::transcribe

namespace pelix::app {

class Shell;

struct FeatureParts {
    core::Prefs& prefs;
    service::Api& api;
    const core::Clock& clock;
    core::Timers& timers;
    // The status line, sounds and the questions asked of the user.
    Shell& shell;
    memos::MemoSender& sender;
    memos::VoiceMemoWatcher& watcher;
    const speech::SpeechEngines& engines;
    memos::drops::Fetch fetch;
};

// What the tray menu reaches beyond recording: the voice memo watcher and its switch, the memo
// chooser (which also takes dropped recordings), the notes import, and one transcript window
// per media file. Main thread.
class AppFeatures : public QObject {
    Q_OBJECT
public:
    explicit AppFeatures(FeatureParts parts, QObject* parent = nullptr);
    ~AppFeatures() override;

    // Start-up: the watcher, when automatic sending is on.
    void start();

    // "Send new voice memos to Pelix": flips "voiceMemos.on" and starts or stops the watcher.
    void toggleVoiceMemos();
    bool voiceMemosOn() const;
    // Whether the recordings folder can be read now.
    bool recordingsReadable() const;
    // "⚠ Allow Pelix to read the recordings folder…": asks where the recordings are.
    void allowRecordings();

    // "Send voice memos…" and the "voice-memos" link: the memo chooser, brought to the front.
    void chooseMemos();
    memos::MemoChooserWindow* chooser() const { return chooser_.get(); }

    // Files dropped somewhere without a pill of its own (the badge): the sound files among them
    // are sent one at a time, with the messages in the status line.
    void sendDropped(const QStringList& files);

    // "Import notes…": asks, then brings the notes over with progress in the status line.
    void importNotes();
    bool importing() const { return importing_; }

    // "Transcribe a video…": asks for a file and opens its window.
    void transcribeVideo();
    // The window of `file`, made and started unless one is open, brought to the front.
    transcribe::TranscriptWindow* openTranscript(const QString& file);
    int transcriptCount() const { return static_cast<int>(transcripts_.size()); }

    // The file dialog's filter: every video and sound type the desktop knows.
    static QString transcribableFilter();

Q_SIGNALS:
    void importFinished(const QString& message);

private:
    void setVoiceMemos(bool on);
    void setFolder(const QString& folder);

    FeatureParts parts_;
    std::unique_ptr<memos::MemoChooserWindow> chooser_;
    std::unique_ptr<memos::drops::Sender> dropped_;
    // Reads notes and hears videos; the windows go first and stop their runs as they go.
    core::Worker worker_;
    std::map<QString, std::unique_ptr<transcribe::TranscriptWindow>> transcripts_;
    bool importing_ = false;
    std::shared_ptr<std::atomic_bool> importStop_;
};

}  // namespace pelix::app
