#include "editor/EditProject.h"
#include "editor/ProjectStore.h"
#include "editor/SampleProject.h"
#include "support/TestSupport.h"

#include <cmath>

namespace pelix::editor {
namespace {

QJsonObject parsed(const QByteArray& text) {
    return QJsonDocument::fromJson(text).object();
}

constexpr auto kId = R"("id":"1f0c7a2b-0000-4000-8000-000000000001")";

TEST(EditProject, JsonRoundTripGivesAnEqualProject) {
    EditProject project = sampleProject(400, 3, 7);
    project.clips[0].faceX = 0.42;
    project.clips[0].faceBox = QRectF(0.32, 0.25, 0.2, 0.375);
    project.clips[1].framing = Framing{0.3, 0.6, 1.4};
    project.settings.spokenLanguage = "nl-NL";
    project.settings.targetSeconds = 45;
    project.settings.captionLanguage = CaptionLanguage::zhHant;
    project.settings.captionStyle = CaptionStyle::clean;
    project.translations["zh-Hant"]["hook"] = "鉤子";
    project.chat = {{"Make it shorter", true}, {"Done.", false}};
    project.created = QDateTime::fromMSecsSinceEpoch(1'763'717'400'123, Qt::UTC);

    // Through text, as a file holds it.
    const auto back = projectFromJson(parsed(QJsonDocument(toJson(project)).toJson()));
    ASSERT_TRUE(back) << back.error().message.toStdString();
    EXPECT_EQ(*back, project);
    EXPECT_EQ(toJson(project).value("created").toString(), "2025-11-21T09:30:00.123Z");
    EXPECT_EQ(toJson(project).value("id").toString(), upperUuid(project.id));
}

// Whatever loads saves to a file that loads again as the same project; what cannot be saved that
// way is refused at load, naming the key.
TEST(EditProject, WhatLoadsSavesToWhatLoads) {
    const auto project = [](const QByteArray& members) {
        return "{" + QByteArray(kId) + "," + members + "}";
    };
    const auto created = [&](const QByteArray& value) {
        return project(R"("clips":[],"created":)" + value);
    };
    const auto clip = [&](const QByteArray& members) {
        return project(R"("clips":[{"id":"1f0c7a2b-0000-4000-8000-000000000002","path":"/a",)" +
                       members + "}]");
    };
    const auto word = [&](const QByteArray& v) { return clip(R"("words":[)" + v + "]"); };
    const auto face = [&](const QByteArray& v) { return clip(R"("words":[],"face":)" + v); };
    const auto id = [](const QByteArray& value) { return R"({"clips":[],"id":)" + value + "}"; };
    const QString outside = "\"created\" is a date outside the years 1 to 9999";
    const QString seconds = outside + " (a number counts seconds since 1970)";
    const struct {
        QByteArray json;
        QString refusal;  // empty: it loads
    } cases[] = {
        {R"({"clips":[]})", "\"id\" is missing"},
        {face(R"({"x":0.3,"y":0.2,"width":1.5,"height":0.2})"),
         "\"clips[0].face.width\" is not a fraction of the picture, from 0 to 1"},
        {project(R"("clips":[],"settings":{"format":"tiktok"})"),
         "\"settings.format\" is not one of its known values"},
        // A timestamp in milliseconds read as seconds lands in the year 56864.
        {created("1732300000000"), seconds},
        {created(R"("0001-01-01T00:00:00+01:00")"), outside},
        {created("253402300799.5"), ""},  // the last half second of 9999
        {word(R"({"start":1.05,"end":0.4,"text":"a"})"),
         "\"clips[0].words[0].end\" is before its start"},
        {id(R"("1f0c7a2b000040008000000000000001")"), "\"id\" is not a UUID"},
        {project(R"("clips":[],"settings":{"targetSeconds":1e300})"),
         "\"settings.targetSeconds\" is not a number of seconds between -1000000 and 1000000"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.json.toStdString());
        const auto loaded = projectFromJson(parsed(c.json));
        if (!c.refusal.isEmpty()) {
            ASSERT_FALSE(loaded);
            EXPECT_EQ(loaded.error().message, c.refusal);
            continue;
        }
        ASSERT_TRUE(loaded) << loaded.error().message.toStdString();
        const QByteArray saved = QJsonDocument(toJson(*loaded)).toJson();
        const auto again = projectFromJson(parsed(saved));
        ASSERT_TRUE(again) << again.error().message.toStdString() << "\n" << saved.toStdString();
        EXPECT_EQ(*again, *loaded);
    }
    // Dates with any offset, or seconds since 1970, are the same moment.
    const QDateTime want = QDateTime::fromMSecsSinceEpoch(1'763'717'400'000, Qt::UTC);
    for (const char* at : {R"("2025-11-21T10:30:00+01:00")", "1763717400"}) {
        EXPECT_EQ(projectFromJson(parsed(created(at))).value_or(EditProject{}).created, want) << at;
    }
}

// A file written by a newer Pelix loses nothing when this one saves it.
TEST(EditProject, KeysItDoesNotKnowAreKeptThroughALoadAndASave) {
    const QJsonObject original = parsed(R"({
        "id": "1F0C7A2B-0000-4000-8000-000000000001", "futureField": {"a": [1, "two", null]},
        "clips": [{"id": "1F0C7A2B-0000-4000-8000-000000000002", "path": "/a", "thumbnail": "t.png",
                   "words": [{"start": 0, "end": 1, "text": "a"},
                             {"start": 1, "end": 2, "text": "b", "confidence": 0.9}]}],
        "settings": {"music": "calm", "pace": "snappy"}})");
    const auto project = projectFromJson(original);
    ASSERT_TRUE(project) << project.error().message.toStdString();
    const QJsonObject saved = toJson(*project);
    const QJsonObject clip = saved.value("clips").toArray().at(0).toObject();
    const QJsonArray words = clip.value("words").toArray();
    EXPECT_EQ((QJsonArray{saved.value("futureField"), clip.value("thumbnail"),
                          words.at(1).toObject().value("confidence"),
                          saved.value("settings").toObject().value("music")}),
              (QJsonArray{original.value("futureField"), "t.png", 0.9, "calm"}));
    EXPECT_FALSE(words.at(0).toObject().contains("confidence"));
    EXPECT_EQ(projectFromJson(saved), project);
}

class ProjectStoreTest : public ::testing::Test {
protected:
    testing::IsolatedHome home;

