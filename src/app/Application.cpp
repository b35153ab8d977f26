#include "app/Application.h"

#include "app/TrayApp.h"
#include "core/Console.h"
#include "core/Log.h"
#include "core/Paths.h"
#include "core/Sentences.h"
#include "platform/Desktop.h"
#include "platform/SingleInstance.h"
#include "service/ServiceContext.h"
#include "ui/Theme.h"
#include "ui/TrayLook.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QPalette>

namespace pelix::app {

int runApplication(int argc, char** argv) {
    QElapsedTimer sinceStart;
    sinceStart.start();
    // A link is handed to the running Pelix as one line: one with a line break in it would
    // arrive cut short, its key cut at the break.
    for (int i = 1; i < argc; ++i) {
        const QString word = QString::fromLocal8Bit(argv[i]);
        if (word.startsWith(QStringLiteral("pelix-mac:"), Qt::CaseInsensitive) &&
            !platform::SingleInstance::isOneLine(word)) {
            core::console::err(core::sentences::kLinkNotOneLine);
            return 1;
        }
    }
    core::SystemClock clock;
    const std::unique_ptr<platform::Desktop> desktop =
        platform::makeDesktop({.clock = clock, .cacheDir = core::paths::cacheDir()});
    // Without a display that answers Qt would abort; say what is missing instead.
    if (const auto problem = desktop->displayProblem()) {
        core::console::err(core::sentences::trayNeedsDesktop(*problem));
        return 1;
    }
    // The web window's engine, loaded when the window is first opened, shares its GL contexts
    // with the application's: without this it takes the whole tray down.
    QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
    QApplication app(argc, argv);
    QApplication::setApplicationName("pelix");
    // The app id of Pelix's windows on Wayland, which typing takes for Pelix's own.
    QApplication::setDesktopFileName("pelix");
    QApplication::setQuitOnLastWindowClosed(false);
    // The desktop's own palette, before Pelix's look replaces it, tells how light its panel is.
    const ui::PanelShade panel = ui::panelShade(QApplication::palette());
    ui::theme::apply(app);

    // The desktop's scheme handler starts `pelix <link>`; anything else starts the application.
    QString message;
    for (const QString& word : QApplication::arguments().mid(1)) {
        if (word.startsWith(QStringLiteral("pelix-mac:"), Qt::CaseInsensitive)) message = word;
        if (word == QLatin1String(kDictateWord)) message = word;
    }

    const std::unique_ptr<platform::SingleInstance> instance =
        desktop->singleInstance(core::paths::dataDir());
    if (instance->sendToRunning(message)) {
        core::logLine("pelix", message.isEmpty() ? "already running; its panel is open"
                               : message == QLatin1String(kDictateWord)
                                   ? "handed --dictate to the running Pelix"
                                   : "handed the link to the running Pelix");
        return 0;
    }
    if (!instance->listen()) {
        // Another one started at the same moment and won.
        if (instance->sendToRunning(message)) return 0;
        core::console::err(core::sentences::noSocket(instance->address()));
        return 1;
    }

    service::ServiceContext context(clock, desktop->secrets());
    TrayApp tray(*desktop, context);
    tray.setPanelShade(panel);
    QObject::connect(instance.get(), &platform::SingleInstance::received, &tray, &TrayApp::receive);
    tray.start();
    core::logLine("tray", QStringLiteral("ready in %1 ms").arg(sinceStart.elapsed()));
    if (!message.isEmpty()) tray.receive(message);
    return QApplication::exec();
}

}  // namespace pelix::app
