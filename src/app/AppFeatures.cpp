#include "app/AppFeatures.h"

#include "app/Menu.h"
#include "app/Shell.h"
#include "core/Log.h"
#include "core/Prefs.h"
#include "core/Sentences.h"
#include "memos/MemoChooserWindow.h"
#include "memos/MemoSender.h"
#include "memos/VoiceMemoLibrary.h"
#include "memos/VoiceMemoWatcher.h"
#include "notes/NotesImport.h"
#include "service/Api.h"
#include "transcribe/TranscriptWindow.h"

#include <QDir>
#include <QFileInfo>
#include <QMimeDatabase>
#include <QSet>

#include <algorithm>

namespace pelix::app {

AppFeatures::AppFeatures(FeatureParts parts, QObject* parent)
    : QObject(parent), parts_(std::move(parts)), worker_(this) {}

AppFeatures::~AppFeatures() {
    if (importStop_) *importStop_ = true;
}

void AppFeatures::start() {
    if (voiceMemosOn()) parts_.watcher.start();
}

bool AppFeatures::voiceMemosOn() const {
    return parts_.prefs.value("voiceMemos.on", false).toBool();
}

bool AppFeatures::recordingsReadable() const {
    return !memos::VoiceMemoLibrary::closed(parts_.prefs);
}

void AppFeatures::toggleVoiceMemos() {
    setVoiceMemos(!voiceMemosOn());
}

void AppFeatures::setVoiceMemos(bool on) {
    parts_.prefs.setValue("voiceMemos.on", on);
    if (on) {
        parts_.watcher.start();
    } else {
        // A memo already under way finishes; no new look starts.
        parts_.watcher.stop();
        core::logLine("voice memos", "stopped");
    }
}

void AppFeatures::allowRecordings() {
    const QString now = memos::VoiceMemoLibrary::prepare(parts_.prefs);
    const QString start = QFileInfo(now).isDir() ? now : QDir::homePath();
    QPointer<AppFeatures> self(this);
    parts_.shell.chooseFolder(core::sentences::kChooseTheRecordingsFolder, start,
                              [self](const QString& folder) {
                                  if (self) self->setFolder(folder);
                              });
}

void AppFeatures::setFolder(const QString& folder) {
    memos::VoiceMemoLibrary::setFolder(parts_.prefs, folder);
    if (memos::VoiceMemoLibrary::canRead(folder)) {
        parts_.shell.show(core::sentences::readsRecordingsFrom(folder));
    } else {
        parts_.shell.show(core::sentences::kLetPelixRead);
    }
    if (chooser_) chooser_->model().load();
}

void AppFeatures::chooseMemos() {
    if (!chooser_) {
        QPointer<AppFeatures> self(this);
        chooser_ = std::make_unique<memos::MemoChooserWindow>(memos::MemoChooserWindow::Parts{
            .prefs = parts_.prefs,
            .timers = parts_.timers,
            .send = parts_.sender.sendFunction(),
            .setAuto =
                [self](bool on) {
                    if (self) self->setVoiceMemos(on);
                },
            .fetch = parts_.fetch,
            .chime =
                [self] {
                    if (self) self->parts_.shell.play(ui::Sound::done);
                },
        });
        connect(chooser_.get(), &memos::MemoChooserWindow::chooseFolder, this,
                &AppFeatures::allowRecordings);
    }
    if (!chooser_->isVisible()) chooser_->model().load();
    chooser_->show();
    chooser_->raise();
    chooser_->activateWindow();
}

void AppFeatures::sendDropped(const QStringList& files) {
    QStringList sounds;
    for (const QString& file : files) {
        if (memos::drops::isAudioName(QFileInfo(file).fileName())) sounds << file;
    }
    if (sounds.isEmpty()) return;
    if (!dropped_) {
        dropped_ = std::make_unique<memos::drops::Sender>(parts_.sender.sendFunction());
        connect(dropped_.get(), &memos::drops::Sender::show, this,
                [this](const QString& text, memos::drops::State state) {
                    parts_.shell.show(text);
                    if (state == memos::drops::State::done) parts_.shell.play(ui::Sound::done);
                });
    }
    dropped_->sendDropped(sounds);
}

void AppFeatures::importNotes() {
    if (importing_) {
        parts_.shell.show(core::sentences::kAlreadyImporting);
        return;
    }
    QPointer<AppFeatures> self(this);
    auto run = [self](notes::NotesImport::Source source) {
        if (!self) return;
        if (self->importing_) {
            self->parts_.shell.show(core::sentences::kAlreadyImporting);
            return;
        }
        self->importing_ = true;
        self->importStop_ = notes::NotesImport::run(
            self->worker_, self->parts_.api, std::move(source),
            [self](const QString& progress) {
                if (self) self->parts_.shell.show(progress);
            },
            [self](Result<QString> done) {
                if (!self) return;
                self->importing_ = false;
                self->importStop_.reset();
                const QString message = done ? *done : service::Api::describe(done.error());
                self->parts_.shell.show(message);
                Q_EMIT self->importFinished(message);
            });
    };
    if (std::optional<notes::NotesImport::Source> source =
            notes::NotesImport::defaultSource(parts_.prefs)) {
        const Prompt prompt{.title = core::sentences::kBringNotesOver,
                            .text = source->kind == notes::NotesImport::Source::Kind::command
                                        ? core::sentences::kBringNotesOverText
                                        : core::sentences::kImportNotesTip,
                            .accept = core::sentences::kBringThemOver,
                            .reject = core::sentences::kCancel,
                            .other = {}};
        parts_.shell.ask(prompt, [run, source = *source](PromptAnswer answer) {
            if (answer == PromptAnswer::accept) run(source);
        });
        return;
    }
    // No notes app to ask on this machine: the notes come from an exported file.
    parts_.shell.chooseFile(
        core::sentences::kChooseExportedNotes, core::sentences::kExportedNotesFilter,
        [run](const QString& file) { run(notes::NotesImport::fileSource(file)); });
}

void AppFeatures::transcribeVideo() {
    QPointer<AppFeatures> self(this);
    parts_.shell.chooseFile(core::sentences::kTranscribeAVideo, transcribableFilter(),
                            [self](const QString& file) {
                                if (self) self->openTranscript(file);
                            });
}

transcribe::TranscriptWindow* AppFeatures::openTranscript(const QString& file) {
    const QString key = QFileInfo(file).absoluteFilePath();
    auto found = transcripts_.find(key);
    if (found == transcripts_.end()) {
        auto window = std::make_unique<transcribe::TranscriptWindow>(
            parts_.engines, worker_, parts_.api, parts_.prefs, parts_.clock, key);
        QPointer<AppFeatures> self(this);
        // The window is let go once its close has run to the end.
        connect(window.get(), &transcribe::TranscriptWindow::closed, this, [self, key] {
            QMetaObject::invokeMethod(
                self,
                [self, key] {
                    if (self) self->transcripts_.erase(key);
                },
                Qt::QueuedConnection);
        });
        connect(window.get(), &transcribe::TranscriptWindow::saved, this,
                [key] { core::logLine("transcript", "saved " + QFileInfo(key).fileName()); });
        found = transcripts_.emplace(key, std::move(window)).first;
        found->second->show();
        found->second->start();
    }
    transcribe::TranscriptWindow* window = found->second.get();
    window->show();
    window->raise();
    window->activateWindow();
    return window;
}

QString AppFeatures::transcribableFilter() {
    QSet<QString> seen;
    QStringList patterns;
    for (const QMimeType& type : QMimeDatabase().allMimeTypes()) {
        const QString name = type.name();
        if (!name.startsWith(QLatin1String("video/")) && !name.startsWith(QLatin1String("audio/")))
            continue;
        for (const QString& pattern : type.globPatterns()) {
            if (!seen.contains(pattern)) {
                seen.insert(pattern);
                patterns << pattern;
            }
        }
    }
    std::sort(patterns.begin(), patterns.end());
    return core::sentences::videosAndSoundFilter(patterns.join(' '));
}

}  // namespace pelix::app
