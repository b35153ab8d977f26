#include "editor/EditProject.h"
#include "editor/ProjectStore.h"
#include "editor/SampleProject.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>

#include <gtest/gtest.h>

namespace pelix {
namespace {

QJsonObject parsed(const char* text) {
    return QJsonDocument::fromJson(text).object();
}

constexpr auto kMinimal =
    R"({"id":"1f0c7a2b-0000-4000-8000-000000000001","clips":[],"settings":{}})";

TEST(EditProject, EmptySettingsObjectLoadsEveryDefault) {
    for (const char* text :
         {kMinimal, R"({"id":"1f0c7a2b-0000-4000-8000-000000000001","clips":[]})"}) {
        const auto project = projectFromJson(parsed(text));
        ASSERT_TRUE(project) << project.error().message.toStdString();
        const EditSettings& s = project->settings;
        EXPECT_EQ(s, EditSettings{});
        EXPECT_EQ(s.format, VideoFormat::reel);
        EXPECT_TRUE(s.captions);
        EXPECT_EQ(s.pace, Pace::tight);
        EXPECT_TRUE(s.removeFillers);
        EXPECT_FALSE(s.progressBar);
        EXPECT_EQ(s.captionSize, 1.0);
        EXPECT_FALSE(s.targetSeconds);
        EXPECT_EQ(project->name, "Untitled video");
    }
}

TEST(EditProject, JsonRoundTripGivesAnEqualProject) {
    EditProject project = sampleProject(400, 3, 7);
    project.clips[0].faceX = 0.42;
    project.clips[1].framing = Framing{0.3, 0.6, 1.4};
    project.settings.spokenLanguage = "nl-NL";
    project.settings.targetSeconds = 45;
    project.settings.captionLanguage = CaptionLanguage::zhHant;
    project.settings.captionStyle = CaptionStyle::clean;
    project.translations["zh-Hant"]["hook"] = "鉤子";
    project.chat = {{"Make it shorter", true}, {"Done.", false}};
    project.created = QDateTime::fromMSecsSinceEpoch(1'763'717'400'123, Qt::UTC);

    // Through text, as a file holds it.
    const QByteArray text = QJsonDocument(toJson(project)).toJson();
    const auto back = projectFromJson(QJsonDocument::fromJson(text).object());
    ASSERT_TRUE(back) << back.error().message.toStdString();
    EXPECT_EQ(*back, project);
    EXPECT_EQ(toJson(project).value("created").toString(), "2025-11-21T09:30:00.123Z");
    EXPECT_EQ(toJson(project).value("id").toString(), upperUuid(project.id));
}

TEST(EditProject, CreatedIsReadFromIsoTextWithAnyOffsetOrFromSeconds) {
    const QDateTime want = QDateTime::fromMSecsSinceEpoch(1'763'717'400'000, Qt::UTC);
    for (const char* created : {R"("2025-11-21T09:30:00Z")", R"("2025-11-21T10:30:00+01:00")",
                                R"("2025-11-21T09:30:00.000Z")", "1763717400"}) {
        const QByteArray text =
            QByteArray(R"({"id":"1f0c7a2b-0000-4000-8000-000000000001","clips":[],"created":)") +
            created + "}";
        const auto project = projectFromJson(QJsonDocument::fromJson(text).object());
        ASSERT_TRUE(project) << created;
        EXPECT_EQ(project->created, want) << created;
    }
}

TEST(EditProject, BadFilesAreRejectedNamingTheKey) {
    const struct {
        const char* json;
        const char* names;
    } cases[] = {
        {R"({"clips":[]})", "\"id\" is missing"},
        {R"({"id":"nope","clips":[]})", "\"id\" is not a UUID"},
        {R"({"id":"1f0c7a2b-0000-4000-8000-000000000001"})", "\"clips\" is missing"},
        {R"({"id":"1f0c7a2b-0000-4000-8000-000000000001","clips":{}})", "\"clips\" is not a list"},
        {R"({"id":"1f0c7a2b-0000-4000-8000-000000000001","clips":[{"id":"1f0c7a2b-0000-4000-8000-000000000002","path":"/a","words":[{"start":"0","end":1,"text":"a"}]}]})",
         "\"clips[0].words[0].start\" is not a time between 0 and 1000000 seconds"},
        {R"({"id":"1f0c7a2b-0000-4000-8000-000000000001","clips":[],"settings":{"format":"tiktok"}})",
         "\"settings.format\" is not one of its known values"},
        {R"({"id":"1f0c7a2b-0000-4000-8000-000000000001","clips":[],"settings":{"captions":"yes"}})",
         "\"settings.captions\" is not true or false"},
        {R"({"id":"1f0c7a2b-0000-4000-8000-000000000001","clips":[],"translations":{"fr":{"1F0C7A2B:0":3}}})",
         "\"translations\" is not an object of languages"},
    };
    for (const auto& c : cases) {
        const auto project = projectFromJson(parsed(c.json));
        ASSERT_FALSE(project) << c.json;
        EXPECT_EQ(project.error().message.toStdString(), c.names) << c.json;
    }
}

// Whatever loads saves to a file that loads again as the same project; what cannot be saved that
// way is refused at load, naming the key.
TEST(EditProject, WhatLoadsSavesToWhatLoads) {
    const auto withClip = [](const QByteArray& word) {
        return R"({"id":"1f0c7a2b-0000-4000-8000-000000000001","clips":[{"id":"1f0c7a2b-0000-4000-8000-000000000002","path":"/a","words":[)" +
               word + "]}]}";
    };
    const auto withCreated = [](const QByteArray& created) {
        return R"({"id":"1f0c7a2b-0000-4000-8000-000000000001","clips":[],"created":)" + created +
               "}";
    };
    const auto withId = [](const QByteArray& id) { return R"({"clips":[],"id":)" + id + "}"; };
    const QString outside = "\"created\" is a date outside the years 1 to 9999";
    const QString notATime =
        "\"clips[0].words[0].start\" is not a time between 0 and 1000000 seconds";
    const struct {
        QByteArray json;
        QString refusal;  // empty: it loads
    } cases[] = {
        // A timestamp in milliseconds read as seconds lands in the year 56864.
        {withCreated("1732300000000"), outside + " (a number counts seconds since 1970)"},
        {withCreated("1e308"), outside + " (a number counts seconds since 1970)"},
        {withCreated("-1e308"), outside + " (a number counts seconds since 1970)"},
        {withCreated("-62135596800"), ""},    // 0001-01-01T00:00:00Z
        {withCreated("253402300799.5"), ""},  // the last half second of 9999
        {withCreated(R"("9999-12-31T23:59:59.999Z")"), ""},
        {withCreated(R"("0001-01-01T00:00:00+01:00")"), outside},
        {withCreated(R"("10000-01-01T00:00:00Z")"), "\"created\" is not a date"},
        {withClip(R"({"start":1e306,"end":1e306,"text":"a"})"), notATime},
        {withClip(R"({"start":-1,"end":1,"text":"a"})"), notATime},
        {withClip(R"({"start":0,"end":1000001,"text":"a"})"),
         "\"clips[0].words[0].end\" is not a time between 0 and 1000000 seconds"},
        {withClip(R"({"start":999999.5,"end":1000000,"text":"a"})"), ""},
        {withClip(R"({"start":1.05,"end":0.4,"text":"a"})"),
         "\"clips[0].words[0].end\" is before its start"},
        {withId(R"("1f0c7a2b-0000-4000-8000-000000000001-and-more")"), "\"id\" is not a UUID"},
        {withId(R"("1f0c7a2b-0000-4000-8000-0000000000011")"), "\"id\" is not a UUID"},
        {withId(R"("1f0c7a2b000040008000000000000001")"), "\"id\" is not a UUID"},
        {withId(R"("{1f0c7a2b-0000-4000-8000-000000000001}")"), ""},
        {withId(R"("1F0C7A2B-0000-4000-8000-000000000001")"), ""},
        {R"({"id":"1f0c7a2b-0000-4000-8000-000000000001","clips":[],"settings":{"targetSeconds":1e300}})",
         "\"settings.targetSeconds\" is not a number of seconds between -1000000 and 1000000"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.json.toStdString());
        const auto project = projectFromJson(QJsonDocument::fromJson(c.json).object());
        if (!c.refusal.isEmpty()) {
            ASSERT_FALSE(project);
            EXPECT_EQ(project.error().message, c.refusal);
            continue;
        }
        ASSERT_TRUE(project) << project.error().message.toStdString();
        const QByteArray saved = QJsonDocument(toJson(*project)).toJson();
        const auto again = projectFromJson(QJsonDocument::fromJson(saved).object());
        ASSERT_TRUE(again) << again.error().message.toStdString() << "\n" << saved.toStdString();
        EXPECT_EQ(*again, *project);
    }
}

TEST(EditProject, KeysItDoesNotKnowAreKeptThroughALoadAndASave) {
    const QJsonObject original = parsed(R"({
        "id": "1F0C7A2B-0000-4000-8000-000000000001", "futureField": {"a": [1, "two", null]},
        "clips": [{"id": "1F0C7A2B-0000-4000-8000-000000000002", "path": "/a", "thumbnail": "t.png",
                   "framing": {"x": 0.5, "y": 0.5, "zoom": 1, "tilt": 3},
                   "words": [{"start": 0, "end": 1, "text": "a"},
                             {"start": 1, "end": 2, "text": "b", "confidence": 0.9}]}],
        "settings": {"music": "calm", "pace": "snappy"},
        "chat": [{"text": "hi", "mine": true, "at": "noon"}]})");
    const auto project = projectFromJson(original);
    ASSERT_TRUE(project) << project.error().message.toStdString();
    const QJsonObject saved = toJson(*project);
    EXPECT_EQ(saved.value("futureField"), original.value("futureField"));
    const QJsonObject clip = saved.value("clips").toArray().at(0).toObject();
    EXPECT_EQ(clip.value("thumbnail"), "t.png");
    EXPECT_EQ(clip.value("framing").toObject().value("tilt"), 3);
    EXPECT_FALSE(clip.value("words").toArray().at(0).toObject().contains("confidence"));
    EXPECT_EQ(clip.value("words").toArray().at(1).toObject().value("confidence"), 0.9);
    EXPECT_EQ(saved.value("settings").toObject().value("music"), "calm");
    EXPECT_EQ(saved.value("settings").toObject().value("pace"), "snappy");
    EXPECT_EQ(saved.value("chat").toArray().at(0).toObject().value("at"), "noon");
    const auto again = projectFromJson(saved);
    ASSERT_TRUE(again);
    EXPECT_EQ(*again, *project);
}

class ProjectStoreTest : public ::testing::Test {
protected:
    testing::IsolatedHome home;
};

TEST_F(ProjectStoreTest, SavesUnderTheUpperCaseIdInTheDataFolderAndReplaces) {
    EditProject project = sampleProject(50, 1, 3);
    ASSERT_TRUE(ProjectStore::save(project));
    project.name = "Second";
    ASSERT_TRUE(ProjectStore::save(project));

    const QString folder = home.dataDir() + "/Editor";
    EXPECT_EQ(ProjectStore::folder(), folder);
    EXPECT_EQ(QDir(folder).entryList(QDir::Files), QStringList{upperUuid(project.id) + ".json"});
    EXPECT_EQ(QFile::permissions(folder + "/" + upperUuid(project.id) + ".json") & 0x0777, 0x0600);
    const auto opened = ProjectStore::open(project.id);
    ASSERT_TRUE(opened);
    EXPECT_EQ(*opened, project);
}

TEST_F(ProjectStoreTest, RelativeEditorDirIsUsedAsItStands) {
    const QString cwd = QDir::currentPath();
    QDir::setCurrent(home.path());
    qputenv("PELIX_EDITOR_DIR", "projects/here");
    EXPECT_EQ(ProjectStore::folder(), "projects/here");
    ASSERT_TRUE(ProjectStore::save(sampleProject(10, 1, 1)));
    EXPECT_EQ(QDir(home.path() + "/projects/here").entryList(QDir::Files).size(), 1);
    QDir::setCurrent(cwd);
}

TEST_F(ProjectStoreTest, ListReportsBrokenFilesByNameAndLeavesThemAlone) {
    EditProject present = sampleProject(20, 1, 5);
    present.clips[0].path = home.path() + "/clip.mov";
    QFile(present.clips[0].path).open(QIODevice::WriteOnly);
    EditProject missing = sampleProject(20, 1, 6);
    ASSERT_TRUE(ProjectStore::save(present));
    ASSERT_TRUE(ProjectStore::save(missing));
    const QString broken = ProjectStore::folder() + "/Broken.json";
    const QByteArray junk = R"({"id":"x", "clips": [)";
    {
        QFile file(broken);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(junk);
    }

    const auto entries = ProjectStore::list();
    ASSERT_EQ(entries.size(), 3u);
    int seen = 0;
    for (const auto& e : entries) {
        if (e.file == "Broken.json") {
            ASSERT_TRUE(e.error);
            EXPECT_TRUE(e.error->contains("Broken.json"));
            ++seen;
        } else {
            EXPECT_FALSE(e.error);
            EXPECT_EQ(e.mediaMissing, e.id == missing.id) << e.file.toStdString();
            seen += e.id == present.id || e.id == missing.id;
        }
    }
    EXPECT_EQ(seen, 3);
    QFile file(broken);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), junk);
}

