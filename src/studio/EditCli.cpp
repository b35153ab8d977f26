#include "studio/EditCli.h"

#include "core/Console.h"
#include "core/Dates.h"
#include "core/Json.h"
#include "core/Sentences.h"
#include "editor/Captions.h"
#include "editor/EditOps.h"
#include "editor/Emphasis.h"
#include "editor/ProjectStore.h"
#include "editor/Timeline.h"
#include "studio/EditCommands.h"
#include "studio/ProjectNames.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace pelix::studio {
namespace {

using editcli::failWith;
using editcli::Opened;
using editcli::openProject;

constexpr auto kUsage = R"(Usage: pelix --edit COMMAND PROJECT [...]

PROJECT is a project file, or a project in the projects folder ($PELIX_EDITOR_DIR, else
~/.local/share/Pelix/Editor) named by its name or by the start of its id (as list shows it).

From clips to a finished video:
  new CLIP... [--name NAME] [--format reel|youtubeShort|rednote|youtube|original] [--lang LOCALE]
                                 transcribe the clips, find the speaker's face, save a new
                                 project and print its id
  plan PROJECT                   the backend's first cut: cuts, pop-up phrases, hook, title
  revise PROJECT "INSTRUCTION"   change the project as asked ("cut the second line")
  translate PROJECT              translate the captions into the project's captionLanguage
                                 (set it with: apply PROJECT OPS.json --write)
  style [--set FILE]             print the saved style rules, or replace them with the rules of
                                 FILE (a JSON list, or one rule a line; - for standard input)
  export PROJECT [--out FILE [--force]] [--scale F]
                                 draw the finished video (H.264 and AAC in MP4) into
                                 ~/Videos/Pelix, or FILE (never one of its clips or the
                                 project; an existing FILE is replaced after asking, or with
                                 --force); --scale draws a smaller draft
  plan, revise and translate print the backend's reply; new and export print their progress
  on standard error. Ctrl+C stops new and export, leaving nothing behind.

Looking into a project (results are JSON on standard output, but for list):
  lines PROJECT                  the lines of the transcript
  segments PROJECT               the kept segments in playing order
  timeline PROJECT               the segments with their output starts and the total length
  captions PROJECT [--srt|--vtt] the caption cues, or a subtitle file
  zooms PROJECT                  the zoom factor of each segment
  hook PROJECT                   the hook text, or null
  popups PROJECT                 the pop-up phrases and their times
  numbered PROJECT [--state]     the numbered lines as the service sees them
  apply PROJECT OPS.json [--write]
                                 apply edit operations (OPS.json may be - for standard input);
                                 --write saves the changed project
  list [--json]                  the saved projects: name, clips, length, when changed and
                                 id, as a table or as JSON

Example, from the sample video of scripts/make-sample (plan, revise and translate reach the
backend at $PELIX_API_BASE with your token):
  id=$(pelix --edit new build/samples/sample.mp4 --name "Morning")
  pelix --edit plan "$id"
  pelix --edit revise "$id" "cut the second line"
  echo '[{"op":"set","field":"captionLanguage","value":"fr"}]' | pelix --edit apply "$id" - --write
  pelix --edit translate "$id"
  pelix --edit export "$id"
)";

QJsonArray numbers(const std::vector<double>& values) {
    QJsonArray array;
    for (const double v : values) array.append(v);
    return array;
}

QJsonObject toJson(const editor::Line& l) {
    return {{"id", l.id},
            {"clip", l.clip},
            {"firstWord", l.firstWord},
            {"lastWord", l.lastWord},
            {"start", l.start},
            {"end", l.end},
            {"text", l.text}};
}

QJsonObject toJson(const editor::Segment& s) {
    return {{"clip", s.clip}, {"start", s.start}, {"end", s.end}, {"line", s.line}};
}

