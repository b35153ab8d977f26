#include "studio/EditorModel.h"

#include "core/Sentences.h"
#include "editor/EditorEngine.h"
#include "editor/ProjectStore.h"

#include <QMetaObject>
#include <QPointer>

namespace pelix::studio {

namespace {

// Undo steps kept; older ones are dropped.
constexpr size_t kHistory = 200;

}  // namespace

EditorModel::EditorModel(core::Timers& timers, EditAssistant* assistant, QObject* parent)
    : QObject(parent), timers_(timers), assistant_(assistant) {
    recompute();
}

EditorModel::~EditorModel() {
    flush();
}

template <class F>
void EditorModel::deliver(F f) {
    QPointer<EditorModel> self(this);
    QMetaObject::invokeMethod(
        this,
        [self, f = std::move(f)]() mutable {
            if (self) f();
        },
        Qt::QueuedConnection);
}

void EditorModel::open(editor::EditProject project) {
    flush();
    project_ = std::move(project);
    undo_.clear();
    redo_.clear();
    error_.clear();
    recompute();
    Q_EMIT changed();
}

void EditorModel::start(editor::EditProject project) {
    open(std::move(project));
    scheduleSave();
}

QString EditorModel::lineText(int line) const {
    const auto i = size_t(line);
    return fixes_.at(i) ? *fixes_[i] : lines_.at(i).text;
}

QString EditorModel::keyword(int line) const {
    const QString* phrase = keywords_.at(size_t(line));
    return phrase ? *phrase : QString();
}

double EditorModel::lineOutput(int line) const {
    for (size_t i = size_t(std::max(line, 0)); i < lines_.size(); ++i) {
        if (const auto span = timeline_.span(lines_[i].id)) return span->first;
    }
    return timeline_.total();
}

void EditorModel::toggleCut(int line) {
    if (line < 0 || size_t(line) >= lines_.size()) return;
    editor::EditProject next = project_;
    const QString& id = lines_[size_t(line)].id;
    if (cut_[size_t(line)]) {
        next.cut.erase(id);
    } else {
        next.cut.insert(id);
    }
    change(std::move(next), true);
}

void EditorModel::fixLine(int line, const QString& text) {
    if (line < 0 || size_t(line) >= lines_.size()) return;
    const editor::Line& spoken = lines_[size_t(line)];
    const QString wanted = text.trimmed();
    editor::EditProject next = project_;
    if (wanted.isEmpty() || wanted == spoken.text) {
        next.fixes.erase(spoken.id);
    } else {
        next.fixes[spoken.id] = wanted;
    }
    change(std::move(next), true);
}

void EditorModel::setSettings(const editor::EditSettings& settings) {
    const bool newLanguage = settings.captionLanguage != project_.settings.captionLanguage;
    editor::EditProject next = project_;
    next.settings = settings;
    change(std::move(next), true);
    if (newLanguage) translateMissing();
}

void EditorModel::rename(const QString& name) {
    const QString wanted = name.trimmed();
    if (wanted.isEmpty()) return;
    editor::EditProject next = project_;
    next.name = wanted;
    change(std::move(next), true);
}

void EditorModel::addClips(std::vector<editor::SourceClip> clips) {
    if (clips.empty()) return;
    editor::EditProject next = project_;
    for (editor::SourceClip& clip : clips) next.clips.push_back(std::move(clip));
    change(std::move(next), true);
}

void EditorModel::undo() {
    if (undo_.empty()) return;
    redo_.push_back(project_);
    editor::EditProject previous = std::move(undo_.back());
    undo_.pop_back();
    change(std::move(previous), false);
}

void EditorModel::redo() {
    if (redo_.empty()) return;
    undo_.push_back(project_);
    editor::EditProject next = std::move(redo_.back());
    redo_.pop_back();
    change(std::move(next), false);
}

void EditorModel::change(editor::EditProject next, bool record) {
    if (next == project_) return;
    if (record) {
        undo_.push_back(std::move(project_));
        if (undo_.size() > kHistory) undo_.erase(undo_.begin());
        redo_.clear();
    }
    project_ = std::move(next);
    recompute();
    scheduleSave();
    Q_EMIT changed();
}

void EditorModel::recompute() {
    lines_ = pelix::editor::lines(project_.clips);
    const editor::LineIndex index(lines_);
    cut_ = index.marked(project_.cut);
    fixes_ = index.texts(project_.fixes);
    keywords_ = index.texts(project_.keywords);
    timeline_ = editor::Timeline(editor::segments(project_, lines_));
    captions_ = pelix::editor::captions(project_, timeline_, lines_);
    zooms_ = pelix::editor::zooms(project_, timeline_);
    popUps_ = pelix::editor::popUps(project_, timeline_, lines_);
}

void EditorModel::scheduleSave() {
    saveTimer_ = timers_.after(kSaveDelay, [this] { flush(); });
}

void EditorModel::flush() {
    if (!saveTimer_) return;
    saveTimer_.reset();
    if (const Status status = editor::ProjectStore::save(project_); !status) {
        saveError_ = status.error().message;
        return;
    }
    saveError_.clear();
    Q_EMIT saved();
}

void EditorModel::firstPass() {
    if (busy_) return;
    error_.clear();
    if (!assistant_) {
        error_ = core::sentences::kNoFirstPass;
        Q_EMIT failed(error_);
        return;
    }
    busy_ = true;
    Q_EMIT busyChanged();
    assistant_->plan(project_, style_, [this](Result<EditAssistant::FirstPass> result) {
        deliver([this, result = std::move(result)]() mutable {
            busy_ = false;
            if (!result) {
                error_ = result.error().message;
                Q_EMIT busyChanged();
                Q_EMIT failed(error_);
                return;
            }
            editor::EditProject next = std::move(result->project);
            next.chat = project_.chat;
            next.chat.push_back(editor::ChatTurn{result->reply, false});
            change(std::move(next), true);
            Q_EMIT busyChanged();
            if (project_.settings.captionLanguage != editor::CaptionLanguage::original)
                translateMissing();
        });
    });
}

void EditorModel::revise(const QString& instruction) {
    const QString said = instruction.trimmed();
    if (busy_ || said.isEmpty()) return;
    error_.clear();
    if (!assistant_) {
        error_ = core::sentences::kNoRevision;
        Q_EMIT failed(error_);
        return;
    }
    busy_ = true;
    Q_EMIT busyChanged();
    assistant_->revise(
        said, style_, project_, [this, said](Result<EditAssistant::Revision> result) {
            deliver([this, said, result = std::move(result)]() mutable {
                busy_ = false;
                if (!result) {
                    error_ = result.error().message;
                    Q_EMIT busyChanged();
                    Q_EMIT failed(error_);
                    return;
                }
                const editor::Applied& applied = result->applied;
                if (styleRead_ && (!applied.remember.isEmpty() || !applied.forget.isEmpty())) {
                    style_ =
                        editor::EditorEngine::mergedRules(style_, applied.remember, applied.forget);
                    assistant_->saveRules(style_);
                }
                const bool newLanguage =
                    applied.project.settings.captionLanguage != project_.settings.captionLanguage;
                editor::EditProject next = applied.project;
                next.chat = project_.chat;
                next.chat.push_back(editor::ChatTurn{said, true});
                next.chat.push_back(editor::ChatTurn{result->reply, false});
                change(std::move(next), true);
                Q_EMIT busyChanged();
                if (newLanguage) translateMissing();
            });
        });
}

void EditorModel::translateMissing() {
    if (translating_ || !assistant_ || editor::untranslated(project_).empty()) return;
    translating_ = true;
    const QString language = editor::id(project_.settings.captionLanguage);
    assistant_->translate(project_, [this, language](Result<editor::EditProject> result) {
        deliver([this, language, result = std::move(result)]() mutable {
            translating_ = false;
            if (!result) {
                error_ = result.error().message;
                Q_EMIT failed(error_);
                return;
            }
            // The answer joins whatever the project has become meanwhile; it is not an undo step.
            const auto found = result->translations.find(language);
            if (found == result->translations.end()) return;
            editor::EditProject next = project_;
            editor::TextMap& stored = next.translations[language];
            for (const auto& [line, text] : found->second) stored.try_emplace(line, text);
            change(std::move(next), false);
            // The language may have changed again while the answer was on its way.
            if (id(project_.settings.captionLanguage) != language) translateMissing();
        });
    });
}

}  // namespace pelix::studio
