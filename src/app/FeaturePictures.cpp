#include "app/FeaturePictures.h"

#include "core/Console.h"
#include "core/Prefs.h"
#include "core/Worker.h"
#include "memos/DropCatcher.h"
#include "memos/MemoChooserWindow.h"
#include "service/ServiceContext.h"
#include "speech/SpeechEngines.h"
#include "transcribe/TranscriptWindow.h"

#include <QDir>
#include <QEventLoop>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QTemporaryDir>
#include <QTimer>

namespace pelix {
namespace {

constexpr QSize kChooserSize{440, 560};
constexpr QSize kTranscriptSize{620, 520};
constexpr int kTranscribeLimitMs = 300000;

// A picture's own preferences, in a folder that goes with it: pictures never touch the user's.
class PictureFrame : public QWidget {
public:
    PictureFrame() : prefs_(dir_.filePath(QStringLiteral("Pelix.conf"))) {
        setAutoFillBackground(true);
    }
    Prefs& prefs() { return prefs_; }

private:
    QTemporaryDir dir_;
    Prefs prefs_;
};

// Recordings as the chooser lists them, dated in local time so that the list reads the same in
// every time zone.
QList<VoiceMemo> sampleMemos() {
    struct Sample {
        const char* title;
        int day, hour, minute;
        double seconds;
    };
    const Sample samples[] = {
        {"New Recording 14", 20, 9, 41, 94},
        {"Standup notes", 19, 17, 5, 212},
        {"Groceries", 19, 8, 12, 31},
        {"Idea for the talk", 18, 22, 47, 140},
        {"Call with Sam, follow-ups", 17, 14, 30, 388},
        {"New Recording 13", 16, 7, 58, 12},
        {"Books to read", 15, 20, 3, 45},
    };
    QList<VoiceMemo> memos;
    for (const Sample& s : samples) {
        memos.push_back({QUrl::fromLocalFile(QStringLiteral("/recordings/") +
                                             QString::fromUtf8(s.title) + ".m4a"),
                         QString::fromUtf8(s.title),
                         QDateTime(QDate(2026, 11, s.day), QTime(s.hour, s.minute)), s.seconds});
    }
    return memos;
}

QString sampleName(const char* title) {
    return QString::fromUtf8(title) + ".m4a";
}

// A chooser inside `frame`, listing the sample memos; its sends end when `finish` says so.
MemoChooserWindow* sampleChooser(PictureFrame& frame, Timers& timers, bool finish) {
    frame.prefs().setValue("voiceMemos.sent", QStringList{sampleName("Groceries")});
    frame.prefs().setValue("voiceMemos.on", true);
    auto* window =
        new MemoChooserWindow(MemoChooserWindow::Parts{
                                  .prefs = frame.prefs(),
                                  .timers = timers,
                                  .send =
                                      [finish](const QString&, const std::optional<QString>&,
                                               std::function<void(bool)> done) {
                                          if (finish) done(true);
                                      },
                                  .setAuto = [](bool) {},
                                  .fetch = nullptr,
                                  .chime = [] {},
                              },
                              &frame);
    window->setWindowFlags(Qt::Widget);
    window->setFixedSize(kChooserSize);
    window->model().setMemos(sampleMemos());
    return window;
}

QtTimers& pictureTimers() {
    static QtTimers timers;
    return timers;
}

}  // namespace

std::unique_ptr<QWidget> memosPicture() {
    auto frame = std::make_unique<PictureFrame>();
    auto* layout = new QHBoxLayout(frame.get());
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(1);
    // One memo being sent with another waiting behind it, and one that has arrived.
    MemoChooserWindow* sending = sampleChooser(*frame, pictureTimers(), false);
    sending->model().setPicked(sampleName("New Recording 14"), true);
    sending->model().setPicked(sampleName("Idea for the talk"), true);
    sending->model().sendPicked();
    MemoChooserWindow* done = sampleChooser(*frame, pictureTimers(), true);
    done->model().setPicked(sampleName("New Recording 14"), true);
    done->model().sendPicked();
    layout->addWidget(sending);
    layout->addWidget(done);
    frame->setFixedSize(kChooserSize.width() * 2 + 1, kChooserSize.height());
    return frame;
}

std::unique_ptr<QWidget> dropPicture(DropLook look) {
    auto frame = std::make_unique<PictureFrame>();
    MemoChooserWindow* chooser = sampleChooser(*frame, pictureTimers(), false);
    frame->setFixedSize(kChooserSize);
    switch (look) {
        case DropLook::over:
            chooser->drops().setVeiled(true);
            break;
        case DropLook::sending:
            chooser->drops().showPill(QStringLiteral("Sending 1 of 2…"), Drops::State::working);
            break;
        case DropLook::done:
            chooser->drops().showPill(QStringLiteral("Complete: all 2 are in Pelix"),
                                      Drops::State::done);
            break;
    }
    return frame;
}

QString sampleVideo() {
    const QString set = qEnvironmentVariable("PELIX_SAMPLE_VIDEO");
    return set.isEmpty() ? QStringLiteral("build/samples/sample.mp4") : set;
}

std::unique_ptr<QWidget> transcriptPicture(ServiceContext& services) {
    const QString video = sampleVideo();
    if (!QFileInfo(video).isFile()) {
        console::err("Couldn't draw transcript.png: there is no " + video +
                     "; make it with scripts/make-sample (or name one in PELIX_SAMPLE_VIDEO).");
        return nullptr;
    }
    // The run the window starts needs the engines until its worker has ended it.
    struct Frame : PictureFrame {
        SpeechEngines engines = SpeechEngines::standard();
        Worker worker{nullptr};
    };
    auto frame = std::make_unique<Frame>();
    auto* window =
        new TranscriptWindow(frame->engines, frame->worker, services.api(), frame->prefs(),
                             services.clock(), QFileInfo(video).absoluteFilePath(), frame.get());
    window->setFixedSize(kTranscriptSize);
    frame->setFixedSize(kTranscriptSize);
    window->start();
    QEventLoop loop;
    QObject::connect(&window->model(), &TranscriptModel::listeningChanged, &loop,
                     [&loop](bool listening) {
                         if (!listening) loop.quit();
                     });
    QTimer::singleShot(kTranscribeLimitMs, &loop, &QEventLoop::quit);
    if (window->model().listening()) loop.exec();
    if (window->model().listening()) {
        console::err(
            QStringLiteral("Couldn't draw transcript.png: hearing the sample took too "
                           "long."));
        return nullptr;
    }
    return frame;
}

}  // namespace pelix
