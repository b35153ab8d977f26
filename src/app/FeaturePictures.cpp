#include "app/FeaturePictures.h"

#include "core/Console.h"
#include "core/Prefs.h"
#include "core/Sentences.h"
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

namespace pelix::app {
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
    core::Prefs& prefs() { return prefs_; }

private:
    QTemporaryDir dir_;
    core::Prefs prefs_;
};

// Recordings as the chooser lists them, dated in local time so that the list reads the same in
// every time zone.
QList<memos::VoiceMemo> sampleMemos() {
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
    QList<memos::VoiceMemo> memos;
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
memos::MemoChooserWindow* sampleChooser(PictureFrame& frame, core::Timers& timers, bool finish) {
    frame.prefs().setValue("voiceMemos.sent", QStringList{sampleName("Groceries")});
    frame.prefs().setValue("voiceMemos.on", true);
    auto* window =
        new memos::MemoChooserWindow(memos::MemoChooserWindow::Parts{
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

core::QtTimers& pictureTimers() {
    static core::QtTimers timers;
    return timers;
}

}  // namespace

std::unique_ptr<QWidget> memosPicture() {
    auto frame = std::make_unique<PictureFrame>();
    auto* layout = new QHBoxLayout(frame.get());
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(1);
    // One memo being sent with another waiting behind it, and one that has arrived.
    memos::MemoChooserWindow* sending = sampleChooser(*frame, pictureTimers(), false);
    sending->model().setPicked(sampleName("New Recording 14"), true);
    sending->model().setPicked(sampleName("Idea for the talk"), true);
    sending->model().sendPicked();
    memos::MemoChooserWindow* done = sampleChooser(*frame, pictureTimers(), true);
    done->model().setPicked(sampleName("New Recording 14"), true);
    done->model().sendPicked();
    layout->addWidget(sending);
    layout->addWidget(done);
    frame->setFixedSize(kChooserSize.width() * 2 + 1, kChooserSize.height());
    return frame;
}

std::unique_ptr<QWidget> dropPicture(DropLook look) {
    auto frame = std::make_unique<PictureFrame>();
    memos::MemoChooserWindow* chooser = sampleChooser(*frame, pictureTimers(), false);
    frame->setFixedSize(kChooserSize);
    switch (look) {
        case DropLook::over:
            chooser->drops().setVeiled(true);
            break;
        case DropLook::sending:
            chooser->drops().showPill(core::sentences::sendingOf(1, 2),
                                      memos::drops::State::working);
            break;
        case DropLook::done:
            chooser->drops().showPill(core::sentences::completeAll(2), memos::drops::State::done);
            break;
    }
    return frame;
}

QString sampleVideo() {
    const QString set = qEnvironmentVariable("PELIX_SAMPLE_VIDEO");
    if (!set.isEmpty()) return set;
    // Where the package installed it (beside the program, wherever its prefix was moved), else
    // where the build made it; never the working folder.
    const QString program = QFileInfo(QStringLiteral("/proc/self/exe")).canonicalFilePath();
    const QStringList places{QDir::cleanPath(QFileInfo(program).absolutePath() +
                                             QStringLiteral("/" PELIX_SAMPLE_BESIDE)),
                             QStringLiteral(PELIX_SAMPLE_INSTALLED),
                             QStringLiteral(PELIX_SAMPLE_BUILT)};
    for (const QString& place : places) {
        // (A package names no build folder: its place is empty.)
        if (!place.isEmpty() && QFileInfo(place).isFile()) return place;
    }
    return places.back();
}

std::unique_ptr<QWidget> transcriptPicture(service::ServiceContext& services) {
    const QString video = sampleVideo();
    if (!QFileInfo(video).isFile()) {
        core::console::err(core::sentences::noSampleVideo(video));
        return nullptr;
    }
    // The run the window starts needs the engines until its worker has ended it.
    struct Frame : PictureFrame {
        speech::SpeechEngines engines = speech::SpeechEngines::standard();
        core::Worker worker{nullptr};
    };
    auto frame = std::make_unique<Frame>();
    auto* window = new transcribe::TranscriptWindow(
        frame->engines, frame->worker, services.api(), frame->prefs(), services.clock(),
        QFileInfo(video).absoluteFilePath(), frame.get());
    window->setFixedSize(kTranscriptSize);
    frame->setFixedSize(kTranscriptSize);
    window->start();
    QEventLoop loop;
    QObject::connect(&window->model(), &transcribe::TranscriptModel::listeningChanged, &loop,
                     [&loop](bool listening) {
                         if (!listening) loop.quit();
                     });
    QTimer::singleShot(kTranscribeLimitMs, &loop, &QEventLoop::quit);
    if (window->model().listening()) loop.exec();
    if (window->model().listening()) {
        core::console::err(core::sentences::kSampleTookTooLong);
        return nullptr;
    }
    return frame;
}

}  // namespace pelix::app
