#include "studio/EditCommands.h"

#include "core/Console.h"
#include "core/Json.h"
#include "editor/Captions.h"
#include "editor/EditorEngine.h"
#include "editor/ProjectStore.h"
#include "render/Renderer.h"
#include "studio/ExportPath.h"
#include "studio/Interrupt.h"
#include "studio/NewVideo.h"

#include <QEventLoop>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>

#include <optional>

namespace pelix::editcli {
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

Result<QStringList> loadRules(ServiceContext& context) {
    return await<Result<QStringList>>(
        [&](auto done) { EditorEngine::loadRules(context.api(), std::move(done)); });
}

// The rules of a file: a JSON list of texts, or one rule a line.
Result<QStringList> readRules(const QString& name) {
    QFile file;
    const bool opened = name == "-" ? file.open(stdin, QIODevice::ReadOnly)
                                    : (file.setFileName(name), file.open(QIODevice::ReadOnly));
    if (!opened) {
        return fail(1,
                    "Couldn't read the style rules in " + name + ": " + file.errorString() + ".");
    }
    const QByteArray bytes = file.readAll();
    const QJsonDocument doc = QJsonDocument::fromJson(bytes);
    QStringList rules;
    if (doc.isArray()) {
        for (const QJsonValue& rule : doc.array()) {
            if (!rule.isString()) {
                return fail(1, "Couldn't read the style rules in " + name +
                                   ": the list holds something that is not text.");
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

// Prints "Exporting… 40%"-style lines on standard error, one each time the whole percentage
// passes a multiple of `step`.
class Percent {
public:
    Percent(QString what, int step) : what_(std::move(what)), step_(step) {}
    void operator()(double fraction) {
        const int percent = int(fraction * 100) / step_ * step_;
        if (percent == shown_) return;
        shown_ = percent;
        console::err(QStringLiteral("%1 %2%").arg(what_).arg(percent));
    }

private:
    QString what_;
    int step_;
    int shown_ = -1;
};

}  // namespace

int failWith(const QString& sentence) {
    console::err(sentence);
    return 1;
}

Result<Opened> openProject(const QString& name) {
    if (QFileInfo(name).isFile()) {
        auto project = ProjectStore::openFile(name);
        if (!project) return std::unexpected(project.error());
        return Opened{std::move(*project), name};
    }
    const QUuid id = QUuid::fromString(name);
    if (id.isNull() || !QFileInfo(ProjectStore::fileFor(id)).isFile()) {
        return fail(1, QStringLiteral("Couldn't find the project %1: it is neither a file nor "
                                      "the id of a saved project.")
                           .arg(name));
    }
    auto project = ProjectStore::open(id);
    if (!project) return std::unexpected(project.error());
    return Opened{std::move(*project), ProjectStore::fileFor(id)};
}

Status saveOpened(const Opened& opened, const EditProject& changed) {
    if (QFileInfo(opened.path) == QFileInfo(ProjectStore::fileFor(changed.id))) {
        return ProjectStore::save(changed);
    }
    return ProjectStore::saveAs(changed, opened.path);
}

int makeNew(const QStringList& words, const Args& args) {
    NewVideoOptions options;
    options.files = words.mid(1);
    options.name = args.value("--name").value_or(QString());
    if (const auto format = args.value("--format")) {
        const auto chosen = fromRawValue<VideoFormat>(*format);
        if (!chosen) {
            return failWith("There is no format " + *format +
                            "; say reel, youtubeShort, rednote, youtube or original.");
        }
        options.format = *chosen;
    }
    options.locale = args.value("--lang").value_or(QString());
    options.progress = [](const QString& line) { console::err(line); };
    const InterruptStop interrupt;
    options.stop = interrupt.token();
    const SpeechEngines engines = SpeechEngines::standard();
    const auto project = newVideo(engines, options, QDateTime::currentDateTimeUtc());
    if (!project) return failWith(project.error().message);
    if (interrupt.interrupted()) return failWith(QStringLiteral("Making the video was stopped."));
    if (Status saved = ProjectStore::save(*project); !saved) return failWith(saved.error().message);
    console::out(upperUuid(project->id));
    return 0;
}

int plan(ServiceContext& context, const Opened& opened) {
    const auto rules = loadRules(context);
    if (!rules) return failWith(rules.error().message);
    const auto pass = await<Result<EditorEngine::FirstPass>>([&](auto done) {
        EditorEngine::plan(context.api(), opened.project, *rules, std::move(done));
    });
    if (!pass) return failWith(pass.error().message);
    if (pass->project != opened.project) {
        if (Status saved = saveOpened(opened, pass->project); !saved) {
            return failWith(saved.error().message);
        }
    }
    console::out(pass->reply);
    return 0;
}

int revise(ServiceContext& context, const Opened& opened, const QStringList& words) {
    const QString instruction = words.mid(2).join(' ').trimmed();
    if (instruction.isEmpty()) {
        return failWith(QStringLiteral(
            "Say what to change: pelix --edit revise PROJECT \"cut the second line\"."));
    }
    const auto rules = loadRules(context);
    if (!rules) return failWith(rules.error().message);
    const auto revised = await<Result<EditorEngine::Revision>>([&](auto done) {
        EditorEngine::revise(context.api(), instruction, *rules, opened.project, std::move(done));
    });
    if (!revised) return failWith(revised.error().message);

    EditProject changed = revised->applied.project;
    changed.chat.push_back({instruction, true});
    changed.chat.push_back({revised->reply, false});
    if (Status saved = saveOpened(opened, changed); !saved) return failWith(saved.error().message);
    console::out(revised->reply);

    const QStringList merged =
        EditorEngine::mergedRules(*rules, revised->applied.remember, revised->applied.forget);
    if (merged == *rules) return 0;
    const Status stored = await<Status>(
        [&](auto done) { EditorEngine::saveRules(context.api(), merged, std::move(done)); });
    if (!stored) return failWith("Couldn't save your style rules: " + stored.error().message);
    return 0;
}

int translate(ServiceContext& context, const Opened& opened) {
    const CaptionLanguage language = opened.project.settings.captionLanguage;
    if (language == CaptionLanguage::original) {
        console::out(
            QStringLiteral("The captions are as spoken, so there is nothing to "
                           "translate; set captionLanguage first."));
        return 0;
    }
    const size_t missing = untranslated(opened.project).size();
    const auto result = await<Result<EditProject>>([&](auto done) {
        EditorEngine::translate(context.api(), opened.project, std::move(done));
    });
    if (!result) return failWith(result.error().message);
    if (missing == 0) {
        console::out("Every caption is already in " + label(language) + ".");
        return 0;
    }
    if (*result != opened.project) {
        if (Status saved = saveOpened(opened, *result); !saved)
            return failWith(saved.error().message);
    }
    const auto stored = result->translations.find(id(language));
    const size_t now = stored == result->translations.end() ? 0 : stored->second.size();
    const auto before = opened.project.translations.find(id(language));
    const size_t had = before == opened.project.translations.end() ? 0 : before->second.size();
    console::out(QStringLiteral("Translated %1 of %2 captions into %3.")
                     .arg(now - had)
                     .arg(missing)
                     .arg(label(language)));
    return 0;
}

int style(ServiceContext& context, const Args& args) {
    if (const auto file = args.value("--set")) {
        const auto rules = readRules(*file);
        if (!rules) return failWith(rules.error().message);
        const Status stored = await<Status>(
            [&](auto done) { EditorEngine::saveRules(context.api(), *rules, std::move(done)); });
        if (!stored) return failWith("Couldn't save your style rules: " + stored.error().message);
        console::out(QStringLiteral("Saved %1 style rules.").arg(rules->size()));
        return 0;
    }
    const auto rules = loadRules(context);
    if (!rules) return failWith(rules.error().message);
    console::raw(json::compact(QJsonArray::fromStringList(*rules)) + '\n');
    return 0;
}

int exportVideo(const Opened& opened, const Args& args) {
    render::RenderOptions options;
    if (const auto scale = args.value("--scale")) {
        bool ok = false;
        options.scale = scale->toDouble(&ok);
        if (!ok || options.scale <= 0 || options.scale > 1) {
            return failWith("The scale " + *scale + " is not a number above 0 and at most 1.");
        }
    }
    QString target;
    if (const auto out = args.value("--out")) {
        target = QFileInfo(*out).absoluteFilePath();
    } else {
        const auto path = exportPath(opened.project, defaultExportFolder());
        if (!path) return failWith(path.error().message);
        target = *path;
    }
    const InterruptStop interrupt;
    options.stop = interrupt.token();
    options.progress = Percent(QStringLiteral("Exporting…"), 5);
    const Status done = render::makeRenderer()->exportVideo(opened.project, target, options);
    if (!done) return failWith(done.error().message);
    console::out(target);
    return 0;
}

}  // namespace pelix::editcli
