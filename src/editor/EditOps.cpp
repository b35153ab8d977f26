#include "editor/EditOps.h"

#include "editor/EditText.h"

#include <QJsonObject>
#include <QLocale>

#include <cmath>

namespace pelix::editor {

std::vector<NumberedLine> numbered(const EditProject& project) {
    std::vector<NumberedLine> result;
    const std::vector<Line> all = lines(project.clips);
    result.reserve(all.size());
    double offset = 0;
    int clip = 0;
    for (const Line& line : all) {
        for (; clip < line.clip; ++clip)
            offset += std::max(0.0, project.clips[size_t(clip)].duration);
        result.push_back(NumberedLine{int(result.size()) + 1, line, offset + line.start});
    }
    return result;
}

QJsonArray linePayload(const EditProject& project, bool state) {
    QJsonArray payload;
    for (const NumberedLine& n : numbered(project)) {
        const auto fix = project.fixes.find(n.line.id);
        QJsonObject item{{"id", n.n},
                         {"t", std::round(n.at * 10) / 10},
                         {"text", fix != project.fixes.end() ? fix->second : n.line.text}};
        if (state) {
            item.insert("kept", !project.cut.contains(n.line.id));
            const auto keyword = project.keywords.find(n.line.id);
            if (keyword != project.keywords.end()) item.insert("keyword", keyword->second);
        }
        payload.append(item);
    }
    return payload;
}

namespace {

// A JSON number read as an integer (any fraction dropped).
std::optional<qint64> integer(const QJsonValue& value) {
    if (!value.isDouble()) return std::nullopt;
    const double d = value.toDouble();
    if (!std::isfinite(d) || std::abs(d) > 1e15) return std::nullopt;
    return qint64(std::trunc(d));
}

// A number given as a JSON number or as text holding one.
std::optional<double> number(const QJsonValue& value) {
    bool ok = value.isDouble();
    const double d = ok ? value.toDouble() : QLocale::c().toDouble(value.toString().trimmed(), &ok);
    if (!ok || !std::isfinite(d)) return std::nullopt;
    return d;
}

std::optional<bool> boolean(const QJsonValue& value) {
    if (value.isBool()) return value.toBool();
    const QString text = value.toString();
    if (text.compare(QLatin1StringView("true"), Qt::CaseInsensitive) == 0) return true;
    if (text.compare(QLatin1StringView("false"), Qt::CaseInsensitive) == 0) return false;
    return std::nullopt;
}

template <class T>
SetOutcome assign(T& field, const std::optional<T>& value) {
    if (!value) return SetOutcome::rejected;
    if (field == *value) return SetOutcome::unchanged;
    field = *value;
    return SetOutcome::changed;
}

template <class E>
SetOutcome choose(E& field, const QJsonValue& value) {
    return assign(field, value.isString() ? fromRawValue<E>(value.toString()) : std::nullopt);
}

class Applier {
public:
    Applier(const EditProject& project) : numbered_(numbered(project)) {
        result_.project = project;
    }

    Applied run(const QJsonArray& ops) {
        for (const QJsonValue& op : ops) {
            if (!apply(op.toObject())) ++result_.skipped;
        }
        return std::move(result_);
    }

private:
    // Whether the operation could be applied.
    bool apply(const QJsonObject& op) {
        const QString name = op.value("op").toString();
        EditProject& p = result_.project;
        if (name == "cut" || name == "restore" || name == "keep_only") {
            const auto named = lineIds(op.value("ids"));
            if (!named || named->empty()) return false;
            if (name == "cut") {
                p.cut.insert(named->begin(), named->end());
            } else if (name == "restore") {
                for (const QString& id : *named) p.cut.erase(id);
            } else {
                p.cut.clear();
                for (const NumberedLine& n : numbered_) p.cut.insert(n.line.id);
                for (const QString& id : *named) p.cut.erase(id);
            }
            return true;
        }
        if (name == "keyword") {
            const NumberedLine* line = lineOf(op.value("id"));
            const QJsonValue phrase = op.value("phrase");
            if (!line || !phrase.isString()) return false;
            return setKeyword(*line, edittext::bounded(phrase.toString(), longest::kPopUp));
        }
        if (name == "hook") {
            const QJsonValue text = op.value("text");
            if (!text.isString()) return false;
            p.hook = edittext::bounded(text.toString(), longest::kHook);
            // The next translation pass translates the new hook.
            for (auto& [language, texts] : p.translations) texts.erase(QStringLiteral("hook"));
            return true;
        }
        if (name == "fix") {
            const NumberedLine* line = lineOf(op.value("id"));
            const QJsonValue text = op.value("text");
            if (!line || !text.isString()) return false;
            const QString fixed = edittext::bounded(text.toString(), longest::kLine);
            if (fixed.isEmpty()) {
                p.fixes.erase(line->line.id);
            } else {
                p.fixes[line->line.id] = fixed;
            }
            return true;
        }
        if (name == "set") {
            const QJsonValue field = op.value("field");
            if (!field.isString() || !op.contains("value")) return false;
            return setField(field.toString(), op.value("value"), p.settings) !=
                   SetOutcome::rejected;
        }
        if (name == "remember" || name == "forget") {
            const QJsonValue rule = op.value("rule");
            if (!rule.isString()) return false;
            const QString trimmed = edittext::bounded(rule.toString(), longest::kRule);
            QStringList& rules = name == "remember" ? result_.remember : result_.forget;
            if (trimmed.isEmpty()) return true;
            if (rules.size() >= longest::kRules) return false;
            rules << trimmed;
            return true;
        }
        return false;
    }

