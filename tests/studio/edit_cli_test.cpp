#include "fakes/HostileServer.h"
#include "fakes/LoopbackBackend.h"
#include "support/TestSupport.h"

namespace pelix::studio {
namespace {

using testing::runPelix;

// A project written by hand from the field names, with an empty settings object.
constexpr char kProject[] = R"({
  "id": "1f0c7a2b-0000-4000-8000-000000000001", "name": "Hand made",
  "created": "2026-11-20T10:00:00Z",
  "clips": [{"id": "1f0c7a2b-aaaa-4000-8000-000000000002", "path": "/nowhere/clip.mov",
    "duration": 10, "width": 1080, "height": 1920, "transcribed": true,
    "words": [{"start": 0.05, "end": 0.4, "text": "So,"}, {"start": 0.45, "end": 0.7, "text": "here's"},
              {"start": 0.75, "end": 0.9, "text": "the"}, {"start": 0.95, "end": 1.3, "text": "thing."},
              {"start": 1.4, "end": 1.6, "text": "Um,"}, {"start": 1.7, "end": 2.0, "text": "the"},
              {"start": 2.05, "end": 2.3, "text": "big"}, {"start": 2.35, "end": 2.8, "text": "idea"},
              {"start": 2.85, "end": 3.1, "text": "is"}, {"start": 3.15, "end": 3.5, "text": "this."},
              {"start": 5.0, "end": 5.4, "text": "Bye."}]}],
  "settings": {}, "cut": [], "keywords": {"1F0C7A2B:1": "Big Idea!"}, "fixes": {},
  "translations": {}, "hook": "  Watch this ", "title": "", "chat": []})";

class EditCli : public ::testing::Test {
protected:
    void SetUp() override { write(kProject); }

    void write(const QByteArray& project) { testing::writeFile(home.path(), "hand.json", project); }
    QByteArray read() const { return testing::readFile(path); }
    testing::ProcessResult edit(const QStringList& args, const QByteArray& input = {}) {
        return runPelix(QStringList{"--edit"} + args, input);
    }
    // Runs the command and returns its standard output parsed as one JSON document.
    QJsonDocument json(const QStringList& args) {
        const auto result = edit(args);
        EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
        QJsonParseError error{};
        const QByteArray wrapped = "[" + result.out + "]";  // a bare string or null too
        const QJsonDocument doc = QJsonDocument::fromJson(wrapped, &error);
        EXPECT_EQ(error.error, QJsonParseError::NoError) << result.out.toStdString();
        return QJsonDocument::fromVariant(doc.array().at(0).toVariant());
    }
    // The project copied into the projects folder, under its id.
    QString saved() {
        const QString folder = home.path() + "/data/Pelix/Editor";
        QDir().mkpath(folder);
        QFile::copy(path, folder + "/1F0C7A2B-0000-4000-8000-000000000001.json");
        return folder;
    }

    testing::IsolatedHome home;
    QString path = home.path() + "/hand.json";
};

