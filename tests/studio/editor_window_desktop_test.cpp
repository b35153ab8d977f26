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

#include <cstdlib>

// X headers last: their macros clash with the names of the others.
#include "support/DesktopSession.h"

namespace pelix::studio {
namespace {

using fakes::Recorded;
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

// A project of one 160×120 clip of `seconds` at `path`, with `words`.
editor::EditProject projectAround(const QString& path, double seconds, const QString& name,
                                  std::vector<core::Word> words) {
    editor::SourceClip clip = testing::clipOf({}, seconds);
    clip.path = path;
    clip.width = 160;
    clip.height = 120;
    clip.words = std::move(words);
    editor::EditProject project = testing::projectOf({clip});
    project.name = name;
    return project;
}

TEST_F(EditorWindowDesktop, FromADroppedClipToAnExportedVideo) {
    std::vector<testing::Sentence> sentences{
        {"Good morning, this is a test of the system.", 0.5},
        {"Please bring the report and a cup of coffee.", 1.0},
        {"The weather is nice today, so we can walk to the park.", 2.5}};
    const QString clip = media.speech("morning.mp4", sentences);
    backend.answerWith("video-edit", [](const Recorded& r) {
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
        QString progress;
        ASSERT_TRUE(testing::waitUntil(
            [&] {
                if (window.importProgress()->isVisible())
                    progress = window.importProgress()->text();
                return !window.importing();
            },
            60000));
        EXPECT_TRUE(progress.startsWith("morning.mp4: ")) << progress.toStdString();
        ASSERT_EQ(model.project().clips.size(), 1u) << window.status()->text().toStdString();
        ASSERT_EQ(window.transcript()->count(), 3)
            << "the transcriber heard the sentences differently";
        EXPECT_TRUE(window.transcript()->item(0)->text().contains("morning"));
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
        EXPECT_DOUBLE_EQ(player.duration(), whole);

        // A click on the number only shows the line.
        clickAt(*window.transcript(), 2, 10);
        EXPECT_FALSE(model.isCut(2));
        ASSERT_TRUE(testing::waitUntil([&] { return player.position() == model.lineOutput(2); }));

        clickAt(*window.transcript(), 1, 100);
        ASSERT_TRUE(model.isCut(1));
        EXPECT_LT(model.total(), whole - 1);
        ASSERT_TRUE(previewCaughtUp(player, model));
        EXPECT_DOUBLE_EQ(player.duration(), model.total());
        EXPECT_DOUBLE_EQ(player.position(), model.lineOutput(1));
        EXPECT_TRUE(player.problem().isEmpty()) << player.problem().toStdString();
    }
    {
        SCOPED_TRACE("export writes the edit, then shows it in its folder");
        editor::EditSettings small = model.project().settings;
        small.format =
            editor::VideoFormat::original;  // the clip's own 160×120, so encoding is quick
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
    model.open(
        projectAround(media.silentVideo("short.mp4", 8), 8, "Stopped", {{0.0, 7.5, "Long"}}));
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
    if (!widget) return ::testing::AssertionFailure() << "missing";
    if (!widget->isVisible()) return ::testing::AssertionFailure() << "hidden";
    const QRect seen = widget->visibleRegion().boundingRect();
    const QRect inWindow(widget->mapTo(widget->window(), QPoint()), widget->size());
    if (seen != widget->rect() || !widget->window()->rect().contains(inWindow)) {
        return ::testing::AssertionFailure()
               << "only " << seen.width() << "×" << seen.height() << " of " << widget->width()
               << "×" << widget->height() << " shows";
    }
    return ::testing::AssertionSuccess();
}

// A project around a clip of picture and a steady tone, with a turn of conversation.
editor::EditProject toneProject(const QString& clip) {
    editor::EditProject project =
        projectAround(clip, 4, "Tone", {{0.1, 1.8, "Listen."}, {2.0, 3.9, "Again."}});
    project.clips.front().transcribed = true;
    project.chat = {{"Make it snappier", true},
                    {"Cut the slow start and tightened the pace of the rest.", false}};
    return project;
}

// On a laptop's screen with a panel: the window shrinks to its minimum and grows to the whole
// screen, and the format box, the newest reply and Send stay whole in sight at every size.
TEST_F(EditorWindowDesktop, FitsALaptopScreenAtEverySize) {
    ASSERT_TRUE(testing::desktopPresent(false));
    model.open(toneProject(media.silentVideo("still.mp4", 4)));
    window.show();
    ASSERT_TRUE(testing::waitUntil([&] { return window.isVisible() && window.windowHandle(); }));
    const QSize screen = window.screen()->availableSize();
    EXPECT_LE(window.width(), screen.width());
    EXPECT_LE(window.height(), screen.height());
    EXPECT_LE(window.minimumWidth(), 1240);
    EXPECT_LE(window.minimumHeight(), 680);
    // Nothing inside needs more than the minimum, so nothing is drawn over anything else.
    const QSize needs = window.layout()->totalMinimumSize();
    EXPECT_LE(needs.width(), window.minimumWidth());
    EXPECT_LE(needs.height(), window.minimumHeight());

    const auto controls = [&] {
        const auto* chat = window.findChild<QScrollArea*>("chat");
        const QList<QLabel*> turns =
            chat ? chat->widget()->findChildren<QLabel*>() : QList<QLabel*>{};
        return std::vector<std::pair<const char*, const QWidget*>>{
            {"format", window.findChild<QComboBox*>("format")},
            {"send", window.findChild<QPushButton*>("send")},
            {"the newest reply", turns.isEmpty() ? nullptr : turns.last()},
            {"play", window.preview()->findChild<QPushButton*>("play")},
            {"transcript", window.transcript()->viewport()},
        };
    };
    const QSize sizes[] = {window.minimumSize(), QSize(1280, 720), QSize(1240, 680)};
    for (const QSize size : sizes) {
        SCOPED_TRACE(QStringLiteral("%1×%2").arg(size.width()).arg(size.height()).toStdString());
        window.resize(size);
        ASSERT_TRUE(testing::waitUntil([&] { return window.size() == size; }))
            << window.width() << "×" << window.height();
        QApplication::processEvents();
        for (const auto& [name, widget] : controls()) {
            EXPECT_TRUE(wholeInSight(widget)) << name;
        }
    }
    window.showMaximized();
    ASSERT_TRUE(testing::waitUntil([&] { return window.isMaximized(); }));
    ASSERT_TRUE(testing::waitUntil([&] { return window.width() > window.minimumWidth(); }));
    QApplication::processEvents();
    for (const auto& [name, widget] : controls()) EXPECT_TRUE(wholeInSight(widget)) << name;
}

// Space plays the preview with its sound, heard on the session's sound server, and the time
// under the scrubber follows; Space again pauses it.
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
    EXPECT_TRUE(time->text().startsWith("0:00 / ")) << time->text().toStdString();

    // What the session's speakers play, as 16-bit samples.
    QProcess speakers;
    speakers.start("parec", testing::args("-d vsink.monitor --raw --format=s16le --rate=16000 "
                                          "--channels=1 --latency-msec=20"));
    ASSERT_TRUE(speakers.waitForStarted());
    QByteArray heard;
    QObject::connect(&speakers, &QProcess::readyReadStandardOutput,
                     [&] { heard += speakers.readAllStandardOutput(); });
    const auto loud = [&](qsizetype from) {
        for (qsizetype i = from / 2 * 2; i + 1 < heard.size(); i += 2) {
            const qint16 sample = qint16(quint8(heard[i]) | (quint8(heard[i + 1]) << 8));
            if (std::abs(int(sample)) > 1500) return true;
        }
        return false;
    };
    EXPECT_FALSE(loud(0)) << "sound before playing";

    testing::Keyboard keys;
    ASSERT_TRUE(keys.ok());
    keys.press(XK_space);
    ASSERT_TRUE(testing::waitUntil([&] { return player.playing(); }));
    EXPECT_TRUE(player.sounding());
    ASSERT_TRUE(testing::waitUntil([&] { return loud(0); }, 5000)) << "nothing heard";
    ASSERT_TRUE(testing::waitUntil([&] { return time->text().startsWith("0:02 / "); }, 8000))
        << time->text().toStdString();
    EXPECT_GT(player.position(), 1.4);

    keys.press(XK_space);
    ASSERT_TRUE(testing::waitUntil([&] { return !player.playing(); }));
    EXPECT_FALSE(player.sounding());
    const double stopped = player.position();
    // Once what was on its way has played out, the speakers are quiet.
    const qsizetype after = heard.size();
    ASSERT_TRUE(testing::waitUntil([&] { return heard.size() > after + 16000; }, 5000));
    EXPECT_FALSE(loud(heard.size() - 8000)) << "still sounding after the pause";
    EXPECT_EQ(player.position(), stopped);
    speakers.terminate();
    speakers.waitForFinished(3000);
}

}  // namespace
}  // namespace pelix::studio
