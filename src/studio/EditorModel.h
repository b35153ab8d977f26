#pragma once

#include "core/Timers.h"
#include "editor/Captions.h"
#include "editor/EditProject.h"
#include "editor/Emphasis.h"
#include "editor/Timeline.h"
#include "studio/EditAssistant.h"

#include <QObject>
#include <QString>
#include <QStringList>

#include <memory>
#include <optional>
#include <vector>

namespace pelix::studio {

// The project open in the editor window and everything drawn from it. Every change is one step
// of the undo history, recomputes the lines, segments, timeline, captions, zooms and pop-ups, and
// saves the project a moment later (changes in quick succession are saved once). Answers of the
// assistant are taken on the model's thread.
class EditorModel final : public QObject {
    Q_OBJECT

public:
    // How long after the last change the project is saved.
    static constexpr double kSaveDelay = 0.8;

    // `assistant` may be null: then first passes, revisions and translations fail.
    EditorModel(core::Timers& timers, EditAssistant* assistant, QObject* parent = nullptr);
    // Saves a change still waiting.
    ~EditorModel() override;

    // Makes `project` the open project with an empty history; nothing is saved until it changes.
    void open(editor::EditProject project);
    // Opens a project that has just been made: as `open`, and it is saved a moment later.
    void start(editor::EditProject project);
    const editor::EditProject& project() const { return project_; }

    // Derived data of the current project.
    const std::vector<editor::Line>& lines() const { return lines_; }
    bool isCut(int line) const { return cut_.at(size_t(line)) != 0; }
    // The line's corrected text when it has one, else its spoken text.
    QString lineText(int line) const;
    bool isFixed(int line) const { return fixes_.at(size_t(line)) != nullptr; }
    // The line's pop-up phrase, or empty.
    QString keyword(int line) const;
    const editor::Timeline& timeline() const { return timeline_; }
    const std::vector<editor::CaptionCue>& captions() const { return captions_; }
    const std::vector<double>& zooms() const { return zooms_; }
    const std::vector<editor::PopUp>& popUps() const { return popUps_; }
    // The length of the edit and the length asked for, in seconds.
    double total() const { return timeline_.total(); }
    std::optional<double> target() const { return project_.settings.targetSeconds; }
    // Where the line plays in the edit; for a line cut away, where the edit goes on after it.
    double lineOutput(int line) const;

    // Edits; each is one undo step. Out-of-range lines are ignored.
    void toggleCut(int line);
    // Stores `text` as the line's correction; its spoken text or empty text removes it.
    void fixLine(int line, const QString& text);
    // New settings; a new caption language asks for the translation of what is missing.
    void setSettings(const editor::EditSettings& settings);
    void rename(const QString& name);
    // More clips at the end of the project.
    void addClips(std::vector<editor::SourceClip> clips);

    bool canUndo() const { return !undo_.empty(); }
    bool canRedo() const { return !redo_.empty(); }
    void undo();
    void redo();

    // The service's first pass over the project, and a revision from an instruction. One request
    // at a time: while one is out, others are refused.
    void firstPass();
    void revise(const QString& instruction);
    bool busy() const { return busy_; }
    bool translating() const { return translating_; }
    // The sentence of the last failure of the service, until the next request.
    const QString& error() const { return error_; }

    // The user's style rules sent with every request, updated by revisions.
    const QStringList& style() const { return style_; }
    // The saved style rules, once read; until then a revision's remembered rules are not
    // saved, which would replace the saved ones with them alone.
    void setStyle(QStringList rules) {
        style_ = std::move(rules);
        styleRead_ = true;
    }

    // Saves now if a change is waiting.
    void flush();
    bool savePending() const { return saveTimer_ != nullptr; }
    // Why the last save failed, or empty.
    const QString& saveError() const { return saveError_; }

Q_SIGNALS:
    // The project (and so the derived data) changed.
    void changed();
    void busyChanged();
    void failed(const QString& sentence);
    void saved();

private:
    void change(editor::EditProject next, bool record);
    void recompute();
    void scheduleSave();
    void translateMissing();
    // Runs `f` on this object's thread later, unless the object is gone by then.
    template <class F>
    void deliver(F f);

    core::Timers& timers_;
    EditAssistant* assistant_;
    editor::EditProject project_;
    std::vector<editor::EditProject> undo_;
    std::vector<editor::EditProject> redo_;

    std::vector<editor::Line> lines_;
    std::vector<char> cut_;
    std::vector<const QString*> fixes_;
    std::vector<const QString*> keywords_;
    editor::Timeline timeline_;
    std::vector<editor::CaptionCue> captions_;
    std::vector<double> zooms_;
    std::vector<editor::PopUp> popUps_;

    bool busy_ = false;
    bool translating_ = false;
    QString error_;
    QStringList style_;
    bool styleRead_ = false;
    std::unique_ptr<core::PendingTimer> saveTimer_;
    QString saveError_;
};

}  // namespace pelix::studio