TEST_F(EditCli, PrintsWhatTheProjectDerives) {
    const auto out = [&](const QStringList& args) { return edit(args).out.toStdString(); };
    EXPECT_EQ(out({"lines", path}),
              R"([{"clip":0,"end":1.3,"firstWord":0,"id":"1F0C7A2B:0","lastWord":3,"start":0.05,)"
              R"("text":"So, here's the thing."},{"clip":0,"end":3.5,"firstWord":4,)"
              R"("id":"1F0C7A2B:1","lastWord":9,"start":1.4,"text":"Um, the big idea is this."},)"
              R"({"clip":0,"end":5.4,"firstWord":10,"id":"1F0C7A2B:2","lastWord":10,"start":5,)"
              R"("text":"Bye."}])"
              "\n");
    EXPECT_NEAR(json({"timeline", path}).object().value("total").toDouble(), 3.95, 1e-9);
    const QJsonArray cues = json({"captions", path}).array();
    EXPECT_EQ(cues.size(), 5);
    EXPECT_EQ(cues.at(0).toObject(), (QJsonObject{{"start", 0.05},
                                                  {"end", 0.45},
                                                  {"times", QJsonArray{0.05}},
                                                  {"unspaced", false},
                                                  {"words", QJsonArray{"So,"}}}));
    EXPECT_TRUE(out({"captions", path, "--srt"})
                    .starts_with("1\n00:00:00,050 --> 00:00:00,450\nSo,\n\n2\n"));
    EXPECT_TRUE(out({"captions", "--vtt", path}).starts_with("WEBVTT\n\n00:00:00.050 --> "));

    EXPECT_EQ(out({"zooms", path}), "[1,1.18,1]\n");
    EXPECT_TRUE(out({"numbered", path, "--state"}).contains(R"("keyword":"Big Idea!","t":1.4)"));
    // The hook is a string, or null when it is blank.
    EXPECT_EQ(out({"hook", path}), "\"Watch this\"\n");
    write(QByteArray(kProject).replace("  Watch this ", "   "));
    EXPECT_EQ(out({"hook", path}), "null\n");
}

TEST_F(EditCli, ApplyPrintsTheResultAndWritesOnlyWhenAskedAndChanged) {
    const QString opsPath = testing::writeFile(
        home.path(), "ops.json",
        R"([{"op":"cut","ids":[1]},{"op":"remember","rule":"Short"},{"op":"keep_only","ids":[99]}])");

    const QJsonObject applied = json({"apply", path, opsPath}).object();
    EXPECT_EQ(
        (QJsonArray{applied.value("skipped"), applied.value("remember"), applied.value("forget"),
                    applied.value("project").toObject().value("cut")}),
        (QJsonArray{1, QJsonArray{"Short"}, QJsonArray{}, QJsonArray{"1F0C7A2B:0"}}));
    EXPECT_EQ(json({"segments", path}).array().size(), 3);  // the file is as it was
    json({"apply", path, opsPath, "--write"});
    EXPECT_EQ(json({"segments", path}).array().size(), 2);

    // When nothing changed, the file is not touched.
    const QByteArray before = read();
    auto written = edit({"apply", path, "-", "--write"}, R"([{"op":"cut","ids":[99]},{"op":"x"}])");
    EXPECT_EQ(written.exitCode, 0) << written.err.toStdString();
    EXPECT_EQ(written.err, "Nothing changed, so hand.json is left as it was.\n");
    EXPECT_EQ(read(), before);
}

TEST_F(EditCli, ListShowsSavedProjectsAndBrokenFilesByName) {
    testing::writeFile(saved(), "Old.json", "{}");

    // For a person, a table; its columns line up under the heading.
    const auto shown = edit({"list"});
    EXPECT_EQ(shown.exitCode, 0) << shown.err.toStdString();
    const QStringList rows = QString::fromUtf8(shown.out).split('\n', Qt::SkipEmptyParts);
    ASSERT_EQ(rows.size(), 3) << shown.out.toStdString();
    EXPECT_TRUE(
        QRegularExpression(R"(^NAME +CLIPS +LENGTH +CHANGED +ID$)").match(rows[0]).hasMatch())
        << rows[0].toStdString();
    const QString project = rows.filter("Hand made").value(0);
    EXPECT_TRUE(QRegularExpression(R"(^Hand made +1 +0:0\d +\S.*\S +1F0C7A2B \(media missing\)$)")
                    .match(project)
                    .hasMatch())
        << project.toStdString();
    EXPECT_EQ(project.indexOf("1F0C7A2B"), rows[0].indexOf("ID"));
    EXPECT_TRUE(rows.filter("Old.json").value(0).endsWith("can't be read"));

    // For scripts, JSON.
    QStringList entries;
    for (const QJsonValue& entry : json({"list", "--json"}).array()) {
        const QJsonObject e = entry.toObject();
        entries << (e.contains("error")
                        ? e.value("file").toString() + " " +
                              QString::number(e.value("error").toString().contains("Old.json"))
                        : QStringList{e.value("name").toString(), e.value("id").toString(),
                                      QString::number(e.value("mediaMissing").toBool())}
                              .join(' '));
    }
    entries.sort();
    EXPECT_EQ(entries,
              (QStringList{"Hand made 1F0C7A2B-0000-4000-8000-000000000001 1", "Old.json 1"}));
}

