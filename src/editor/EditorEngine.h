#pragma once

#include "core/Error.h"
#include "editor/EditOps.h"
#include "editor/EditProject.h"

#include <QJsonObject>
#include <QString>
#include <QStringList>

#include <functional>

namespace pelix::service {
class Api;
}  // namespace pelix::service

namespace pelix::editor {

// The editor's conversation with the backend function "video-edit": the first pass over a new
// project, revisions from an instruction, translation of caption lines and the user's style
// rules. Holds no state: each operation is one request whose
// answer comes on the Api's thread. A failed request changes nothing.
namespace EditorEngine {

inline constexpr auto kFunction = "video-edit";
inline constexpr double kTimeLimit = 150;

struct FirstPass {
    EditProject project;
    QString reply;
};

struct Revision {
    Applied applied;
    QString reply;
};

// The first pass: the service's cuts, pop-up phrases, hook and title. Every stored translation
// is dropped, since the lines they belong to may have changed.
void plan(service::Api& api, const EditProject& project, const QStringList& style,
          std::function<void(Result<FirstPass>)> done);
// A revision: the service's operations applied to the project.
void revise(service::Api& api, const QString& instruction, const QStringList& style,
            const EditProject& project, std::function<void(Result<Revision>)> done);
// The caption lines (and hook) not yet in the caption language, translated. With none missing
// no request is sent and `done` gets the project as it was, at once.
void translate(service::Api& api, const EditProject& project,
               std::function<void(Result<EditProject>)> done);
// The saved style rules, and saving them.
void loadRules(service::Api& api, std::function<void(Result<QStringList>)> done);
void saveRules(service::Api& api, const QStringList& rules, std::function<void(Status)> done);

// The request bodies and the reading of the answers, as pure functions.
QJsonObject planRequest(const EditProject& project, const QStringList& style);
FirstPass firstPass(const EditProject& project, const QJsonObject& answer);
QJsonObject reviseRequest(const QString& instruction, const QStringList& style,
                          const EditProject& project);
Revision revision(const EditProject& project, const QJsonObject& answer);
EditProject translated(const EditProject& project, const QJsonObject& answer);

// The rules after a revision: the forgotten ones removed (exact text), the remembered ones
// not already there appended, the order kept.
QStringList mergedRules(const QStringList& saved, const QStringList& remember,
                        const QStringList& forget);

}  // namespace EditorEngine
}  // namespace pelix::editor
