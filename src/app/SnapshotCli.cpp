#include "app/SnapshotCli.h"

#include "app/FeaturePictures.h"
#include "core/Args.h"
#include "core/Console.h"
#include "core/PrivateFile.h"
#include "core/Sentences.h"
#include "core/Timers.h"
#include "panel/PanelModel.h"
#include "panel/PanelSample.h"
#include "panel/PanelWindow.h"
#include "relay/RelayBanner.h"
#include "relay/RelayBannerWindow.h"
#include "service/ServiceContext.h"
#include "studio/EditorSample.h"
#include "ui/BadgeWindow.h"
#include "ui/Snapshot.h"
#include "ui/SpeechWindow.h"
#include "ui/Theme.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QWidget>

#include <unicode/locid.h>

namespace pelix::app {

const std::vector<SnapshotPicture>& snapshotPictures() {
    static const std::vector<SnapshotPicture> pictures{
        {{},
         "badge.png",
         [](service::ServiceContext&) -> std::unique_ptr<QWidget> {
             return std::make_unique<ui::BadgeWindow>();
         }},
        {{},
         "panel.png",
         [](service::ServiceContext& service) -> std::unique_ptr<QWidget> {
             auto* model = new panel::PanelModel(service.api(), service.clock());
             panel::showSample(*model);
             auto window = std::make_unique<panel::PanelWindow>(*model);
             model->setParent(window.get());
             return window;
         }},
        {"--drop-ui", "drop-over.png",
         [](service::ServiceContext&) { return dropPicture(DropLook::over); }},
        {"--drop-ui", "drop-sending.png",
         [](service::ServiceContext&) { return dropPicture(DropLook::sending); }},
        {"--drop-ui", "drop-done.png",
         [](service::ServiceContext&) { return dropPicture(DropLook::done); }},
        {"--memos", "memos.png", [](service::ServiceContext&) { return memosPicture(); }},
        {"--video", "transcript.png",
         [](service::ServiceContext& services) { return transcriptPicture(services); }},
        {{},
         "relay-banner.png",
         [](service::ServiceContext&) -> std::unique_ptr<QWidget> {
             static core::QtTimers timers;
             auto* banner = new relay::RelayBanner(timers);
             auto window = std::make_unique<relay::RelayBannerWindow>(*banner);
             // The window owns its model from here.
             banner->setParent(window.get());
             banner->show(QStringLiteral("a new chat in Claude"), 5, nullptr, nullptr);
             return window;
         }},
        {"--editor", "editor.png",
         [](service::ServiceContext&) -> std::unique_ptr<QWidget> {
             return studio::sampleEditorWindow();
         }},
        {{},
         "speech.png",
         [](service::ServiceContext& context) -> std::unique_ptr<QWidget> {
             // Settings of no one: a key store where there is no key, fields filled in here.
             auto* settings = new speech::SpeechSettings(
                 context.prefs(), speech::SpeechKeyStore(QStringLiteral("/nonexistent")));
             auto window = std::make_unique<ui::SpeechWindow>(*settings);
             settings->setParent(window.get());
             window->address()->setText(QStringLiteral("http://127.0.0.1:8080"));
             window->model()->setText(QStringLiteral("whisper-1"));
             window->status()->setText(
                 core::sentences::serverHeard(QStringLiteral("Pelix can hear you.")));
             // No field takes the focus, so no caret blinks into the picture.
             for (QLineEdit* edit : {window->address(), window->model(), window->key()}) {
                 edit->setFocusPolicy(Qt::NoFocus);
             }
             return window;
         }},
    };
    return pictures;
}

namespace {

// The off-screen platform says it cannot raise windows or cut their shapes; that is expected
// here and is not worth a line on standard error.
QtMessageHandler standard = nullptr;

void quietPlatform(QtMsgType type, const QMessageLogContext& context, const QString& message) {
    if (type == QtWarningMsg && message.startsWith(QLatin1String("This plugin does not support"))) {
        return;
    }
    standard(type, context, message);
}

}  // namespace

int runSnapshotCli(const core::Args& args, service::ServiceContext& backend) {
    const QString dir = args.value("--snapshot").value_or(QString());
    const QFileInfo folder(dir);
    if (!QDir().mkpath(dir) || !folder.isDir() ||
        !QFileInfo(folder.absoluteFilePath()).isWritable()) {
        core::console::err(core::sentences::picturesFolderNotWritable(dir));
        return 1;
    }
    standard = qInstallMessageHandler(quietPlatform);
    if (auto* app = qobject_cast<QApplication*>(QCoreApplication::instance()))
        ui::theme::apply(*app);
    if (!ui::theme::loadFonts()) {
        core::console::err(core::sentences::kFontDidNotLoad);
        return 1;
    }
    // Dates and language names in American English, whatever the machine's language.
    QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    UErrorCode status = U_ZERO_ERROR;
    icu::Locale::setDefault(icu::Locale::getUS(), status);
    for (const SnapshotPicture& picture : snapshotPictures()) {
        if (!picture.qualifier.isEmpty() && !args.has(picture.qualifier)) continue;
        const std::unique_ptr<QWidget> window = picture.make(backend);
        // A picture that cannot be made has said why.
        if (!window) return 1;
        const QString path = QDir(dir).filePath(picture.file);
        const Status written =
            core::writeFileAtomically(path, ui::pngBytes(ui::drawWidget(*window)));
        if (!written) {
            core::console::err(written.error().message);
            return 1;
        }
        core::console::out(path);
    }
    return 0;
}

}  // namespace pelix::app
