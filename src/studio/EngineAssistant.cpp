#include "studio/EngineAssistant.h"

#include "core/Log.h"
#include "editor/EditorEngine.h"
#include "service/Api.h"

namespace pelix {

void EngineAssistant::plan(const EditProject& project, const QStringList& style,
                           std::function<void(Result<FirstPass>)> done) {
    EditorEngine::plan(api_, project, style, [done = std::move(done)](Result<FirstPass> result) {
        if (!result) return done(std::unexpected(Api::asShown(result.error())));
        done(std::move(*result));
    });
}

void EngineAssistant::revise(const QString& instruction, const QStringList& style,
                             const EditProject& project,
                             std::function<void(Result<Revision>)> done) {
    EditorEngine::revise(api_, instruction, style, project,
                         [done = std::move(done)](Result<Revision> result) {
                             if (!result)
                                 return done(std::unexpected(Api::asShown(result.error())));
                             done(std::move(*result));
                         });
}

void EngineAssistant::translate(const EditProject& project,
                                std::function<void(Result<EditProject>)> done) {
    EditorEngine::translate(api_, project, [done = std::move(done)](Result<EditProject> result) {
        if (!result) return done(std::unexpected(Api::asShown(result.error())));
        done(std::move(*result));
    });
}

void EngineAssistant::saveRules(const QStringList& rules) {
    EditorEngine::saveRules(api_, rules, [](Status status) {
        if (!status) logLine("editor", "style rules not saved: " + status.error().message);
    });
}

void EngineAssistant::loadRules(std::function<void(Result<QStringList>)> done) {
    EditorEngine::loadRules(api_, [done = std::move(done)](Result<QStringList> rules) {
        if (!rules) return done(std::unexpected(Api::asShown(rules.error())));
        done(std::move(*rules));
    });
}

}  // namespace pelix