QJsonObject toJson(const editor::CaptionCue& cue) {
    QJsonObject object{{"start", cue.start},
                       {"end", cue.end},
                       {"words", QJsonArray::fromStringList(cue.words)},
                       {"unspaced", cue.unspaced}};
    if (cue.times) object.insert("times", numbers(*cue.times));
    return object;
}

template <class T>
QJsonArray arrayOf(const std::vector<T>& items) {
    QJsonArray array;
    for (const T& item : items) array.append(toJson(item));
    return array;
}

void print(const QJsonValue& value) {
    // A bare string or null is written as the single element of an array, brackets removed.
    // JSON escapes the C0 controls; `out` leaves out the rest (C1, DEL) that a terminal reads.
    const QByteArray text = core::json::compact(QJsonArray{value});
    core::console::out(QString::fromUtf8(text.mid(1, text.size() - 2)));
}

Result<QJsonArray> readOps(const QString& name) {
    QFile file;
    const bool opened = name == "-" ? file.open(stdin, QIODevice::ReadOnly)
                                    : (file.setFileName(name), file.open(QIODevice::ReadOnly));
    if (!opened) {
        return fail(1, core::sentences::couldntReadOperations(name, file.errorString()));
    }
    QJsonParseError error{};
    const QJsonDocument doc = QJsonDocument::fromJson(file.readAll(), &error);
    if (doc.isArray()) return doc.array();
    if (doc.isObject() && doc.object().value("ops").isArray()) {
        return doc.object().value("ops").toArray();
    }
    return fail(1, core::sentences::operationsNotAList(name));
}

// The saved projects for a person: name, clips, the finished video's length, when it changed,
// and enough of the id to name it by.
QString table() {
    std::vector<projectnames::Row> rows;
    for (const editor::ProjectStore::Entry& e : editor::ProjectStore::list()) {
        // A name comes from a file anyone could have written: no escape reaches the terminal.
        projectnames::Row row{.name = core::console::printableLine(e.error ? e.file : e.name),
                              .changed = core::dates::shortDateTime(e.modified)};
        const auto project = e.error ? Result<editor::EditProject>(fail(1, *e.error))
                                     : editor::ProjectStore::open(e.id);
        if (!project) {
            row.id = QStringLiteral("can't be read");
        } else {
            const editor::Timeline timeline{
                segments(*project, pelix::editor::lines(project->clips))};
            row.clips = QString::number(project->clips.size());
            row.length = core::dates::clock(timeline.total());
            row.id = editor::upperUuid(e.id).left(projectnames::kShortId);
            if (e.mediaMissing) row.id += QStringLiteral(" (media missing)");
        }
        rows.push_back(row);
    }
    return projectnames::table(rows);
}

QJsonArray listing() {
    QJsonArray array;
    for (const editor::ProjectStore::Entry& e : editor::ProjectStore::list()) {
        QJsonObject object{{"file", e.file}, {"modified", core::json::isoDate(e.modified)}};
        if (e.error) {
            object.insert("error", *e.error);
        } else {
            object.insert("id", editor::upperUuid(e.id));
            object.insert("name", e.name);
            object.insert("mediaMissing", e.mediaMissing);
        }
        array.append(object);
    }
    return array;
}

// What the commands that read a project print; each returns the exit status.
struct Derived {
    const editor::EditProject& project;
    std::vector<editor::Line> lines = pelix::editor::lines(project.clips);
    editor::Timeline timeline{segments(project, lines)};
};

int apply(const Opened& opened, const QStringList& words, const core::Args& args) {
    if (words.size() < 3) {
        return failWith(core::sentences::kSayWhichOperations);
    }
    const auto ops = readOps(words.at(2));
    if (!ops) return failWith(ops.error().message);
    const editor::Applied applied = applyOps(*ops, opened.project);
    if (args.has("--write") && applied.project == opened.project) {
        core::console::err(core::sentences::nothingChanged(QFileInfo(opened.path).fileName()));
    } else if (args.has("--write")) {
        const Status saved = editor::ProjectStore::saveAs(applied.project, opened.path);
        if (!saved) return failWith(saved.error().message);
    }
    print(QJsonObject{{"project", toJson(applied.project)},
                      {"remember", QJsonArray::fromStringList(applied.remember)},
                      {"forget", QJsonArray::fromStringList(applied.forget)},
                      {"skipped", applied.skipped}});
    return 0;
}

