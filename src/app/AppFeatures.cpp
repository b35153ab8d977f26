#include "app/AppFeatures.h"

#include "app/Menu.h"
#include "app/Shell.h"
#include "core/Log.h"
#include "core/Prefs.h"
#include "memos/MemoChooserWindow.h"
#include "memos/MemoSender.h"
#include "memos/VoiceMemoLibrary.h"
#include "memos/VoiceMemoWatcher.h"
#include "notes/NotesImport.h"
#include "transcribe/TranscriptWindow.h"

#include <QDir>
#include <QFileInfo>
#include <QMimeDatabase>
#include <QSet>

#include <algorithm>

namespace pelix {

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
    return VoiceMemoLibrary::canRead(VoiceMemoLibrary::folder(parts_.prefs));
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
        logLine("voice memos", "stopped");
    }
}

void AppFeatures::allowRecordings() {
    const QString now = VoiceMemoLibrary::folder(parts_.prefs);
    const QString start = QFileInfo(now).isDir() ? now : QDir::homePath();
    QPointer<AppFeatures> self(this);
    parts_.shell.chooseFolder(QStringLiteral("Choose the folder your recordings are in"), start,
                              [self](const QString& folder) {
                                  if (self) self->setFolder(folder);
                              });
}

void AppFeatures::setFolder(const QString& folder) {
    VoiceMemoLibrary::setFolder(parts_.prefs, folder);
    if (VoiceMemoLibrary::canRead(folder)) {
        parts_.shell.show("Pelix reads your recordings from " + folder + " now.");
    } else {
        parts_.shell.show(VoiceMemoLibrary::kFolderClosedHint);
    }
    if (chooser_) chooser_->model().load();
}

void AppFeatures::chooseMemos() {
    if (!chooser_) {
        QPointer<AppFeatures> self(this);
        chooser_ = std::make_unique<MemoChooserWindow>(MemoChooserWindow::Parts{
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
        connect(chooser_.get(), &MemoChooserWindow::chooseFolder, this,
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
        if (Drops::isAudioName(QFileInfo(file).fileName())) sounds << file;
    }
    if (sounds.isEmpty()) return;
    if (!dropped_) {
        dropped_ = std::make_unique<Drops::Sender>(parts_.sender.sendFunction());
        connect(dropped_.get(), &Drops::Sender::show, this,
                [this](const QString& text, Drops::State state) {
                    parts_.shell.show(text);
                    if (state == Drops::State::done) parts_.shell.play(ui::Sound::done);
                });
    }
    dropped_->sendDropped(sounds);
}

void AppFeatures::importNotes() {
    if (importing_) {
        parts_.shell.show(kAlreadyImporting);
        return;
    }
    QPointer<AppFeatures> self(this);
    auto run = [self](NotesImport::Source source) {
        if (!self) return;
        if (self->importing_) {
            self->parts_.shell.show(kAlreadyImporting);
            return;
        }
        self->importing_ = true;
        self->importStop_ = NotesImport::run(
            self->worker_, self->parts_.api, std::move(source),
            [self](const QString& progress) {
                if (self) self->parts_.shell.show(progress);
            },
            [self](Result<QString> done) {
                if (!self) return;
                self->importing_ = false;
                self->importStop_.reset();
                const QString message = done ? *done : done.error().message;
                self->parts_.shell.show(message);
                Q_EMIT self->importFinished(message);
            });
    };
    if (std::optional<NotesImport::Source> source = NotesImport::defaultSource(parts_.prefs)) {
        const Prompt prompt{.title = QStringLiteral("Bring Apple Notes into Pelix?"),
                            .text = QString::fromUtf8(kImportNotesTip),
                            .accept = QStringLiteral("Bring them over"),
                            .reject = QStringLiteral("Cancel"),
                            .other = {}};
        parts_.shell.ask(prompt, [run, source = *source](PromptAnswer answer) {
            if (answer == PromptAnswer::accept) run(source);
        });
        return;
    }
    // No notes app to ask on this machine: the notes come from an exported file.
    parts_.shell.chooseFile(QStringLiteral("Choose the exported notes to bring over"),
                            QStringLiteral("Exported notes (*.json)"),
                            [run](const QString& file) { run(NotesImport::fileSource(file)); });
}

void AppFeatures::transcribeVideo() {
    QPointer<AppFeatures> self(this);
    parts_.shell.chooseFile(QStringLiteral("Transcribe a video"), transcribableFilter(),
                            [self](const QString& file) {
                                if (self) self->openTranscript(file);
                            });
}

TranscriptWindow* AppFeatures::openTranscript(const QString& file) {
    const QString key = QFileInfo(file).absoluteFilePath();
    auto found = transcripts_.find(key);
    if (found == transcripts_.end()) {
        auto window = std::make_unique<TranscriptWindow>(parts_.engines, worker_, parts_.api,
                                                         parts_.prefs, parts_.clock, key);
        QPointer<AppFeatures> self(this);
        // The window is let go once its close has run to the end.
        connect(window.get(), &TranscriptWindow::closed, this, [self, key] {
            QMetaObject::invokeMethod(
                self,
                [self, key] {
                    if (self) self->transcripts_.erase(key);
                },
                Qt::QueuedConnection);
        });
        connect(window.get(), &TranscriptWindow::saved, this,
                [key] { logLine("transcript", "saved " + QFileInfo(key).fileName()); });
        found = transcripts_.emplace(key, std::move(window)).first;
        found->second->show();
        found->second->start();
    }
    TranscriptWindow* window = found->second.get();
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
    return "Videos and sound (" + patterns.join(' ') + ")";
}

}  // namespace pelix
