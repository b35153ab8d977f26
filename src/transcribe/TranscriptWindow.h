#pragma once

#include "transcribe/TranscriptModel.h"

#include <QWidget>

class QComboBox;
class QFileDialog;
class QLabel;
class QListWidget;
class QPlainTextEdit;
class QPushButton;

namespace pelix::transcribe {

// One media file heard on this machine: a language menu, the pieces heard with their start times,
// the text (filled as the file is heard, then editable), a status line, "Stop" while the file is
// heard, and "Save to Pelix", "Sort it", "Copy" and "Save as…" (the text, or the pieces as SRT or
// WebVTT subtitles). Closing the window stops its transcription.
class TranscriptWindow : public QWidget {
    Q_OBJECT
public:
    // The transcription goes on `worker`, made on this thread, which outlives the window;
    // `engines` outlive the worker's jobs.
    TranscriptWindow(const speech::SpeechEngines& engines, core::Worker& worker, service::Api& api,
                     core::Prefs& prefs, const core::Clock& clock, const QString& file,
                     QWidget* parent = nullptr);
    ~TranscriptWindow() override;

    // Loads the languages and starts hearing the file.
    void start();

    TranscriptModel& model() { return model_; }
    QPlainTextEdit* text() const { return text_; }
    QComboBox* language() const { return language_; }
    QLabel* status() const { return status_; }
    QPushButton* saveButton() const { return save_; }
    QPushButton* sortButton() const { return sort_; }
    QPushButton* copyButton() const { return copy_; }
    QPushButton* stopButton() const { return stop_; }
    QPushButton* saveAsButton() const { return saveAs_; }
    QListWidget* pieces() const { return pieces_; }

    // Asks where to write the text or the subtitles, in a dialog of the window's own.
    void saveAs();
    // Writes the text (or the subtitles, by `filter` or the file's extension) into `file`.
    void writeFile(QString file, const QString& filter);

    // The selection, else the whole text.
    QString selectedOrAll() const;
    void copyIt();

    // The text in the title bar: the file's name.
    static QString title(const QString& file);

Q_SIGNALS:
    void closed();
    void saved();

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void fillLanguages();

    TranscriptModel model_;
    QComboBox* language_;
    QPlainTextEdit* text_;
    QLabel* status_;
    QPushButton* save_;
    QPushButton* sort_;
    QPushButton* copy_;
    QPushButton* stop_;
    QPushButton* saveAs_;
    QListWidget* pieces_;
};

}  // namespace pelix::transcribe