TEST_F(EditCli, FailuresAreOneSentenceWithTheirExitStatus) {
    const QString broken = testing::writeFile(
        home.path(), "broken.json",
        R"({"id": "1f0c7a2b-0000-4000-8000-000000000001", "clips": [{"path": "/a"}]})");
    const std::pair<QStringList, const char*> cases[] = {
        {{"lines"}, "Say which project"},
        {{"frobnicate", "x"}, "The editor has no command frobnicate"},
        {{"apply", path}, "Say which operations"},
        {{"revise", path}, "Say what to change"},
        {{"export", path}, "Couldn't export the video: its clip /nowhere/clip.mov is missing."},
        {{"export", path, "--scale", "nan"}, "The scale nan is not a number from 0.1 to 1."},
        {{"export", path, "--scale", "1e-300"}, "The scale 1e-300 is not a number from 0.1 to 1."},
        {{"export", path, "--scale", "1.5"}, "The scale 1.5 is not a number from 0.1 to 1."},
        {{"lines", broken}, "Couldn't read the project broken.json: \"clips[0].id\" is missing.\n"},
    };
    for (const auto& [args, says] : cases) {
        const auto result = edit(args);
        EXPECT_TRUE(result.err.contains(says)) << result.err.toStdString();
        // One line on standard error, nothing on standard output.
        EXPECT_EQ(QString("%1 %2 %3")
                      .arg(result.exitCode)
                      .arg(result.err.count('\n'))
                      .arg(result.out.size()),
                  "1 1 0")
            << says;
    }
}

// Names and words come from files and servers: what is printed of them carries no control
// characters for the terminal to act on (retitling, clipboard writes, overwriting).
TEST_F(EditCli, NothingPrintedCarriesControlCharacters) {
    QByteArray hostile = kProject;
    hostile.replace(R"("name": "Hand made")", R"("name": "Evil\u001b]0;owned\u0007\r\nname")");
    hostile.replace(R"("text": "thing.")", R"("text": "thing.\u001b]52;c;aGk=\u0007\u009b2J\r")");
    write(hostile);
    saved();
    const QStringList commands[] = {{"list"},
                                    {"list", "--json"},
                                    {"lines", path},
                                    {"captions", path},
                                    {"captions", path, "--srt"}};
    for (const QStringList& args : commands) {
        SCOPED_TRACE(args.join(' ').toStdString());
        const auto result = edit(args);
        EXPECT_EQ(result.exitCode, 0) << result.err.toStdString();
        const QString out = QString::fromUtf8(result.out);
        EXPECT_TRUE(out.contains("thing.") || out.contains("Evil")) << result.out.toStdString();
        for (const QChar c : out) {
            EXPECT_FALSE(c.category() == QChar::Other_Control && c != u'\n')
                << "U+" << std::hex << int(c.unicode()) << " in " << result.out.toStdString();
        }
    }
}

