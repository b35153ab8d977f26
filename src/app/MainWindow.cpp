#include "app/MainWindow.h"

#include "core/Console.h"
#include "core/Paths.h"
#include "core/Sentences.h"
#include "memos/MemoSender.h"
#include "memos/MemoTools.h"
#include "memos/VoiceMemoLibrary.h"
#include "platform/Desktop.h"
#include "platform/RemoteFiles.h"
#include "service/ServiceContext.h"
#include "ui/Sounds.h"

#include <QApplication>
#include <QFileDialog>

namespace pelix::app {

web::WebWindowParts mainWindowParts(platform::Desktop& desktop, service::ServiceContext& context,
                                    core::Timers& timers, memos::MemoSender& sender,
                                    std::function<void()> chime) {
    core::Prefs& prefs = context.prefs();
    platform::RemoteFiles& remote = desktop.remoteFiles();
    return web::WebWindowParts{
        .places = web::WebPlaces::from(prefs, service::Api::configuredBase(prefs)),
        .timers = timers,
        .apps = desktop.apps(),
        .storage = core::paths::dataDir() + QStringLiteral("/Web"),
        .version = QStringLiteral(PELIX_VERSION),
        // The page's voice memo chooser starts there: the default folder is made for it.
        .recordings = memos::VoiceMemoLibrary::prepare(prefs),
        .onMacLink = {},
        .onRelayAccount = {},
        .chooseFiles = chooseFilesInDialog,
        .fetch = [&remote](const QUrl& location,
                           const QString& target) { return remote.fetch(location, target); },
        .library =
            [&prefs] {
                return memos::VoiceMemoLibrary::memos(memos::VoiceMemoLibrary::folder(prefs));
            },
        .send = sender.sendFunction(),
        .chime = std::move(chime),
    };
}

QStringList chooseFilesInDialog(const web::FilePick& pick) {
    QFileDialog dialog(QApplication::activeWindow(), pick.label, pick.start);
    dialog.setFileMode(pick.multiple ? QFileDialog::ExistingFiles : QFileDialog::ExistingFile);
    if (!pick.label.isEmpty()) dialog.setLabelText(QFileDialog::LookIn, pick.label);
    if (dialog.exec() != QDialog::Accepted) return {};
    return dialog.selectedFiles();
}

int runDropTest(platform::Desktop& desktop, service::ServiceContext& context) {
    core::QtTimers timers;
    memos::MemoSender sender(context.api(), context.prefs(), context.clock(),
                             memos::machineTools());
    sender.onStatus([](const QString& line) { core::console::err(line); });
    ui::Sounds sounds;
    Result<std::unique_ptr<web::WebWindow>> window = web::WebWindow::make(mainWindowParts(
        desktop, context, timers, sender, [&sounds] { sounds.play(ui::Sound::done); }));
    if (!window) {
        core::console::err(window.error().message);
        return 1;
    }
    (*window)->setWindowTitle(core::sentences::kDropTestTitle);
    (*window)->setAttribute(Qt::WA_QuitOnClose);
    (*window)->open();
    return QApplication::exec();
}

}  // namespace pelix::app
