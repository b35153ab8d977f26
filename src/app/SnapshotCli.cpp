#include "app/SnapshotCli.h"

#include "core/Args.h"
#include "core/Console.h"
#include "core/PrivateFile.h"
#include "editor/EditorSample.h"
#include "relay/PanelModel.h"
#include "relay/PanelSample.h"
#include "relay/PanelWindow.h"
#include "service/ServiceContext.h"
#include "ui/BadgeWindow.h"
#include "ui/Snapshot.h"
#include "ui/Theme.h"

#include <QApplication>
#include <QDir>
#include <QFileInfo>
#include <QWidget>

namespace pelix {

const std::vector<SnapshotPicture>& snapshotPictures() {
    static const std::vector<SnapshotPicture> pictures{
        {{},
         "badge.png",
         [](ServiceContext&) -> std::unique_ptr<QWidget> {
             return std::make_unique<ui::BadgeWindow>();
         }},
        {{},
         "panel.png",
         [](ServiceContext& service) -> std::unique_ptr<QWidget> {
             auto* model = new relay::PanelModel(service.api(), service.clock());
             relay::showSample(*model);
             auto window = std::make_unique<relay::PanelWindow>(*model);
             model->setParent(window.get());
             return window;
         }},
        {"--editor", "editor.png",
         [](ServiceContext&) -> std::unique_ptr<QWidget> { return sampleEditorWindow(); }},
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

int runSnapshotCli(const Args& args, ServiceContext& backend) {
    const QString dir = args.value("--snapshot").value_or(QString());
    const QFileInfo folder(dir);
    if (!QDir().mkpath(dir) || !folder.isDir() ||
        !QFileInfo(folder.absoluteFilePath()).isWritable()) {
        console::err("Couldn't draw the pictures: " + dir + " is not a folder Pelix can write to.");
        return 1;
    }
    standard = qInstallMessageHandler(quietPlatform);
    if (auto* app = qobject_cast<QApplication*>(QCoreApplication::instance()))
        ui::theme::apply(*app);
    if (!ui::theme::loadFonts()) {
        console::err("Couldn't draw the pictures: the bundled font did not load.");
        return 1;
    }
    for (const SnapshotPicture& picture : snapshotPictures()) {
        if (!picture.qualifier.isEmpty() && !args.has(picture.qualifier)) continue;
        const std::unique_ptr<QWidget> window = picture.make(backend);
        const QString path = QDir(dir).filePath(picture.file);
        const Status written = writeFileAtomically(path, ui::pngBytes(ui::drawWidget(*window)));
        if (!written) {
            console::err(written.error().message);
            return 1;
        }
        console::out(path);
    }
    return 0;
}

}  // namespace pelix
