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
#include <QComboBox>
#include <QDragEnterEvent>
#include <QLabel>
#include <QLayout>
#include <QListWidget>
#include <QMimeData>
#include <QMouseEvent>
#include <QProcess>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>

// X headers last: their macros clash with the names of the others.
#include "support/DesktopSession.h"

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
    EditorModel model{timers, &assistant};
    EditorWindow window{model, EditorTools{renderer.get(), &engines, nullptr, exports(), {}}};
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
        SCOPED_TRACE("export writes the edit");
        // The clip's own 160×120, so encoding is quick.
        editor::EditSettings small = model.project().settings;
        small.format = editor::VideoFormat::original;
        model.setSettings(small);
        ASSERT_TRUE(window.preview()->startExport());
        ASSERT_TRUE(testing::waitUntil([&] { return !window.preview()->exporting(); }, 90000));
        const QString file = window.preview()->exported();
        ASSERT_EQ(file, exports() + "/morning - YouTube.mp4")
            << window.preview()->status()->text().toStdString();
        const auto length = media::duration(file);
        ASSERT_TRUE(length.has_value());
        EXPECT_NEAR(*length, model.total(), 0.1);
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

// Whether all of `widget` shows: on screen, not cut off by its window or a scroll area around it.
::testing::AssertionResult wholeInSight(const QWidget* widget) {
    if (!widget || !widget->isVisible()) return ::testing::AssertionFailure() << "not shown";
    const QRect seen = widget->visibleRegion().boundingRect();
    const QRect inWindow(widget->mapTo(widget->window(), QPoint()), widget->size());
    if (seen != widget->rect() || !widget->window()->rect().contains(inWindow)) {
        return ::testing::AssertionFailure()
               << "only " << seen.width() << "×" << seen.height() << " of " << widget->width()
               << "×" << widget->height() << " shows";
    }
    return ::testing::AssertionSuccess();
}

// A 4 s clip with two lines and a turn of conversation.
editor::EditProject toneProject(const QString& path) {
    editor::SourceClip clip = testing::clipOf({{0.1, 1.8, "Listen."}, {2.0, 3.9, "Again."}}, 4);
    clip.path = path;
    clip.width = 160;
    clip.height = 120;
    clip.transcribed = true;
    editor::EditProject project = testing::projectOf({clip});
    project.chat = {{"Make it snappier", true},
                    {"Cut the slow start and tightened the pace of the rest.", false}};
    return project;
}

// On a laptop's screen with a panel, the format box, Send, the newest reply, Play and the
// transcript stay whole in sight from the window's minimum to the whole screen.
TEST_F(EditorWindowDesktop, FitsALaptopScreenAtEverySize) {
    ASSERT_TRUE(testing::desktopPresent(false));
    model.open(toneProject(media.silentVideo("still.mp4", 4)));
    window.show();
    ASSERT_TRUE(testing::waitUntil([&] { return window.isVisible() && window.windowHandle(); }));
    const QSize screen = window.screen()->availableSize();
    const auto shown = [](QSize size) {
        return std::to_string(size.width()) + "×" + std::to_string(size.height());
    };
    EXPECT_TRUE(window.width() <= screen.width() && window.height() <= screen.height())
        << shown(window.size()) << " on " << shown(screen);
    EXPECT_TRUE(window.minimumWidth() <= 1240 && window.minimumHeight() <= 680)
        << shown(window.minimumSize());
    // Nothing inside needs more than the minimum, so nothing is drawn over anything else.
    const QSize needs = window.layout()->totalMinimumSize();
    EXPECT_TRUE(needs.width() <= window.minimumWidth() && needs.height() <= window.minimumHeight())
        << shown(needs);

    const auto expectAllInSight = [&] {
        QApplication::processEvents();
        const auto* chat = window.findChild<QScrollArea*>("chat");
        const QList<QLabel*> turns =
            chat ? chat->widget()->findChildren<QLabel*>() : QList<QLabel*>{};
        EXPECT_TRUE(wholeInSight(window.findChild<QComboBox*>("format"))) << "format";
        EXPECT_TRUE(wholeInSight(window.findChild<QPushButton*>("send"))) << "send";
        EXPECT_TRUE(wholeInSight(turns.isEmpty() ? nullptr : turns.last())) << "newest reply";
        EXPECT_TRUE(wholeInSight(window.preview()->findChild<QPushButton*>("play"))) << "play";
        EXPECT_TRUE(wholeInSight(window.transcript()->viewport())) << "transcript";
    };
    for (const QSize size : {window.minimumSize(), QSize(1280, 720), QSize(1240, 680)}) {
        SCOPED_TRACE(shown(size));
        window.resize(size);
        ASSERT_TRUE(testing::waitUntil([&] { return window.size() == size; }));
        expectAllInSight();
    }
    window.showMaximized();
    ASSERT_TRUE(testing::waitUntil([&] { return window.width() > window.minimumWidth(); }));
    expectAllInSight();
}