int show(const QString& command, const Opened& opened, const QStringList& words,
         const core::Args& args) {
    const editor::EditProject& project = opened.project;
    if (command == "apply") return apply(opened, words, args);
    if (command == "numbered") return print(editor::linePayload(project, args.has("--state"))), 0;
    if (command == "hook") {
        const auto hook = editor::hookText(project);
        return print(hook ? QJsonValue(*hook) : QJsonValue(QJsonValue::Null)), 0;
    }
    const Derived d{project};
    if (command == "lines") return print(arrayOf(d.lines)), 0;
    if (command == "segments") return print(arrayOf(d.timeline.segments())), 0;
    if (command == "timeline") {
        return print(QJsonObject{{"segments", arrayOf(d.timeline.segments())},
                                 {"starts", numbers(d.timeline.starts())},
                                 {"total", d.timeline.total()}}),
               0;
    }
    if (command == "zooms") return print(numbers(editor::zooms(project, d.timeline))), 0;
    if (command == "popups") {
        QJsonArray array;
        for (const editor::PopUp& p : popUps(project, d.timeline, d.lines)) {
            array.append(QJsonObject{{"start", p.start}, {"end", p.end}, {"text", p.text}});
        }
        return print(array), 0;
    }
    // captions
    const auto cues = editor::captions(project, d.timeline, d.lines);
    if (args.has("--srt") || args.has("--vtt")) {
        const auto format =
            args.has("--srt") ? editor::SubtitleFormat::srt : editor::SubtitleFormat::vtt;
        core::console::raw(core::console::printable(editor::subtitles(cues, format)).toUtf8());
        return 0;
    }
    return print(arrayOf(cues)), 0;
}

}  // namespace

QString editUsage() {
    return QString::fromUtf8(kUsage);
}

int runEditCli(const core::Args& args, service::ServiceContext& context) {
    // The command and its operands, without the options and their values.
    static const QStringList valued{"--name", "--format", "--lang", "--out", "--set", "--scale"};
    QStringList words;
    const QStringList all = args.after("--edit");
    for (qsizetype i = 0; i < all.size(); ++i) {
        if (valued.contains(all[i])) {
            ++i;
        } else if (!all[i].startsWith("--")) {
            words << all[i];
        }
    }
    const QString command = words.value(0);
    if (command == "help") return core::console::raw(kUsage), 0;
    if (command == "list") {
        if (args.has("--json")) return print(listing()), 0;
        return core::console::raw(table().toUtf8()), 0;
    }
    if (command == "new") return editcli::makeNew(words, args);
    if (command == "style") return editcli::style(context, args);
    static const QStringList reading{"lines", "segments", "timeline", "captions", "zooms",
                                     "hook",  "popups",   "numbered", "apply"};
    static const QStringList working{"plan", "revise", "translate", "export"};
    if (!reading.contains(command) && !working.contains(command)) {
        return failWith(command.isEmpty() ? QString(core::sentences::kSayWhatToDo)
                                          : core::sentences::noEditorCommand(command));
    }
    if (words.size() < 2) {
        return failWith(core::sentences::sayWhichProject(command));
    }
    const auto opened = openProject(words.at(1));
    if (!opened) {
        failWith(opened.error().message);
        return opened.error().code == projectnames::kUnclear ? projectnames::kUnclear : 1;
    }
    if (command == "plan") return editcli::plan(context, *opened);
    if (command == "revise") return editcli::revise(context, *opened, words);
    if (command == "translate") return editcli::translate(context, *opened);
    if (command == "export") return editcli::exportVideo(*opened, args);
    return show(command, *opened, words, args);
}

}  // namespace pelix::studio
