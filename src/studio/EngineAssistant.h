#pragma once

#include "studio/EditAssistant.h"

namespace pelix::service {
class Api;
}  // namespace pelix::service

namespace pelix::studio {

// The editor's assistant over the backend: every request goes through `EditorEngine` and `api`.
class EngineAssistant final : public EditAssistant {
public:
    explicit EngineAssistant(service::Api& api) : api_(api) {}

    void plan(const editor::EditProject& project, const QStringList& style,
              std::function<void(Result<editor::EditorEngine::FirstPass>)> done) override;
    void revise(const QString& instruction, const QStringList& style,
                const editor::EditProject& project,
                std::function<void(Result<editor::EditorEngine::Revision>)> done) override;
    void translate(const editor::EditProject& project,
                   std::function<void(Result<editor::EditProject>)> done) override;
    // A failure is logged; the rules stay in the window for the next request.
    void saveRules(const QStringList& rules) override;
    // The saved style rules, answered on the Api's thread.
    void loadRules(std::function<void(Result<QStringList>)> done);

private:
    service::Api& api_;
};

}  // namespace pelix::studio
