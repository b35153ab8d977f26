#include "studio/EngineAssistant.h"

#include "core/Log.h"
#include "editor/EditorEngine.h"

namespace pelix {

void EngineAssistant::plan(const EditProject& project, const QStringList& style,
                           std::function<void(Result<FirstPass>)> done) {
    EditorEngine::plan(api_, project, style, std::move(done));
}

void EngineAssistant::revise(const QString& instruction, const QStringList& style,
                             const EditProject& project,
                             std::function<void(Result<Revision>)> done) {
    EditorEngine::revise(api_, instruction, style, project, std::move(done));
}

void EngineAssistant::translate(const EditProject& project,
                                std::function<void(Result<EditProject>)> done) {
    EditorEngine::translate(api_, project, std::move(done));
}

void EngineAssistant::saveRules(const QStringList& rules) {
    EditorEngine::saveRules(api_, rules, [](Status status) {
        if (!status) logLine("editor", "style rules not saved: " + status.error().message);
    });
}

void EngineAssistant::loadRules(std::function<void(Result<QStringList>)> done) {
    EditorEngine::loadRules(api_, std::move(done));
}

}  // namespace pelix