    static void write(const QString& path, const QByteArray& bytes) {
        testing::writeFile(QFileInfo(path).absolutePath(), QFileInfo(path).fileName(), bytes);
    }
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
    EXPECT_EQ(ProjectStore::open(project.id), project);
}

TEST_F(ProjectStoreTest, ListReportsBrokenFilesByNameAndLeavesThemAlone) {
    EditProject present = sampleProject(20, 1, 5);
    present.clips[0].path = home.path() + "/clip.mov";
    write(present.clips[0].path, "");
    const EditProject missing = sampleProject(20, 1, 6);
    ASSERT_TRUE(ProjectStore::save(present));
    ASSERT_TRUE(ProjectStore::save(missing));
    const QString broken = ProjectStore::folder() + "/Broken.json";
    write(broken, R"({"id":"x", "clips": [)");

    QStringList seen;
    for (const auto& e : ProjectStore::list()) {
        seen << (e.error ? e.file + " " + QString::number(e.error->contains("Broken.json"))
                         : QString("%1 %2")
                               .arg(e.id == present.id   ? "present"
                                    : e.id == missing.id ? "missing"
                                                         : "other")
                               .arg(e.mediaMissing));
    }
    seen.sort();
    EXPECT_EQ(seen, (QStringList{"Broken.json 1", "missing 1", "present 0"}));
    EXPECT_EQ(testing::readFile(broken), R"({"id":"x", "clips": [)");
}

// A document nested too deeply for the parser is refused with a reason, not a crash.
TEST_F(ProjectStoreTest, ADeeplyNestedFileIsRefused) {
    const QString path = home.path() + "/p.json";
    write(path, QByteArray(100000, '[') + QByteArray(100000, ']'));
    const auto project = ProjectStore::openFile(path);
    ASSERT_FALSE(project);
    EXPECT_TRUE(project.error().message.startsWith(
        "Couldn't read the project p.json: it is not JSON (too deeply nested document"))
        << project.error().message.toStdString();
}

// Words arrive with whatever times a recogniser gave; the project keeps them in order, and a
// value the reader would refuse is never written over a good file, nor a project over what is not
// one.
TEST_F(ProjectStoreTest, WhatIsSavedOpensAgain) {
    const double nan = std::nan("");
    const struct {
        core::Word in;
        std::optional<core::Word> kept;
    } words[] = {
        {{-3, -1, "a"}, core::Word{0, 0, "a"}},
        {{2, 1, "b"}, core::Word{2, 2, "b"}},
        {{5e6, 9e300, "c"}, core::Word{kLongestTime, kLongestTime, "c"}},
        {{nan, 1, "d"}, std::nullopt},
        {{0.5, 0.75, "e"}, core::Word{0.5, 0.75, "e"}},
    };
    for (const auto& w : words) EXPECT_EQ(admitted(w.in), w.kept) << w.in.text.toStdString();

    EditProject project = sampleProject(5, 1, 1);
    ASSERT_TRUE(ProjectStore::save(project));
    const QByteArray good = testing::readFile(ProjectStore::fileFor(project.id));
    project.clips[0].words[0].start = -1;
    const Status refused = ProjectStore::save(project);
    ASSERT_FALSE(refused);
    EXPECT_TRUE(refused.error().message.startsWith(
        "Couldn't save the project, as it would not open again: \"clips[0].words[0].start\""))
        << refused.error().message.toStdString();
    EXPECT_EQ(testing::readFile(ProjectStore::fileFor(project.id)), good);

    // Nor is a file that is not a project replaced.
    testing::writeFile(ProjectStore::folder(),
                       QFileInfo(ProjectStore::fileFor(project.id)).fileName(), "notes");
    project.clips[0].words[0].start = 0;
    const Status saved = ProjectStore::save(project);
    ASSERT_FALSE(saved);
    EXPECT_TRUE(saved.error().message.startsWith("Couldn't save the project: "));
    EXPECT_EQ(testing::readFile(ProjectStore::fileFor(project.id)), "notes");
}

}  // namespace
}  // namespace pelix::editor
