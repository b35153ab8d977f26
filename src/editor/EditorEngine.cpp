#include "editor/EditorEngine.h"

#include "core/Sentences.h"
#include "editor/Captions.h"
#include "editor/EditText.h"
#include "service/Api.h"

#include <QJsonArray>
#include <QSet>

#include <cmath>

namespace pelix::editor::EditorEngine {
namespace {

// A line number as the service sends it: any JSON number, read as an integer.
const NumberedLine* lineOf(const std::vector<NumberedLine>& numbered, const QJsonValue& value) {
    if (!value.isDouble()) return nullptr;
    const double n = std::trunc(value.toDouble());
    if (!std::isfinite(n) || n < 1 || n > double(numbered.size())) return nullptr;
    return &numbered[size_t(n) - 1];
}

QJsonArray strings(const QStringList& list) {
    return QJsonArray::fromStringList(list);
}

// Every answer is checked for what its caller takes from it before anything is changed.
void send(service::Api& api, const QJsonObject& body, const service::Needs& needs,
          service::Api::Done done) {
    api.call(kFunction, body, std::nullopt, kTimeLimit, needs, std::move(done));
}

service::Needs needsArray(const char* what, const char* member) {
    return service::Needs::one(QString::fromUtf8(what), QString::fromUtf8(member),
                               QJsonValue::Array);
}

// The parts of a project a revision can change, besides the conversation.
bool sameEdit(const EditProject& a, const EditProject& b) {
    return a.settings == b.settings && a.cut == b.cut && a.keywords == b.keywords &&
           a.fixes == b.fixes && a.hook == b.hook;
}

// The answer's reply to show in the conversation, or `otherwise`.
QString reply(const QJsonObject& answer, const char* otherwise) {
    const QJsonValue reply = answer.value("reply");
    return reply.isString() ? edittext::bounded(reply.toString(), longest::kReply)
                            : QString::fromUtf8(otherwise);
}

}  // namespace

QJsonObject planRequest(const EditProject& project, const QStringList& style) {
    return {{"action", "plan"},
            {"lines", linePayload(project, false)},
            {"settings", toJson(project.settings)},
            {"style", strings(style)}};
}

FirstPass firstPass(const EditProject& project, const QJsonObject& answer) {
    FirstPass pass{project, {}};
    EditProject& p = pass.project;
    const std::vector<NumberedLine> lines = numbered(project);
    p.cut.clear();
    for (const QJsonValue& n : answer.value("cut").toArray()) {
        if (const NumberedLine* line = lineOf(lines, n)) p.cut.insert(line->line.id);
    }
    for (const QJsonValue& item : answer.value("keywords").toArray()) {
        const QJsonObject keyword = item.toObject();
        const NumberedLine* line = lineOf(lines, keyword.value("id"));
        if (line && keyword.value("phrase").isString()) {
            p.keywords[line->line.id] =
                edittext::bounded(keyword.value("phrase").toString(), longest::kPopUp);
        }
    }
    if (answer.value("hook").isString())
        p.hook = edittext::bounded(answer.value("hook").toString(), longest::kHook);
    if (answer.value("title").isString())
        p.title = edittext::bounded(answer.value("title").toString(), longest::kTitle);
    p.translations.clear();
    pass.reply = reply(answer, core::sentences::kFirstPassDone);
    return pass;
}

QJsonObject reviseRequest(const QString& instruction, const QStringList& style,
                          const EditProject& project) {
    return {{"action", "revise"},
            {"instruction", instruction},
            {"lines", linePayload(project, true)},
            {"settings", toJson(project.settings)},
            {"style", strings(style)},
            {"hook", project.hook}};
}

Revision revision(const EditProject& project, const QJsonObject& answer) {
    Revision result{applyOps(answer.value("ops").toArray(), project), {}};
    result.reply = reply(answer, core::sentences::kDone);
    const Applied& applied = result.applied;
    if (applied.skipped > 0 && applied.remember.isEmpty() && sameEdit(applied.project, project)) {
        result.reply = core::sentences::kNoChangeMade;
    }
    return result;
}

EditProject translated(const EditProject& project, const QJsonObject& answer) {
    // Only what was asked for is taken: an id the project does not have, or has translated
    // already, is no translation of it.
    QSet<QString> asked;
    for (const auto& [line, text] : untranslated(project)) asked.insert(line);
    EditProject result = project;
    TextMap& texts = result.translations[id(project.settings.captionLanguage)];
    for (const QJsonValue& value : answer.value("items").toArray()) {
        const QJsonObject item = value.toObject();
        const QString line = item.value("id").toString();
        if (asked.contains(line) && item.value("text").isString()) {
            texts[line] = edittext::bounded(item.value("text").toString(),
                                            line == u"hook" ? longest::kHook : longest::kLine);
        }
    }
    return result;
}

void plan(service::Api& api, const EditProject& project, const QStringList& style,
          std::function<void(Result<FirstPass>)> done) {
    send(api, planRequest(project, style), needsArray("the edit plan", "cut"),
         [project, done](Result<QJsonObject> answer) {
             if (!answer) return done(std::unexpected(answer.error()));
             done(firstPass(project, *answer));
         });
}

void revise(service::Api& api, const QString& instruction, const QStringList& style,
            const EditProject& project, std::function<void(Result<Revision>)> done) {
    send(api, reviseRequest(instruction, style, project),
         // A revision may be only a reply (to a question about the video).
         service::Needs{QStringLiteral("the changes"),
                        {{"ops", QJsonValue::Array}, {"reply", QJsonValue::String}}},
         [project, done](Result<QJsonObject> answer) {
             if (!answer) return done(std::unexpected(answer.error()));
             done(revision(project, *answer));
         });
}

void translate(service::Api& api, const EditProject& project,
               std::function<void(Result<EditProject>)> done) {
    const auto missing = untranslated(project);
    if (missing.empty()) return done(project);
    QJsonArray items;
    for (const auto& [line, text] : missing)
        items.append(QJsonObject{{"id", line}, {"text", text}});
    const QJsonObject body{{"action", "translate"},
                           {"target", id(project.settings.captionLanguage)},
                           {"items", items}};
    send(api, body, needsArray("the translations", "items"),
         [project, done](Result<QJsonObject> answer) {
             if (!answer) return done(std::unexpected(answer.error()));
             done(translated(project, *answer));
         });
}

void loadRules(service::Api& api, std::function<void(Result<QStringList>)> done) {
    send(api, {{"action", "style"}}, needsArray("the style rules", "rules"),
         [done](Result<QJsonObject> answer) {
             if (!answer) return done(std::unexpected(answer.error()));
             QStringList rules;
             for (const QJsonValue& rule : answer->value("rules").toArray()) {
                 if (rules.size() == longest::kRules) break;
                 if (rule.isString()) rules << edittext::bounded(rule.toString(), longest::kRule);
             }
             done(rules);
         });
}

void saveRules(service::Api& api, const QStringList& rules, std::function<void(Status)> done) {
    send(api, {{"action", "style"}, {"rules", strings(rules)}}, service::Needs::nothing(),
         [done](Result<QJsonObject> answer) {
             if (!answer) return done(std::unexpected(answer.error()));
             done({});
         });
}

QStringList mergedRules(const QStringList& saved, const QStringList& remember,
                        const QStringList& forget) {
    // Sets for the lookups: a list's contains() would make this quadratic in the rules.
    const QSet<QString> forgotten(forget.begin(), forget.end());
    QSet<QString> kept;
    QStringList rules;
    rules.reserve(saved.size() + remember.size());
    for (const QString& rule : saved) {
        if (!forgotten.contains(rule) && !kept.contains(rule)) {
            kept.insert(rule);
            rules << rule;
        }
    }
    for (const QString& rule : remember) {
        if (!kept.contains(rule)) {
            kept.insert(rule);
            rules << rule;
        }
    }
    return rules;
}

}  // namespace pelix::editor::EditorEngine
