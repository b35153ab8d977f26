#include "editor/EditProject.h"
#include "editor/ProjectStore.h"
#include "editor/SampleProject.h"
#include "support/TestSupport.h"

#include <QDir>
#include <QFile>
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
         "\"clips[0].words[0].start\" is not a number"},
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
