#include "editor/EditorSample.h"

#include "editor/EditorModel.h"
#include "editor/EditorWindow.h"
#include "editor/SampleProject.h"
#include "editor/Timeline.h"

namespace pelix {

namespace {

// Keeps the model and its timers as long as the window that draws them.
class SampleHolder final : public QObject {
public:
    explicit SampleHolder(QObject* parent) : QObject(parent) {}
    QtTimers timers;
    EditorModel model{timers, nullptr};
};

ProjectStore::Entry entry(const char* name, int day, bool mediaMissing) {
    ProjectStore::Entry e;
    e.name = QString::fromUtf8(name);
    e.file = e.name + QStringLiteral(".json");
    e.modified = QDateTime(QDate(2026, 11, day), QTime(9 + day % 8, 15), Qt::UTC);
    e.mediaMissing = mediaMissing;
    return e;
}

}  // namespace

std::unique_ptr<QWidget> sampleEditorWindow() {
    auto holder = std::make_unique<SampleHolder>(nullptr);
    EditProject project = sampleProject(420, 2, 7);
    project.name = QStringLiteral("Start with one honest story");
    project.settings.captions = true;
    const std::vector<Line> spoken = lines(project.clips);
    project.cut.insert(spoken[0].id);
    project.cut.insert(spoken[1].id);
    project.fixes[spoken[3].id] = QStringLiteral("Want to build it? Take time for the story.");
    project.keywords[spoken[5].id] = QStringLiteral("honest every");
    project.settings.targetSeconds = 60;
    project.chat = {
        {QStringLiteral("First pass done."), false},
        {QStringLiteral("Make it snappier and cut the intro"), true},
        {QStringLiteral("Cut the first two lines and tightened the pace."), false},
    };
    holder->model.open(std::move(project));
    auto window = std::make_unique<EditorWindow>(holder->model);
    window->showVideos({entry("Start with one honest story", 21, false),
                        entry("Camera light in five minutes", 18, false),
                        entry("Why your next video starts here", 12, true)});
    holder.release()->setParent(window.get());
    return window;
}

}  // namespace pelix
