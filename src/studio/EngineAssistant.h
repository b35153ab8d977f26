#pragma once

#include "studio/EditAssistant.h"

namespace pelix {

class Api;

// The editor's assistant over the backend: every request goes through `EditorEngine` and `api`.
class EngineAssistant final : public EditAssistant {
public:
    explicit EngineAssistant(Api& api) : api_(api) {}

    void plan(const EditProject& project, const QStringList& style,
              std::function<void(Result<FirstPass>)> done) override;
    void revise(const QString& instruction, const QStringList& style, const EditProject& project,
                std::function<void(Result<Revision>)> done) override;
    void translate(const EditProject& project,
                   std::function<void(Result<EditProject>)> done) override;
    // A failure is logged; the rules stay in the window for the next request.
    void saveRules(const QStringList& rules) override;
    // The saved style rules, answered on the Api's thread.
    void loadRules(std::function<void(Result<QStringList>)> done);

private:
    Api& api_;
};

}  // namespace pelix
