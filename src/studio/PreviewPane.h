#pragma once

#include <QString>
#include <QWidget>

#include <functional>
#include <memory>
#include <optional>

class QLabel;
class QProgressBar;
class QPushButton;
class QSlider;

namespace pelix::render {
class Renderer;
}  // namespace pelix::render

namespace pelix::studio {

class EditorModel;
class PreviewPlayer;
class VideoExport;

// The preview of the open project with play/pause (the button or Space) and a scrubber on the
// edit's own time, with the time under it, and the export below it: a progress bar while it runs,
// "Cancel", and "Show in folder" when done.
class PreviewPane final : public QWidget {
    Q_OBJECT
public:
    static constexpr int kWidth = 270;
    static constexpr int kPictureHeight = 480;

    // Without a renderer there is neither picture nor export. Exports go into `exportFolder`;
    // `showInFolder` is called with an exported file.
    PreviewPane(EditorModel& model, render::Renderer* renderer, QString exportFolder,
                std::function<void(const QString&)> showInFolder, QWidget* parent = nullptr);
    ~PreviewPane() override;

    PreviewPlayer& player() const { return *player_; }
    // Moves the playhead to `t` once the player has the project as it is now.
    void showAt(double t);
    // Starts an export of the open project; false when one runs or nothing can be exported.
    bool startExport();
    void cancelExport();
    bool exporting() const { return job_ != nullptr; }
    // The last exported file, or empty.
    const QString& exported() const { return exported_; }
    QLabel* status() const { return status_; }

Q_SIGNALS:
    // An export ended: `file` is empty when it failed or was cancelled.
    void exportEnded(const QString& file);

private:
    void projectChanged();
    // Hands the player what changed, after the event that changed it: the window's own update
    // of a click comes first, and changes in quick succession reach the player once.
    void schedule();
    void catchUp();
    void showPosition();
    void showExport();

    EditorModel& model_;
    render::Renderer* renderer_;
    QString exportFolder_;
    std::function<void(const QString&)> showInFolder_;
    std::unique_ptr<PreviewPlayer> player_;
    std::unique_ptr<VideoExport> job_;
    QString exported_;
    bool scheduled_ = false;
    bool projectPending_ = false;
    std::optional<double> seekPending_;
    QWidget* picture_ = nullptr;
    QPushButton* play_ = nullptr;
    QSlider* scrubber_ = nullptr;
    QLabel* time_ = nullptr;
    QPushButton* export_ = nullptr;
    QProgressBar* progress_ = nullptr;
    QPushButton* cancel_ = nullptr;
    QPushButton* show_ = nullptr;
    QLabel* status_ = nullptr;
};

}  // namespace pelix::studio