// Space plays the preview with its sound, heard on the session's sound server, and the time
// follows; Space again pauses it and the speakers fall quiet.
TEST_F(EditorWindowDesktop, SpacePlaysThePreviewWithItsSound) {
    ASSERT_TRUE(testing::desktopPresent());
    const QString clip = media.path("tone.mp4");
    testing::runTool("ffmpeg", testing::args("-v error -y -f lavfi -i testsrc=size=160x120:rate=30 "
                                             "-f lavfi -i sine=frequency=440:sample_rate=48000 "
                                             "-t 4 -c:v libx264 -pix_fmt yuv420p -c:a aac") +
                                   QStringList{clip});
    model.open(toneProject(clip));
    window.show();
    window.activateWindow();
    ASSERT_TRUE(testing::waitUntil([&] { return window.isActiveWindow(); }));
    PreviewPlayer& player = window.preview()->player();
    ASSERT_TRUE(previewCaughtUp(player, model));
    auto* time = window.preview()->findChild<QLabel*>("time");
    ASSERT_NE(time, nullptr);

    QProcess speakers;  // what the session's speakers play, as 16-bit samples
    speakers.start("parec", testing::args("-d vsink.monitor --raw --format=s16le --rate=16000 "
                                          "--channels=1 --latency-msec=20"));
    ASSERT_TRUE(speakers.waitForStarted());
    QByteArray heard;
    QObject::connect(&speakers, &QProcess::readyReadStandardOutput,
                     [&] { heard += speakers.readAllStandardOutput(); });
    const auto loud = [&](qsizetype from) {
        for (qsizetype i = std::max<qsizetype>(0, from / 2 * 2); i + 1 < heard.size(); i += 2) {
            if (std::abs(qint16(quint8(heard[i]) | (quint8(heard[i + 1]) << 8))) > 1500)
                return true;
        }
        return false;
    };
    testing::Keyboard keys;
    ASSERT_TRUE(keys.ok());
    keys.press(XK_space);
    ASSERT_TRUE(testing::waitUntil([&] { return player.playing() && loud(0); }, 5000));
    ASSERT_TRUE(testing::waitUntil([&] { return time->text().startsWith("0:02 / "); }, 8000))
        << time->text().toStdString();

    keys.press(XK_space);
    ASSERT_TRUE(testing::waitUntil([&] { return !player.playing(); }));
    EXPECT_FALSE(player.sounding());
    // Once what was on its way has played out, the speakers are quiet.
    const qsizetype after = heard.size();
    ASSERT_TRUE(testing::waitUntil([&] { return heard.size() > after + 16000; }, 5000));
    EXPECT_FALSE(loud(heard.size() - 8000)) << "still sounding after the pause";
    speakers.terminate();
    speakers.waitForFinished(3000);
}

}  // namespace
}  // namespace pelix::studio
