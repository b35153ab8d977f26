// The editor's road from a terminal: `pelix --edit new`, plan, revise, translate and export
// against the loopback backend, and the framing snapshot.

#include "editor/EditProject.h"
#include "editor/Timeline.h"
#include "fakes/BackendRig.h"
#include "media/TestMedia.h"

#include <QRegularExpression>

#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

namespace pelix::studio {
namespace {

using fakes::Recorded;
using fakes::Reply;
using testing::runPelix;

class EditRoad : public ::testing::Test, protected fakes::BackendRig {
protected:
    EditRoad() : BackendRig("pelix_road_token") {}

    testing::ProcessResult edit(const QStringList& args, const QByteArray& input = {}) {
        return runPelix(QStringList{"--edit"} + args, input, backendEnv(), 240000);
    }
    // Runs a command that should succeed and returns what it printed.
    QByteArray ok(const QStringList& args, const QByteArray& input = {}) {
        const auto result = edit(args, input);
        EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
        return result.out;
    }
    editor::EditProject saved(const QString& id) const {
        const QByteArray text = testing::readFile(home.dataDir() + "/Editor/" + id + ".json");
        EXPECT_FALSE(text.isEmpty()) << id.toStdString();
        return editor::projectFromJson(QJsonDocument::fromJson(text).object())
            .value_or(editor::EditProject{});
    }
    QList<QJsonObject> sent(const QString& action) const {
        return BackendRig::sent("video-edit", action);
    }

    // Three seconds of picture and tone, 270 pictures wide: not a whole number of the scaler's
    // vectors, which makes it talk.
    QString loudClip() {
        const QString clip = media.path("clip.mp4");
        testing::runTool("ffmpeg",
                         testing::args("-v error -y -f lavfi -i testsrc=size=270x480:rate=30 "
                                       "-f lavfi -i sine=frequency=440:sample_rate=48000 "
                                       "-t 3 -c:v libx264 -pix_fmt yuv420p -c:a aac") +
                             QStringList{clip});
        return clip;
    }

