#pragma once

#include "editor/ProjectStore.h"

#include <QSize>
#include <QString>
#include <QWidget>

#include <functional>
#include <memory>
#include <vector>

class QCheckBox;
class QDragEnterEvent;
class QDragLeaveEvent;
class QDropEvent;
class QFileDialog;
class QComboBox;
class QDoubleSpinBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class QResizeEvent;
class QScrollArea;
class QVBoxLayout;

namespace pelix::dictation {
class LiveDictation;
}  // namespace pelix::dictation
namespace pelix::speech {
class SpeechEngines;
}  // namespace pelix::speech
namespace pelix::editor {
struct EditSettings;
}  // namespace pelix::editor
namespace pelix::render {
class Renderer;
}  // namespace pelix::render

namespace pelix::studio {

class ClipImport;
class EditorModel;
class PreviewPane;

// What the editor window works with beside its model; each may be missing, and then what needs
// it says it is not available.
struct EditorTools {
    render::Renderer* renderer = nullptr;            // the preview and the export
    const speech::SpeechEngines* engines = nullptr;  // transcribes dropped clips
    dictation::LiveDictation* dictation = nullptr;   // the microphone button of the conversation
    QString exportFolder;                            // empty: Pelix in the user's videos folder
    // Shows an exported file in the file manager; empty: the folder opens through the desktop.
    std::function<void(const QString& file)> showInFolder;
};

// The video editor: the saved videos on the left, the transcript of the open one (numbered
// lines; a click cuts or restores a line and shows it in the preview, a click on its number only
// shows it, F2 corrects its text), the preview and the export, and the settings and the
// conversation with the editor on the right. Video files dropped on the window (it is outlined
// while they are over it) or chosen with "Add clips…" (Ctrl+O) become clips: of a new video, or
// of the open one when it has clips already. Draws `model` and forwards the user's actions to it.
//
// The window opens at kWidth×kHeight, or the screen's free space when smaller, and can be
// resized and maximised down to a minimum that fits a 1280×720 screen with a panel: the
// transcript takes what the fixed columns leave, the preview's picture shrinks with the height,
// and the settings scroll.
class EditorWindow : public QWidget {
    Q_OBJECT
public:
    static constexpr int kWidth = 1440;
    static constexpr int kHeight = 800;
    static constexpr QSize kMinimum{1180, 640};

    explicit EditorWindow(EditorModel& model, EditorTools tools = {}, QWidget* parent = nullptr);
    ~EditorWindow() override;

    // The saved videos shown on the left.
    void showVideos(const std::vector<editor::ProjectStore::Entry>& videos);
    // Reads the saved videos from the projects folder.
    void refreshVideos();

    QListWidget* transcript() const { return transcript_; }
    QLineEdit* instruction() const { return instruction_; }
    QLabel* totals() const { return totals_; }
    PreviewPane* preview() const { return preview_; }
    QLabel* importProgress() const { return importing_; }
    QLabel* status() const { return status_; }

    // Makes clips of media files as a drop does: transcribed on a worker, then a new video (with
    // the service's first pass) or more clips of the open one. False when it cannot start.
    bool addFiles(const QStringList& files);
    bool importing() const { return import_ != nullptr; }
    // An empty project to drop clips into.
    void newVideo();
    // Opens the file chooser for clips (window-modal, Qt's own); the chosen files go to addFiles.
    QFileDialog* chooseClips();
    // The outline shown while files are dragged over the window.
    QWidget* dropHighlight() const { return dropHighlight_; }

Q_SIGNALS:
    void newVideoClicked();

protected:
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dragLeaveEvent(QDragLeaveEvent* event) override;
    void dropEvent(QDropEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void showProject();
    void showSettings();
    void showChat();
    void settingsEdited();
    void send();
    void microphone();
    QWidget* makeSettings();

    EditorModel& model_;
    EditorTools tools_;
    std::unique_ptr<ClipImport> import_;
    bool dictating_ = false;
    PreviewPane* preview_ = nullptr;
    QLabel* importing_ = nullptr;
    QWidget* settingsCard_ = nullptr;
    QPushButton* mic_ = nullptr;
    std::vector<editor::ProjectStore::Entry> videos_;
    QListWidget* videoList_ = nullptr;
    QLabel* name_ = nullptr;
    QLabel* totals_ = nullptr;
    QListWidget* transcript_ = nullptr;
    QComboBox* format_ = nullptr;
    QLineEdit* spokenLanguage_ = nullptr;
    QCheckBox* captions_ = nullptr;
    QComboBox* captionLanguage_ = nullptr;
    QComboBox* captionStyle_ = nullptr;
    QDoubleSpinBox* captionSize_ = nullptr;
    QComboBox* captionPosition_ = nullptr;
    QCheckBox* visuals_ = nullptr;
    QCheckBox* punchIns_ = nullptr;
    QCheckBox* keywordPops_ = nullptr;
    QCheckBox* hookTitle_ = nullptr;
    QCheckBox* progressBar_ = nullptr;
    QComboBox* pace_ = nullptr;
    QCheckBox* removeFillers_ = nullptr;
    QDoubleSpinBox* target_ = nullptr;
    QVBoxLayout* chat_ = nullptr;
    QLabel* status_ = nullptr;
    QLineEdit* instruction_ = nullptr;
    QPushButton* send_ = nullptr;
    QScrollArea* chatScroll_ = nullptr;
    QWidget* dropHighlight_ = nullptr;
    bool showing_ = true;  // settings being shown (or built), not edited
};

// "1:05" for 65 seconds; "1:02:03" from an hour on.
QString clockText(double seconds);

}  // namespace pelix::studio
