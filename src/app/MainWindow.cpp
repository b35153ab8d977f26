#include "app/MainWindow.h"

#include "core/Console.h"
#include "core/Paths.h"
#include "memos/MemoSender.h"
#include "memos/MemoTools.h"
#include "memos/VoiceMemoLibrary.h"
#include "platform/Desktop.h"
#include "platform/RemoteFiles.h"
#include "service/ServiceContext.h"
#include "ui/Sounds.h"

#include <QApplication>
#include <QFileDialog>

namespace pelix {

WebWindowParts mainWindowParts(platform::Desktop& desktop, ServiceContext& context, Timers& timers,
                               MemoSender& sender, std::function<void()> chime) {
    Prefs& prefs = context.prefs();
    platform::RemoteFiles& remote = desktop.remoteFiles();
    return WebWindowParts{
        .places = WebPlaces::from(prefs, Api::configuredBase(prefs)),
        .timers = timers,
        .apps = desktop.apps(),
        .storage = paths::dataDir() + QStringLiteral("/Web"),
        .version = QStringLiteral(PELIX_VERSION),
        .recordings = VoiceMemoLibrary::folder(prefs),
        .onMacLink = {},
        .onRelayAccount = {},
        .chooseFiles = chooseFilesInDialog,
        .fetch = [&remote](const QUrl& location,
                           const QString& target) { return remote.fetch(location, target); },
        .library = [&prefs] { return VoiceMemoLibrary::memos(VoiceMemoLibrary::folder(prefs)); },
        .send = sender.sendFunction(),
        .chime = std::move(chime),
    };
}

QStringList chooseFilesInDialog(const FilePick& pick) {
    QFileDialog dialog(QApplication::activeWindow(), pick.label, pick.start);
    dialog.setFileMode(pick.multiple ? QFileDialog::ExistingFiles : QFileDialog::ExistingFile);
    if (!pick.label.isEmpty()) dialog.setLabelText(QFileDialog::LookIn, pick.label);
    if (dialog.exec() != QDialog::Accepted) return {};
    return dialog.selectedFiles();
}

int runDropTest(platform::Desktop& desktop, ServiceContext& context) {
    QtTimers timers;
    MemoSender sender(context.api(), context.prefs(), context.clock(), machineTools());
    sender.onStatus([](const QString& line) { console::err(line); });
    ui::Sounds sounds;
    Result<std::unique_ptr<WebWindow>> window = WebWindow::make(mainWindowParts(
        desktop, context, timers, sender, [&sounds] { sounds.play(ui::Sound::done); }));
    if (!window) {
        console::err(window.error().message);
        return 1;
    }
    (*window)->setWindowTitle(QString::fromLatin1(WebWindow::kDropTestTitle));
    (*window)->setAttribute(Qt::WA_QuitOnClose);
    (*window)->open();
    return QApplication::exec();
}

}  // namespace pelix
