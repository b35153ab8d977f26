#include "studio/EditCommands.h"

#include "core/Console.h"
#include "core/Json.h"
#include "core/Sentences.h"
#include "editor/Captions.h"
#include "editor/EditorEngine.h"
#include "editor/ProjectStore.h"
#include "render/Renderer.h"
#include "service/Api.h"
#include "studio/ExportPath.h"
#include "studio/Interrupt.h"
#include "studio/NewVideo.h"
#include "studio/ProjectNames.h"

#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>

#include <optional>

namespace pelix::studio::editcli {
namespace {

// Runs the event loop until the request started by `start` answers.
template <class T, class Start>
T await(Start start) {
    QEventLoop loop;
    std::optional<T> result;
    start([&](T value) {
        result = std::move(value);
        loop.quit();
    });
    if (!result) loop.exec();
    return std::move(*result);
}

Result<QStringList> loadRules(service::ServiceContext& context) {
    return await<Result<QStringList>>(
        [&](auto done) { editor::EditorEngine::loadRules(context.api(), std::move(done)); });
}

// The rules of a file: a JSON list of texts, or one rule a line.
Result<QStringList> readRules(const QString& name) {
    QFile file;
    const bool opened = name == "-" ? file.open(stdin, QIODevice::ReadOnly)
                                    : (file.setFileName(name), file.open(QIODevice::ReadOnly));
    if (!opened) {
        return fail(1, core::sentences::couldntReadRules(name, file.errorString()));
    }
    const QByteArray bytes = file.readAll();
    const QJsonDocument doc = QJsonDocument::fromJson(bytes);
    QStringList rules;
    if (doc.isArray()) {
        for (const QJsonValue& rule : doc.array()) {
            if (!rule.isString()) {
                return fail(1, core::sentences::rulesNotText(name));
            }
            rules << rule.toString().trimmed();
        }
    } else {
        rules = QString::fromUtf8(bytes).split('\n');
        for (QString& rule : rules) rule = rule.trimmed();
    }
    rules.removeAll(QString());
    return rules;
}

// Prints "Exporting… 40%"-style lines (`core::sentences::atPercent`) on standard error, one each
// time the whole percentage passes a multiple of `step`.
class Percent {
public:
    Percent(QString what, int step) : what_(std::move(what)), step_(step) {}
    void operator()(double fraction) {
        const int percent = int(fraction * 100) / step_ * step_;
        if (percent == shown_) return;
        shown_ = percent;
        core::console::err(core::sentences::atPercent(what_, percent));
    }

private:
    QString what_;
    int step_;
    int shown_ = -1;
};

}  // namespace

int failWith(const QString& sentence) {
    core::console::err(sentence);
    return 1;
}

Result<Opened> openProject(const QString& name) {
    if (QFileInfo(name).isFile()) {
        auto project = editor::ProjectStore::openFile(name);
        if (!project) return std::unexpected(project.error());
        return Opened{std::move(*project), name};
    }
    // A whole id names its file even when that file cannot be read, which then says why.
    const QUuid whole = QUuid::fromString(name);
    const auto id = !whole.isNull() && QFileInfo(editor::ProjectStore::fileFor(whole)).isFile()
                        ? Result<QUuid>(whole)
                        : projectnames::find(editor::ProjectStore::list(), name);
    if (!id) return std::unexpected(id.error());
    auto project = editor::ProjectStore::open(*id);
    if (!project) return std::unexpected(project.error());
    return Opened{std::move(*project), editor::ProjectStore::fileFor(*id)};
}

Status saveOpened(const Opened& opened, const editor::EditProject& changed) {
    if (QFileInfo(opened.path) == QFileInfo(editor::ProjectStore::fileFor(changed.id))) {
        return editor::ProjectStore::save(changed);
    }
    return editor::ProjectStore::saveAs(changed, opened.path);
}

int makeNew(const QStringList& words, const core::Args& args) {
    NewVideoOptions options;
    options.files = words.mid(1);
    options.name = args.value("--name").value_or(QString());
    if (const auto format = args.value("--format")) {
        const auto chosen = editor::fromRawValue<editor::VideoFormat>(*format);
        if (!chosen) {
            return failWith(core::sentences::noSuchFormat(*format));
        }
        options.format = *chosen;
    }
    options.locale = args.value("--lang").value_or(QString());
    options.progress = [](const QString& line) { core::console::err(line); };
    const InterruptStop interrupt;
    options.stop = interrupt.token();
    const speech::SpeechEngines engines = speech::SpeechEngines::standard();
    const auto project = newVideo(engines, options, QDateTime::currentDateTimeUtc());
    if (!project) return failWith(project.error().message);
    if (interrupt.interrupted()) return failWith(core::sentences::kMakingStopped);
    if (Status saved = editor::ProjectStore::save(*project); !saved)
        return failWith(saved.error().message);
    core::console::out(editor::upperUuid(project->id));
    return 0;
}

int plan(service::ServiceContext& context, const Opened& opened) {
    const auto rules = loadRules(context);
    if (!rules) return failWith(service::Api::describe(rules.error()));
    const auto pass = await<Result<editor::EditorEngine::FirstPass>>([&](auto done) {
        editor::EditorEngine::plan(context.api(), opened.project, *rules, std::move(done));
    });
    if (!pass) return failWith(service::Api::describe(pass.error()));
    if (pass->project != opened.project) {
        if (Status saved = saveOpened(opened, pass->project); !saved) {
            return failWith(saved.error().message);
        }
    }
    core::console::out(pass->reply);
    return 0;
}

int revise(service::ServiceContext& context, const Opened& opened, const QStringList& words) {
    const QString instruction = words.mid(2).join(' ').trimmed();
    if (instruction.isEmpty()) {
        return failWith(core::sentences::kSayWhatToChange);
    }
    const auto rules = loadRules(context);
    if (!rules) return failWith(service::Api::describe(rules.error()));
    const auto revised = await<Result<editor::EditorEngine::Revision>>([&](auto done) {
        editor::EditorEngine::revise(context.api(), instruction, *rules, opened.project,
                                     std::move(done));
    });
    if (!revised) return failWith(service::Api::describe(revised.error()));

    editor::EditProject changed = revised->applied.project;
    changed.chat.push_back({instruction, true});
    changed.chat.push_back({revised->reply, false});
    if (Status saved = saveOpened(opened, changed); !saved) return failWith(saved.error().message);
    core::console::out(revised->reply);

    const QStringList merged = editor::EditorEngine::mergedRules(*rules, revised->applied.remember,
                                                                 revised->applied.forget);
    if (merged == *rules) return 0;
    const Status stored = await<Status>([&](auto done) {
        editor::EditorEngine::saveRules(context.api(), merged, std::move(done));
    });
    if (!stored)
        return failWith(core::sentences::couldntSaveRules(service::Api::describe(stored.error())));
    return 0;
}

int translate(service::ServiceContext& context, const Opened& opened) {
    const editor::CaptionLanguage language = opened.project.settings.captionLanguage;
    if (language == editor::CaptionLanguage::original) {
        core::console::out(core::sentences::kNothingToTranslate);
        return 0;
    }
    const size_t missing = untranslated(opened.project).size();
    const auto result = await<Result<editor::EditProject>>([&](auto done) {
        editor::EditorEngine::translate(context.api(), opened.project, std::move(done));
    });
    if (!result) return failWith(service::Api::describe(result.error()));
    if (missing == 0) {
        core::console::out(core::sentences::alreadyIn(editor::label(language)));
        return 0;
    }
    if (*result != opened.project) {
        if (Status saved = saveOpened(opened, *result); !saved)
            return failWith(saved.error().message);
    }
    const auto stored = result->translations.find(editor::id(language));
    const size_t now = stored == result->translations.end() ? 0 : stored->second.size();
    const auto before = opened.project.translations.find(id(language));
    const size_t had = before == opened.project.translations.end() ? 0 : before->second.size();
    core::console::out(
        core::sentences::translated(qint64(now - had), qint64(missing), editor::label(language)));
    return 0;
}

int style(service::ServiceContext& context, const core::Args& args) {
    if (const auto file = args.value("--set")) {
        const auto rules = readRules(*file);
        if (!rules) return failWith(rules.error().message);
        const Status stored = await<Status>([&](auto done) {
            editor::EditorEngine::saveRules(context.api(), *rules, std::move(done));
        });
        if (!stored)
            return failWith(
                core::sentences::couldntSaveRules(service::Api::describe(stored.error())));
        core::console::out(core::sentences::savedRules(rules->size()));
        return 0;
    }
    const auto rules = loadRules(context);
    if (!rules) return failWith(service::Api::describe(rules.error()));
    core::console::out(QString::fromUtf8(core::json::compact(QJsonArray::fromStringList(*rules))));
    return 0;
}

constexpr double kSmallestScale = 0.1;

int exportVideo(const Opened& opened, const core::Args& args) {
    render::RenderOptions options;
    if (const auto scale = args.value("--scale")) {
        bool ok = false;
        options.scale = scale->toDouble(&ok);
        // Below a tenth a reel is a few pixels across; NaN fails every comparison, so it is
        // asked for the range it must be in.
        if (!ok || !(options.scale >= kSmallestScale && options.scale <= 1)) {
            return failWith(core::sentences::notAScale(*scale));
        }
    }
    QString target;
    if (const auto out = args.value("--out")) {
        target = QFileInfo(*out).absoluteFilePath();
        bool replace = args.has("--force");
        Status allowed = checkExportTarget(opened.project, opened.path, target, replace);
        if (!allowed && !replace && QFileInfo(target).isFile() &&
            checkExportTarget(opened.project, opened.path, target, true)) {
            // Only the replacing stands in the way: a person at a terminal is asked.
            const QString name = QFileInfo(target).fileName();
            if (const auto yes = core::console::confirm(core::sentences::replaceQuestion(name))) {
                if (!*yes) return 1;
                allowed = {};
            }
        }
        if (!allowed) return failWith(allowed.error().message);
    } else {
        const auto path = exportPath(opened.project, defaultExportFolder());
        if (!path) return failWith(path.error().message);
        target = *path;
    }
    const InterruptStop interrupt;
    options.stop = interrupt.token();
    options.progress = Percent(core::sentences::kExporting, 5);
    const Status done = render::makeRenderer()->exportVideo(opened.project, target, options);
    if (!done) return failWith(done.error().message);
    core::console::out(target);
    return 0;
}

}  // namespace pelix::studio::editcli
