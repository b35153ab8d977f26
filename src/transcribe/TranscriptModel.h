#pragma once

#include "transcribe/VideoTranscriber.h"

#include <QDateTime>
#include <QJsonObject>
#include <QObject>
#include <QString>
#include <QStringList>

#include <optional>
#include <stop_token>

namespace pelix::service {
class Api;
}  // namespace pelix::service
namespace pelix::core {
class Clock;
class Prefs;
}  // namespace pelix::core

namespace pelix::transcribe {

// The transcript window's state for one media file: the language, the run that hears the file
// (live text as stretches become final, then the whole text in paragraphs), the status line, and
// saving and sorting the text through the backend. Main thread; the run and the file's facts
// are worked out on a worker of the caller's. Dropping the model stops its run.
class TranscriptModel : public QObject {
    Q_OBJECT
public:
    static constexpr double kGap = 1.5;
    static constexpr qsizetype kSortLimit = 12000;
    static constexpr double kSaveLimit = 90;
    static constexpr double kSortLimitSeconds = 90;

    // The runs go on `worker`, made on this thread, which outlives the model; `engines` outlive
    // the worker's jobs.
    TranscriptModel(const speech::SpeechEngines& engines, core::Worker& worker, service::Api& api,
                    core::Prefs& prefs, const core::Clock& clock, QString file,
                    QObject* parent = nullptr);
    ~TranscriptModel() override;

    // Loads the languages and starts hearing the file in the remembered one.
    void start();
    // Remembers `locale` in "transcribeLanguage", clears the text and hears the file again.
    void chooseLanguage(const QString& locale);
    // Stops the run; what was heard stays.
    void stop();

    const QString& file() const { return file_; }
    const QStringList& languages() const { return languages_; }
    const QString& language() const { return language_; }
    bool listening() const { return listening_; }
    // The stretches heard so far, cleaned, each with its start and end in the file.
    const QList<transcribe::Spoken>& pieces() const { return pieces_; }
    // The file's length in seconds; 0 until known.
    double duration() const { return duration_; }
    const QString& status() const { return status_; }
    void showStatus(const QString& text);

    // Files the text as a note in "Videos", under the same identifier every time.
    void save(const QString& text);
    bool saved() const { return saved_; }
    QString saveTitle() const;
    // Sends the text (the selection, else everything) to be sorted into tasks and notes.
    void sort(const QString& text);

    // "0:12", "1:15", "1:35:00".
    static QString clock(double seconds);

    // What "Save as…" writes: the text as it stands, or the pieces heard as subtitles.
    enum class FileKind { text, srt, vtt };
    // The kind a file name asks for by its extension, if any.
    static std::optional<FileKind> kindOf(const QString& fileName);
    static QString extension(FileKind kind);  // "txt"
    static QString fileText(FileKind kind, const QString& text,
                            const QList<transcribe::Spoken>& pieces);
    // Runs of characters between white space.
    static int wordCount(const QString& text);
    // The status once the whole text stands.
    static QString finishedLine(int words, double seconds);
    // The body of "import-notes" for the text.
    static QJsonObject noteBody(const QString& id, const QString& title, const QString& text,
                                const QDateTime& now, const std::optional<QDateTime>& made);

Q_SIGNALS:
    void statusChanged(const QString& text);
    // The text was emptied for a new run.
    void cleared();
    // `piece` (with its separator) goes at the end of the text; `heard` is the stretch it came
    // from, cleaned, now the last of pieces().
    void appended(const QString& piece, const transcribe::Spoken& heard);
    // The whole text, once the run has ended; pieces() are final too.
    void replaced(const QString& text);
    void listeningChanged(bool listening);
    void savedToPelix();

private:
    struct Facts {
        double duration = 0;
        QString id;
        std::optional<QDateTime> made;
    };
    void transcribe();
    void append(const transcribe::Spoken& spoken);
    void finish(const QList<transcribe::Spoken>& spoken);
    void setListening(bool on);

    const speech::SpeechEngines& engines_;
    core::Worker& worker_;
    service::Api& api_;
    core::Prefs& prefs_;
    const core::Clock& clock_;
    QString file_;
    QStringList languages_;
    QList<transcribe::Spoken> pieces_;
    QString language_;
    QString status_;
    std::optional<Facts> facts_;
    double duration_ = 0;
    double lastEnd_ = 0;
    bool liveEmpty_ = true;
    // Whether this run's pieces are written as sentences ("dictation.sentences").
    bool sentences_ = true;
    bool listening_ = false;
    bool saved_ = false;
    int run_ = 0;
    std::stop_source stop_;
};

}  // namespace pelix::transcribe
