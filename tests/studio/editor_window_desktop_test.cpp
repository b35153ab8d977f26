// The editor window with its real parts: a dropped clip is transcribed, the loopback backend
// makes the first pass, the preview draws from the renderer and the export writes a video.

#include "editor/EditorTestSupport.h"
#include "fakes/BackendRig.h"
#include "media/Media.h"
#include "media/TestMedia.h"
#include "render/Renderer.h"
#include "speech/SpeechEngines.h"
#include "studio/EditorModel.h"
#include "studio/EditorWindow.h"
#include "studio/EngineAssistant.h"
#include "studio/PreviewPane.h"
#include "studio/PreviewPlayer.h"

#include <QApplication>
#include <QDragEnterEvent>
#include <QLabel>
#include <QListWidget>
#include <QMimeData>
#include <QMouseEvent>
#include <QPushButton>

namespace pelix::studio {
namespace {

using fakes::Reply;

void clickAt(QListWidget& list, int row, int x) {
    const QPoint at(list.visualItemRect(list.item(row)).left() + x,
                    list.visualItemRect(list.item(row)).center().y());
    QWidget* viewport = list.viewport();
    for (const QEvent::Type type : {QEvent::MouseButtonPress, QEvent::MouseButtonRelease}) {
        QMouseEvent event(type, at, viewport->mapToGlobal(at), Qt::LeftButton,
                          type == QEvent::MouseButtonPress ? Qt::LeftButton : Qt::NoButton,
                          Qt::NoModifier);
        QApplication::sendEvent(viewport, &event);
    }
}

// Waits until the preview has the project as it is now (it takes changes after the event that
// made them) and shows a picture of it.
bool previewCaughtUp(const PreviewPlayer& player, const EditorModel& model) {
    return testing::waitUntil(
        [&] {
            return player.duration() == model.total() &&
                   player.shownGeneration() == player.generation() &&
                   (!player.picture().isNull() || !player.problem().isEmpty());
        },
        20000);
}

class EditorWindowDesktop : public ::testing::Test, protected fakes::BackendRig {
protected:
    EditorWindowDesktop() { qputenv("PELIX_EDITOR_DIR", home.path().toUtf8() + "/projects"); }

    QString exports() const { return home.path() + "/exports"; }

    testing::TestMedia media{home.path()};
    EngineAssistant assistant{api};
    fakes::ManualClock manualClock;
    fakes::ManualTimers timers{manualClock};
    speech::SpeechEngines engines = speech::SpeechEngines::standard();
    std::unique_ptr<render::Renderer> renderer = render::makeRenderer();
    QStringList shown;
    EditorModel model{timers, &assistant};
    EditorWindow window{model, EditorTools{renderer.get(), &engines, nullptr, exports(),
                                           [this](const QString& file) { shown << file; }}};
};

TEST_F(EditorWindowDesktop, FromADroppedClipToAnExportedVideo) {
    std::vector<testing::Sentence> sentences{
        {"Good morning, this is a test of the system.", 0.5},
        {"Please bring the report and a cup of coffee.", 1.0},
        {"The weather is nice today, so we can walk to the park.", 2.5}};
    const QString clip = media.speech("morning.mp4", sentences);
    backend.answerWith("video-edit", [](const fakes::Recorded& r) {
        if (r.json.value("action") == "plan") {
            return Reply::json({{"cut", QJsonArray{}},
                                {"keywords", QJsonArray{}},
                                {"hook", "Coffee first"},
                                {"title", "Morning"},
                                {"reply", "First pass done."}});
        }
        return Reply::json({});
    });
    window.show();

    {
        SCOPED_TRACE("a drop makes a new video, transcribed off the main thread");
        QMimeData data;
        data.setUrls({QUrl::fromLocalFile(clip)});
        QDragEnterEvent enter(QPoint(600, 300), Qt::CopyAction, &data, Qt::LeftButton,
                              Qt::NoModifier);
        QApplication::sendEvent(&window, &enter);
        ASSERT_TRUE(enter.isAccepted());
        QDropEvent drop(QPointF(600, 300), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(&window, &drop);
        ASSERT_TRUE(window.importing()) << window.status()->text().toStdString();
        ASSERT_TRUE(testing::waitUntil([&] { return !window.importing(); }, 60000));
        ASSERT_EQ(model.project().clips.size(), 1u) << window.status()->text().toStdString();
        ASSERT_EQ(window.transcript()->count(), 3)
            << "the transcriber heard the sentences differently";
    }
    // The first pass comes from the service; the video is named after the clip.
    ASSERT_TRUE(testing::waitUntil([&] { return !model.project().chat.empty(); }, 15000));
    EXPECT_EQ(model.project().chat.back().text, "First pass done.");
    EXPECT_EQ(model.project().hook, "Coffee first");
    EXPECT_EQ(model.project().name, "morning");

    PreviewPlayer& player = window.preview()->player();
    const double whole = model.total();
    {
        SCOPED_TRACE("the preview draws the edit and follows a cut");
        ASSERT_TRUE(previewCaughtUp(player, model));
        EXPECT_TRUE(player.problem().isEmpty()) << player.problem().toStdString();
        EXPECT_EQ(player.picture().size(), QSize(270, 480));

        clickAt(*window.transcript(), 1, 100);
        ASSERT_TRUE(model.isCut(1));
        EXPECT_LT(model.total(), whole - 1);
        ASSERT_TRUE(previewCaughtUp(player, model));  // of the shorter edit
        EXPECT_DOUBLE_EQ(player.position(), model.lineOutput(1));
    }
    {
        SCOPED_TRACE("export writes the edit, then shows it in its folder");
        // The clip's own 160×120, so encoding is quick.
        editor::EditSettings small = model.project().settings;
        small.format = editor::VideoFormat::original;
        model.setSettings(small);
        ASSERT_TRUE(window.preview()->startExport());
        EXPECT_FALSE(window.preview()->startExport()) << "one export at a time";
        ASSERT_TRUE(testing::waitUntil([&] { return !window.preview()->exporting(); }, 90000));
        const QString file = window.preview()->exported();
        ASSERT_EQ(file, exports() + "/morning - YouTube.mp4")
            << window.preview()->status()->text().toStdString();
        const auto length = media::duration(file);
        ASSERT_TRUE(length.has_value());
        EXPECT_NEAR(*length, model.total(), 0.1);
        auto* show = window.preview()->findChild<QPushButton*>("showInFolder");
        ASSERT_NE(show, nullptr);
        ASSERT_TRUE(show->isVisible());
        show->click();
        EXPECT_EQ(shown, QStringList{file});
    }
}

TEST_F(EditorWindowDesktop, ACancelledExportLeavesNothingBehind) {
    editor::SourceClip clip = testing::clipOf({{0.0, 7.5, "Long"}}, 8);
    clip.path = media.silentVideo("short.mp4", 8);
    clip.width = 160;
    clip.height = 120;
    model.open(testing::projectOf({clip}));
    window.show();
    ASSERT_TRUE(window.preview()->startExport());
    window.preview()->cancelExport();
    ASSERT_TRUE(testing::waitUntil([&] { return !window.preview()->exporting(); }, 30000));
    EXPECT_TRUE(window.preview()->exported().isEmpty());
    EXPECT_EQ(window.preview()->status()->text(), "The export was stopped.");
    EXPECT_TRUE(QDir(exports()).entryList(QDir::Files | QDir::Hidden).isEmpty());
}

}  // namespace
}  // namespace pelix::studio