    testing::TestMedia media{home.path()};
};

// The backend's side of the conversation, by action.
Reply videoEdit(const Recorded& r) {
    const QString action = r.json.value("action").toString();
    if (action == "style") {
        return r.json.contains("rules") ? Reply{}
                                        : Reply::json({{"rules", QJsonArray{"Keep it short"}}});
    }
    if (action == "plan") {
        return Reply::json({{"cut", QJsonArray{}},
                            {"keywords", QJsonArray{QJsonObject{{"id", 2}, {"phrase", "report"}}}},
                            {"hook", "Coffee first"},
                            {"title", "Morning"},
                            {"reply", "Here is a first cut."}});
    }
    if (action == "revise") {
        return Reply::json(
            {{"ops", QJsonArray{QJsonObject{{"op", "cut"}, {"ids", QJsonArray{2}}},
                                QJsonObject{{"op", "remember"}, {"rule", "No coffee talk"}}}},
             {"reply", "Cut the second line."}});
    }
    QJsonArray items;
    for (const QJsonValue& item : r.json.value("items").toArray()) {
        items.append(QJsonObject{{"id", item.toObject().value("id")},
                                 {"text", "FR " + item.toObject().value("text").toString()}});
    }
    return Reply::json({{"items", items}});
}

TEST_F(EditRoad, FromClipsToAnExportedVideo) {
    std::vector<testing::Sentence> sentences{
        {"Good morning, this is a test of the system.", 0.5},
        {"Please bring the report and a cup of coffee.", 1.0},
        {"The weather is nice today, so we can walk to the park.", 2.5}};
    const QString sample = media.speech("sample.mp4", sentences);
    backend.answerWith("video-edit", videoEdit);

    const auto made = edit({"new", sample, "--name", "Morning walk", "--lang", "en-US"});
    ASSERT_EQ(made.exitCode, 0) << made.err.toStdString();
    const QString id = QString::fromUtf8(made.out).trimmed();
    editor::EditProject project = saved(id);
    ASSERT_EQ(project.clips.size(), 1u);
    // A test picture: no face, so it is centred.
    const editor::SourceClip& clip = project.clips[0];
    EXPECT_EQ(std::tuple(project.name, clip.width, clip.height, clip.faceX.has_value()),
              std::tuple(QString("Morning walk"), 160, 120, false));
    const std::vector<editor::Line> all = editor::lines(project.clips);
    ASSERT_EQ(all.size(), 3u) << "the transcriber heard the sentences differently";

    EXPECT_EQ(ok({"plan", id}), "Here is a first cut.\n");
    EXPECT_EQ(sent("plan").at(0).value("style"), QJsonArray{"Keep it short"});
    project = saved(id);
    EXPECT_EQ(project.hook, "Coffee first");
    EXPECT_EQ(project.keywords, (editor::TextMap{{all[1].id, "report"}}));

    EXPECT_EQ(ok({"revise", id, "cut the second line"}), "Cut the second line.\n");
    EXPECT_EQ(sent("revise").at(0).value("instruction"), "cut the second line");
    project = saved(id);
    EXPECT_EQ(project.cut, editor::TextSet{all[1].id});
    EXPECT_EQ(project.chat, (std::vector<editor::ChatTurn>{{"cut the second line", true},
                                                           {"Cut the second line.", false}}));
    // The remembered rule joins the saved ones.
    EXPECT_EQ(sent("style").value(sent("style").size() - 1).value("rules"),
              (QJsonArray{"Keep it short", "No coffee talk"}));

    ok({"apply", id, "-", "--write"},
       R"({"ops":[{"op":"set","field":"captionLanguage","value":"fr"}]})");
    // Two lines and the hook.
    EXPECT_EQ(ok({"translate", id}), "Translated 3 of 3 captions into French.\n");
    EXPECT_EQ(saved(id).translations.at("fr").at(all[0].id), "FR " + all[0].text);
    EXPECT_EQ(ok({"translate", id}), "Every caption is already in French.\n");
    EXPECT_EQ(sent("translate").size(), 1);

    const QString folder = home.path() + "/Videos/Pelix";
    const auto exported = edit({"export", id, "--scale", "0.25"});
    ASSERT_EQ(exported.exitCode, 0) << exported.err.toStdString();
    EXPECT_EQ(exported.out, folder.toUtf8() + "/Morning walk - Instagram Reel.mp4\n");

    // Ctrl+C stops the export; a hang-up ends the process: neither leaves a file behind, in
    // the videos folder or the temporary one (where the captions' script is).
    const QString temporary = home.path() + "/tmp";
    QDir().mkpath(temporary);
    for (const int signal : {SIGINT, SIGHUP}) {
        SCOPED_TRACE(signal);
        QProcess process;
        QProcessEnvironment all = QProcessEnvironment::systemEnvironment();
        all.insert(backendEnv());
        all.insert("TMPDIR", temporary);
        process.setProcessEnvironment(all);
        process.start(qEnvironmentVariable("PELIX_BIN"), {"--edit", "export", id});
        ASSERT_TRUE(process.waitForStarted());
        QByteArray err;
        while (!err.contains("Exporting… 5%") && process.state() == QProcess::Running) {
            process.waitForReadyRead(1000);
            err += process.readAllStandardError();
        }
        ::kill(pid_t(process.processId()), signal);
        ASSERT_TRUE(process.waitForFinished(60000));
        err += process.readAllStandardError();
        if (signal == SIGINT) {
            EXPECT_EQ(process.exitCode(), 1) << err.toStdString();
            EXPECT_TRUE(err.endsWith("The export was stopped.\n")) << err.toStdString();
        } else {
            EXPECT_EQ(process.exitStatus(), QProcess::CrashExit);
        }
        EXPECT_EQ(QDir(folder).entryList(QDir::Files | QDir::Hidden),
                  QStringList{"Morning walk - Instagram Reel.mp4"});
        EXPECT_EQ(QDir(temporary).entryList(QDir::Files | QDir::Hidden), QStringList());
    }
}

// A clip with sound and a project around it with captions, a pop-up and a hook, so that an
// export runs every library: the decoders, the scalers, libass and the encoders.
QString projectAround(const QString& clip) {
    return QStringLiteral(R"({
  "id": "2a0c7a2b-0000-4000-8000-000000000001", "name": "Loud libraries",
  "created": "2026-11-20T10:00:00Z",
  "clips": [{"id": "2a0c7a2b-aaaa-4000-8000-000000000002", "path": "%1",
    "duration": 3, "width": 270, "height": 480, "transcribed": true,
    "words": [{"start": 0.1, "end": 0.5, "text": "So,"}, {"start": 0.6, "end": 1.0, "text": "hello."},
              {"start": 1.2, "end": 1.6, "text": "The"}, {"start": 1.7, "end": 2.2, "text": "idea."}]}],
  "settings": {"captions": true}, "cut": [], "keywords": {"2A0C7A2B:1": "Big idea"}, "fixes": {},
  "translations": {}, "hook": "Watch this", "title": "", "chat": []})")
        .arg(clip);
}

// "[overlay @ 0x55…] libass API version…": a library talking on the user's terminal.
bool libraryChatter(const QByteArray& err) {
    static const QRegularExpression pattern(QStringLiteral(R"(\[[^\]\n]+ @ 0x)"));
    return pattern.match(QString::fromUtf8(err)).hasMatch();
}

TEST_F(EditRoad, AnExportIsADocumentOfTheUserAndLibrariesKeepQuiet) {
    const QString clip = loudClip();
    const QString project =
        testing::writeFile(home.path(), "loud.json", projectAround(clip).toUtf8());
    // The umask is the user's: an export is not made private like a temporary file.
    for (const auto& [umask, mode] : {std::pair<mode_t, mode_t>{022, 0644}, {077, 0600}}) {
        const QString out = home.path() + QStringLiteral("/video-%1.mp4").arg(umask, 3, 8);
        const mode_t old = ::umask(umask);
        const auto exported = edit({"export", project, "--out", out, "--scale", "0.5"});
        ::umask(old);
        ASSERT_EQ(exported.exitCode, 0) << exported.err.toStdString();
        EXPECT_FALSE(libraryChatter(exported.err)) << exported.err.toStdString();
        struct stat made {};
        ASSERT_EQ(::stat(QFile::encodeName(out).constData(), &made), 0);
        EXPECT_EQ(made.st_mode & 07777, mode) << out.toStdString();
    }
    // The framing picture (drawing it once overran the preview frame's buffer).
    QTemporaryDir pictures;
    const auto drawn =
        runPelix({"--snapshot", pictures.path(), "--framing", clip}, {}, backendEnv(), 120000);
    ASSERT_EQ(drawn.exitCode, 0) << drawn.err.toStdString();
    EXPECT_FALSE(libraryChatter(drawn.err)) << drawn.err.toStdString();
}

TEST_F(EditRoad, AnExportNeverReplacesItsInputsAndAsksBeforeReplacingAFile) {
    const QString clip = loudClip();
    const QString project =
        testing::writeFile(home.path(), "project.json", projectAround(clip).toUtf8());
    const QString other = testing::writeFile(home.path(), "other.mp4", "someone's video");
    // Other names for the inputs: a link to the clip, a second hard link of the project.
    QFile::link(clip, home.path() + "/link.mp4");
    ASSERT_EQ(::link(QFile::encodeName(project).constData(),
                     QFile::encodeName(home.path() + "/again.mp4").constData()),
              0);
    const auto before = [&] {
        return QList{testing::readFile(clip), testing::readFile(project), testing::readFile(other)};
    };
    const auto unchanged = before();
    const QString tooLong = QString(300, u'x') + ".mp4";
    const auto input = [](const QString& name) {
        return "Couldn't export over " + name +
               ": the video is made from it, so choose another file.\n";
    };
    const struct {
        QString out;
        bool force;
        QString says;
    } refused[] = {
        {clip, true, input("clip.mp4")},
        {home.path() + "/link.mp4", true, input("link.mp4")},
        {home.path() + "/again.mp4", true, input("again.mp4")},
        {other, false, "other.mp4 is there already; add --force to replace it.\n"},
        {home.path() + "/gone/video.mp4", false,
         "Couldn't export there: the folder " + home.path() + "/gone doesn't exist.\n"},
        {home.path() + "/" + tooLong, false,
         "Couldn't export there: the name " + tooLong +
             " is longer than the file system allows.\n"},
    };
    for (const auto& c : refused) {
        SCOPED_TRACE(c.out.right(40).toStdString());
        QStringList args{"export", project, "--out", c.out, "--scale", "0.1"};
        if (c.force) args << "--force";
        const auto result = edit(args);
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_EQ(QString::fromUtf8(result.err), c.says);
        EXPECT_TRUE(before() == unchanged) << "an input or the file in the way changed";
    }
    // A long name the file system takes still has room for the temporary file beside it.
    const QString longName = home.path() + "/" + QString(250, u'y') + ".mp4";
    const auto exported = edit({"export", project, "--out", longName, "--scale", "0.1"});
    EXPECT_EQ(exported.exitCode, 0) << exported.err.toStdString();
    const auto replaced = edit({"export", project, "--out", other, "--scale", "0.1", "--force"});
    EXPECT_EQ(replaced.exitCode, 0) << replaced.err.toStdString();
    EXPECT_NE(testing::readFile(other), unchanged[2]);
    EXPECT_EQ(QDir(home.path()).entryList({".part*"}, QDir::Files | QDir::Hidden), QStringList());
}

// A clip that cannot be used after a good one: nothing is transcribed and nothing saved.
TEST_F(EditRoad, NewRefusesAClipItCannotUseAndSavesNothing) {
    const auto result = edit({"new", media.tone("tone.wav", 1), media.silentVideo("quiet.mp4", 1)});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.err, "quiet.mp4 has no sound in it, so there's nothing to transcribe.\n");
    EXPECT_TRUE(result.out.isEmpty());
    EXPECT_TRUE(QDir(home.dataDir() + "/Editor").isEmpty());
}

}  // namespace
}  // namespace pelix::studio