    const NumberedLine* lineOf(const QJsonValue& value) const {
        const auto n = integer(value);
        if (!n || *n < 1 || *n > qint64(numbered_.size())) return nullptr;
        return &numbered_[size_t(*n - 1)];
    }

    // The ids of the lines named by a list of numbers; numbers that name no line are left out.
    // None when the value is not a list of numbers.
    std::optional<std::vector<QString>> lineIds(const QJsonValue& value) const {
        if (!value.isArray()) return std::nullopt;
        std::vector<QString> ids;
        for (const QJsonValue& item : value.toArray()) {
            if (!item.isDouble()) return std::nullopt;
            if (const NumberedLine* line = lineOf(item)) ids.push_back(line->line.id);
        }
        return ids;
    }

    bool setKeyword(const NumberedLine& line, const QString& phrase) {
        EditProject& p = result_.project;
        const QString& id = line.line.id;
        if (phrase.isEmpty()) {
            p.keywords.erase(id);
            return true;
        }
        // Only words that are really spoken in the line.
        const QString wanted = edittext::folded(phrase);
        if (wanted.isEmpty() || !edittext::lower(line.line.text).contains(wanted)) return false;
        p.keywords[id] = phrase;
        return true;
    }

    std::vector<NumberedLine> numbered_;
    Applied result_;
};

}  // namespace

Applied applyOps(const QJsonArray& ops, const EditProject& project) {
    return Applier(project).run(ops);
}

SetOutcome setField(const QString& field, const QJsonValue& value, EditSettings& s) {
    if (field == "format") return choose(s.format, value);
    if (field == "captionLanguage") return choose(s.captionLanguage, value);
    if (field == "captionStyle") return choose(s.captionStyle, value);
    if (field == "captionPosition") return choose(s.captionPosition, value);
    if (field == "pace") return choose(s.pace, value);
    if (field == "captionSize") {
        const auto size = number(value);
        return assign(s.captionSize, size ? std::optional(std::clamp(*size, 0.6, 1.6)) : size);
    }
    if (field == "targetSeconds") {
        const auto seconds = number(value);
        // A target the file could not hold is no target anyone meant.
        if (!seconds || *seconds > kLongestTime) return SetOutcome::rejected;
        // No positive target means no target.
        const std::optional<double> target =
            *seconds > 0 ? seconds : std::optional<double>(std::nullopt);
        if (s.targetSeconds == target) return SetOutcome::unchanged;
        s.targetSeconds = target;
        return SetOutcome::changed;
    }
    bool EditSettings::*const switches[] = {&EditSettings::captions,     &EditSettings::visuals,
                                            &EditSettings::punchIns,     &EditSettings::keywordPops,
                                            &EditSettings::hookTitle,    &EditSettings::progressBar,
                                            &EditSettings::removeFillers};
    const char* const names[] = {"captions",  "visuals",     "punchIns",     "keywordPops",
                                 "hookTitle", "progressBar", "removeFillers"};
    for (size_t i = 0; i < std::size(names); ++i) {
        if (field == QLatin1StringView(names[i])) return assign(s.*switches[i], boolean(value));
    }
    return SetOutcome::rejected;
}

}  // namespace pelix::editor