// A file that is not JSON is named with what is wrong and where, as an editor counts lines.
TEST_F(ProjectStoreTest, FilesThatAreNotJsonSayWhatAndWhere) {
    const struct {
        QByteArray bytes;
        const char* says;
    } cases[] = {
        {"{\"id\": NaN}", "it is not JSON (illegal number at line 1, column 8)."},
        {"{\n  \"id\": 1e400\n}", "it is not JSON (illegal number at line 2, column 14)."},
        {"{\"id\": 1} trailing",
         "it is not JSON (garbage at the end of the document at line 1, "
         "column 11)."},
        {"{\"name\": \"caf\xC3\"}", "it is not JSON (invalid UTF8 string at line 1, column 14)."},
        {QByteArray(100000, '[') + QByteArray(100000, ']'),
         "it is not JSON (too deeply nested document"},
        {"[1, 2]", "it is JSON but not an object."},
    };
    const QString path = home.path() + "/p.json";
    for (const auto& c : cases) {
        SCOPED_TRACE(c.says);
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(c.bytes);
        file.close();
        const auto project = ProjectStore::openFile(path);
        ASSERT_FALSE(project);
        EXPECT_TRUE(project.error().message.startsWith("Couldn't read the project p.json: "));
        EXPECT_TRUE(project.error().message.contains(c.says))
            << project.error().message.toStdString();
    }
}

TEST_F(ProjectStoreTest, SavingNeverReplacesAFileThatIsNotAProject) {
    const EditProject project = sampleProject(10, 1, 9);
    const QString path = ProjectStore::fileFor(project.id);
    ASSERT_TRUE(QDir().mkpath(ProjectStore::folder()));
    {
        QFile file(path);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write("notes");
    }
    const Status saved = ProjectStore::save(project);
    ASSERT_FALSE(saved);
    EXPECT_TRUE(saved.error().message.startsWith("Couldn't save the project: "));
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), "notes");
}

}  // namespace
}  // namespace pelix
