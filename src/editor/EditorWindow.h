#pragma once

#include "editor/ProjectStore.h"

#include <QWidget>

#include <vector>

class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QLabel;
class QLineEdit;
class QListWidget;
class QPushButton;
class QVBoxLayout;

namespace pelix {

class EditorModel;
struct EditSettings;

// The video editor: the saved videos on the left, the transcript of the open one in the middle
// (numbered lines; a click cuts or restores a line, a double click corrects its text), and the
// settings and the conversation with the editor on the right. Draws `model` and forwards the
// user's actions to it.
class EditorWindow : public QWidget {
    Q_OBJECT
public:
    static constexpr int kWidth = 1180;
    static constexpr int kHeight = 760;
    static constexpr auto kInstructionPlaceholder = "Tell the editor what to change";

    explicit EditorWindow(EditorModel& model, QWidget* parent = nullptr);
    ~EditorWindow() override;

    // The saved videos shown on the left.
    void showVideos(const std::vector<ProjectStore::Entry>& videos);
    // Reads the saved videos from the projects folder.
    void refreshVideos();

    QListWidget* transcript() const { return transcript_; }
    QLineEdit* instruction() const { return instruction_; }
    QLabel* totals() const { return totals_; }

Q_SIGNALS:
    void newVideoClicked();

private:
    void showProject();
    void showSettings();
    void showChat();
    void settingsEdited();
    void send();
    QWidget* makeSettings();

    EditorModel& model_;
    std::vector<ProjectStore::Entry> videos_;
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
    bool showing_ = true;  // settings being shown (or built), not edited
};

// "1:05" for 65 seconds; "1:02:03" from an hour on.
QString clockText(double seconds);

}  // namespace pelix