// An answer that is not the backend's (a proxy's 502 page, a gateway's refusal of the token)
// leaves the project as it was, cuts and translations included, and the command fails saying why.
TEST_F(EditCli, APassTheBackendDidNotAnswerChangesNothing) {
    QByteArray edited = kProject;
    edited.replace(R"("cut": [])", R"("cut": ["1F0C7A2B:1"])");
    edited.replace(R"("translations": {})", R"("translations": {"fr": {"1F0C7A2B:0": "Alors."}})");
    write(edited);
    testing::writeFile(home.dataDir(), "token", "pelix_test");
    // The rules come back, the plan does not.
    fakes::LoopbackBackend rulesOnly;
    rulesOnly.answerWith("video-edit", [](const fakes::Recorded& r) {
        if (r.json.value("action") == "style") {
            return fakes::Reply::json({{"rules", QJsonArray{"Short"}}});
        }
        return fakes::Reply::text("<html><h1>502 Bad Gateway</h1></html>", 502);
    });
    fakes::HostileServer page(fakes::HostileServer::badGatewayPage());
    fakes::HostileServer jwt(fakes::HostileServer::invalidJwt());
    const struct {
        QStringList args;
        QUrl base;
        const char* says;
    } cases[] = {
        {{"plan", path}, page.base(), "Pelix answered 502 without the style rules"},
        {{"plan", path}, jwt.base(), "Pelix answered 401 without the style rules"},
        {{"plan", path}, rulesOnly.base(), "Pelix answered 502 without the edit plan"},
        {{"revise", path, "cut the end"},
         rulesOnly.base(),
         "Pelix answered 502 without the changes"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.says);
        QProcessEnvironment env;
        env.insert("PELIX_API_BASE", c.base.toString());
        const auto result = runPelix(QStringList{"--edit"} + c.args, {}, env);
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_EQ(result.err, QByteArray(c.says) + ", so nothing was changed.\n");
        EXPECT_TRUE(result.out.isEmpty()) << result.out.toStdString();
        EXPECT_EQ(read(), edited);
    }
}

// A saved project goes by its name or by the start of its id wherever a project goes; a word
// that fits several, or none, is a usage error naming what it could be.
TEST_F(EditCli, ProjectsGoByNameOrTheStartOfTheirId) {
    const QString folder = saved();
    const auto another = [&](const QString& id, const QString& name, const QByteArray& text = {}) {
        QJsonObject other = QJsonDocument::fromJson(kProject).object();
        other.insert("id", id);
        other.insert("name", name);
        testing::writeFile(folder, id.toUpper() + ".json",
                           text.isEmpty() ? QJsonDocument(other).toJson() : text);
    };
    another("1f0c9999-0000-4000-8000-000000000003", "Morning run");
    const QString hook = "0 \"Watch this\"\n";
    const QString unknown =
        "it is neither a file nor the name or the start of the id of a saved "
        "project (pelix --edit list shows them).\n";
    const std::pair<QString, QString> cases[] = {
        {"hand MADE", hook},
        {"1f0c7a", hook},
        {"1F0C7A2B-0000-4000-8000-000000000001", hook},
        {"1F0C",
         "2 Couldn't tell which project 1F0C is: it could be Hand made (1F0C7A2B) or "
         "Morning run (1F0C9999); give more of the id.\n"},
        {"Evening", "2 Couldn't find the project Evening: " + unknown},
        {"/nowhere/p.json", "2 Couldn't find the project /nowhere/p.json: " + unknown},
    };
    for (const auto& [project, says] : cases) {
        const auto result = edit({"hook", project});
        EXPECT_EQ(QString::number(result.exitCode) + " " + result.out + result.err, says);
    }
    // The same name twice is as unclear as a short id; a whole id names its file even when that
    // file cannot be read.
    another("2a000000-0000-4000-8000-000000000004", "Hand Made");
    another("3b000000-0000-4000-8000-000000000005", "", "{");
    const auto broken = edit({"lines", "3b000000-0000-4000-8000-000000000005"});
    EXPECT_EQ(broken.exitCode, 1);
    EXPECT_TRUE(broken.err.startsWith("Couldn't read the project 3B000000-0000-4000-8000-"))
        << broken.err.toStdString();

    const auto twice = edit({"lines", "hand made"});
    EXPECT_EQ(twice.exitCode, 2);
    EXPECT_TRUE(twice.err.contains("Hand made (1F0C7A2B) or Hand Made (2A000000)") ||
                twice.err.contains("Hand Made (2A000000) or Hand made (1F0C7A2B)"))
        << twice.err.toStdString();
}

}  // namespace
}  // namespace pelix::studio
