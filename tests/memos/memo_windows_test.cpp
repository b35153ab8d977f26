#include "memos/DropCatcher.h"
#include "memos/MemoChooserWindow.h"
#include "memos/MemoSender.h"

#include "MemoTestSupport.h"
#include "fakes/BackendRig.h"
#include "media/TestMedia.h"

#include <QApplication>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QMimeData>

namespace pelix::memos {
namespace {

using fakes::Recorded;
using fakes::Reply;
using testing::waitUntil;

// The memo chooser with the real sending pipeline against the loopback backend; recordings are
// tones made by ffmpeg, heard by the backend.
class MemoWindowTest : public ::testing::Test, protected fakes::BackendRig {
protected:
    static void SetUpTestSuite() {
        media_ = new QTemporaryDir;
        testing::TestMedia media(media_->path());
        for (const char* name : {"a.mp3", "b.mp3", "c.mp3"}) media.tone(name, 1.0);
    }
    static void TearDownTestSuite() { delete media_; }

    void SetUp() override {
        clock.setNow(QDateTime::currentDateTime());
        prefs.setValue("voiceMemos.folder", folder.path());
        backend.answerWith("braindump", [this](const Recorded& request) {
            if (request.json.value("transcribe_only").toBool()) {
                return Reply::json({{"text", "a dropped thought"}});
            }
            if (request.json.value("filename").toString() == refuse) {
                return Reply::json({{"error", "The account is busy."}}, 503);
            }
            return Reply::json({{"id", "filing-1"}});
        });
        window.resize(440, 560);
        window.show();
    }

    static QString media(const QString& name) { return media_->path() + "/" + name; }

    // A drag of `urls` from a file manager: entered, then dropped when it was taken.
    bool drag(const QList<QUrl>& urls, const QString& text = {}) {
        QMimeData data;
        data.setUrls(urls);
        if (!text.isEmpty()) data.setText(text);
        const QPoint middle = window.rect().center();
        QDragEnterEvent enter(middle, Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(&window, &enter);
        if (!enter.isAccepted()) return false;
        QDropEvent drop(QPointF(middle), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(&window, &drop);
        return drop.isAccepted();
    }
    int filings() const {
        return int(std::ranges::count_if(backend.requests("braindump"), [](const Recorded& r) {
            return !r.json.value("transcribe_only").toBool();
        }));
    }
    bool pillSays(const QString& text) {
        return testing::waitUntil([&] { return window.drops().pillText() == text; }, 30000);
    }

    static inline QTemporaryDir* media_ = nullptr;

    QTemporaryDir folder;
    fakes::ManualTimers timers{clock};
    MemoSender sender{api, prefs, clock, machineTools()};
    int chimes = 0;
    QString refuse;
    MemoChooserWindow window{MemoChooserWindow::Parts{
        .prefs = prefs,
        .timers = timers,
        .send = sender.sendFunction(),
        .setAuto = [](bool) {},
        .fetch = nullptr,
        .chime = [this] { ++chimes; },
    }};
};

// A finished batch chimes; one with a failure says what to do and does not chime. Files dropped
// from a folder stay where they are.
TEST_F(MemoWindowTest, ADroppedBatchEndsWithItsPill) {
    const auto batch = [&](const QStringList& names, const QString& says, drops::State state) {
        QList<QUrl> urls;
        for (const QString& name : names) urls << QUrl::fromLocalFile(media(name));
        ASSERT_TRUE(drag(urls));
        EXPECT_EQ(window.drops().pillText(), QString("Sending 1 of %1…").arg(names.size()));
        ASSERT_TRUE(pillSays(says));
        EXPECT_EQ(window.drops().pillState(), state);
    };
    batch({"a.mp3", "b.mp3"}, "Complete: both are in Pelix", drops::State::done);
    EXPECT_EQ(chimes, 1);
    refuse = "b.mp3";
    batch({"a.mp3", "b.mp3", "c.mp3"}, "2 of 3 sent. Drop the other again.", drops::State::failed);
    EXPECT_EQ(chimes, 1);
    EXPECT_EQ(filings(), 5);
    EXPECT_TRUE(QFile::exists(media("a.mp3")));
    EXPECT_EQ(testing::dropLog().count("memo could not be sent"), 1);
}

}  // namespace
}  // namespace pelix::memos
