#pragma once

#include "core/Error.h"
#include "editor/EditProject.h"
#include "editor/EditorEngine.h"

#include <QString>
#include <QStringList>

#include <functional>

namespace pelix::studio {

// What the editor asks of the service: a first pass over a new project, a revision from an
// instruction, the translation of caption lines, and keeping the user's style rules. Each call
// answers once through its callback, on any thread; a failure carries the service's sentence and
// changes nothing. The answers are the engine's.
class EditAssistant {
public:
    using FirstPass = editor::EditorEngine::FirstPass;
    using Revision = editor::EditorEngine::Revision;

    virtual ~EditAssistant() = default;

    virtual void plan(const editor::EditProject& project, const QStringList& style,
                      std::function<void(Result<editor::EditorEngine::FirstPass>)> done) = 0;
    virtual void revise(const QString& instruction, const QStringList& style,
                        const editor::EditProject& project,
                        std::function<void(Result<editor::EditorEngine::Revision>)> done) = 0;
    // The project with the lines `untranslated` names translated into its caption language.
    virtual void translate(const editor::EditProject& project,
                           std::function<void(Result<editor::EditProject>)> done) = 0;
    virtual void saveRules(const QStringList& rules) = 0;
};

}  // namespace pelix::studio
