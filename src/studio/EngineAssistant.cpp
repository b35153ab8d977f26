#include "studio/EngineAssistant.h"

#include "core/Log.h"
#include "editor/EditorEngine.h"
#include "service/Api.h"

namespace pelix::studio {

void EngineAssistant::plan(const editor::EditProject& project, const QStringList& style,
                           std::function<void(Result<editor::EditorEngine::FirstPass>)> done) {
    editor::EditorEngine::plan(
        api_, project, style,
        [done = std::move(done)](Result<editor::EditorEngine::FirstPass> result) {
            if (!result) return done(std::unexpected(service::Api::asShown(result.error())));
            done(std::move(*result));
        });
}

void EngineAssistant::revise(const QString& instruction, const QStringList& style,
                             const editor::EditProject& project,
                             std::function<void(Result<editor::EditorEngine::Revision>)> done) {
    editor::EditorEngine::revise(
        api_, instruction, style, project,
        [done = std::move(done)](Result<editor::EditorEngine::Revision> result) {
            if (!result) return done(std::unexpected(service::Api::asShown(result.error())));
            done(std::move(*result));
        });
}

void EngineAssistant::translate(const editor::EditProject& project,
                                std::function<void(Result<editor::EditProject>)> done) {
    editor::EditorEngine::translate(
        api_, project, [done = std::move(done)](Result<editor::EditProject> result) {
            if (!result) return done(std::unexpected(service::Api::asShown(result.error())));
            done(std::move(*result));
        });
}

void EngineAssistant::saveRules(const QStringList& rules) {
    editor::EditorEngine::saveRules(api_, rules, [](Status status) {
        if (!status) core::logLine("editor", "style rules not saved: " + status.error().message);
    });
}

void EngineAssistant::loadRules(std::function<void(Result<QStringList>)> done) {
    editor::EditorEngine::loadRules(api_, [done = std::move(done)](Result<QStringList> rules) {
        if (!rules) return done(std::unexpected(service::Api::asShown(rules.error())));
        done(std::move(*rules));
    });
}

}  // namespace pelix::studio
