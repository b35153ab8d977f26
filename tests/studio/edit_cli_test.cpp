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
    "words": [{"start": 0.05, "end": 0.4, "text": "So,"}, {"start": 0.95, "end": 1.3, "text": "thing."},
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

// Names and words come from files and servers: what is printed of them carries no control
// characters for the terminal to act on (retitling, clipboard writes, overwriting).
TEST_F(EditCli, NothingPrintedCarriesControlCharacters) {
    QByteArray hostile = kProject;
    hostile.replace(R"("name": "Hand made")", R"("name": "Evil\u001b]0;owned\u0007\r\nname")");
    hostile.replace(R"("text": "thing.")", R"("text": "thing.\u001b]52;c;aGk=\u0007\u009b2J\r")");
    write(hostile);
    saved();
    const QStringList commands[] = {{"list"}, {"lines", path}, {"captions", path, "--srt"}};
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
    const struct {
        QStringList args;
        QUrl base;
        const char* says;
    } cases[] = {
        {{"plan", path}, page.base(), "Pelix answered 502 without the style rules"},
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

// A saved project goes by its name or the start of its id; a word that fits several is a usage
// error naming what it could be, so the wrong project is never edited.
TEST_F(EditCli, ProjectsGoByNameOrTheStartOfTheirId) {
    QJsonObject other = QJsonDocument::fromJson(kProject).object();
    other.insert("id", "1f0c9999-0000-4000-8000-000000000003");
    other.insert("name", "Morning run");
    testing::writeFile(saved(), "1F0C9999-0000-4000-8000-000000000003.json",
                       QJsonDocument(other).toJson());
    const std::pair<QString, QString> cases[] = {
        {"hand MADE", "0 \"Watch this\"\n"},
        {"1F0C",
         "2 Couldn't tell which project 1F0C is: it could be Hand made (1F0C7A2B) or "
         "Morning run (1F0C9999); give more of the id.\n"},
    };
    for (const auto& [project, says] : cases) {
        const auto result = edit({"hook", project});
        EXPECT_EQ(QString::number(result.exitCode) + " " + result.out + result.err, says);
    }
}

}  // namespace
}  // namespace pelix::studio
