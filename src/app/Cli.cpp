#include "app/Cli.h"

#include "app/Application.h"
#include "app/Call.h"
#include "app/MainWindow.h"
#include "app/SnapshotCli.h"
#include "app/Usage.h"
#include "core/Args.h"
#include "core/Console.h"
#include "core/Paths.h"
#include "core/Sentences.h"
#include "core/TempFiles.h"
#include "memos/MemoCli.h"
#include "notes/ImportNotesCli.h"
#include "platform/Desktop.h"
#include "render/FramingSnapshot.h"
#include "service/ServiceContext.h"
#include "studio/EditCli.h"
#include "text/CleanUp.h"
#include "text/SelfTest.h"
#include "transcribe/TranscribeCli.h"

#include <QApplication>
#include <QCoreApplication>
#include <QFile>

#include <QHash>

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>

namespace pelix::app {
namespace {

int selfTest() {
    const int failed = text::runCleanUpSelfTest(text::withoutActually, core::console::out);
    return failed == 0 ? 0 : 1;
}

int cleanUp() {
    QFile in;
    if (!in.open(stdin, QIODevice::ReadOnly)) {
        core::console::err(core::sentences::kNoStandardInput);
        return 1;
    }
    const QByteArray bytes = in.readAll();
    const QString text = QString::fromUtf8(bytes);
    const QString cleaned = text::withoutActually(text);
    // Text the clean-up leaves alone goes out exactly as it came in.
    core::console::raw(cleaned == text ? bytes : cleaned.toUtf8());
    return 0;
}

enum class Needs { nothing, value, words };

// What a mode that runs with a Qt application gets: the desktop and the account's context.
struct Process {
    platform::Desktop& desktop;
    service::ServiceContext& context;
};
// How a mode runs: without Qt, with Qt Core, with windows, or with windows drawn off-screen.
enum class Runs { plain, headless, gui, offscreen };

struct Mode {
    const char* flag;
    Needs needs;
    Runs runs;
    std::function<int(const core::Args&, Process*)> run;
};

bool selected(const Mode& mode, const core::Args& args) {
    if (!args.has(mode.flag)) return false;
    switch (mode.needs) {
        case Needs::nothing:
            return true;
        case Needs::value:
            return args.value(mode.flag).has_value();
        case Needs::words:
            return args.value(mode.flag) == QStringLiteral("words");
    }
    return false;
}

// The modes in the order they are tested; the first one selected runs.
const std::vector<Mode>& modes() {
    static const std::vector<Mode> table{
        {"--help", Needs::nothing, Runs::plain,
         [](const core::Args&, Process*) {
             return core::console::raw(usage::helpText(usage::pelix()).toUtf8()), 0;
         }},
        {"--version", Needs::nothing, Runs::plain,
         [](const core::Args&, Process*) { return core::console::out("pelix " PELIX_VERSION), 0; }},
        {"--self-test", Needs::words, Runs::plain,
         [](const core::Args&, Process*) { return selfTest(); }},
        {"--drop-test", Needs::nothing, Runs::gui,
         [](const core::Args&, Process* p) { return runDropTest(p->desktop, p->context); }},
        {"--memo", Needs::value, Runs::headless,
         [](const core::Args& a, Process* p) { return memos::runMemoCli(a, p->context); }},
        {"--transcribe", Needs::value, Runs::headless,
         [](const core::Args& a, Process* p) {
             return transcribe::runTranscribeCli(a, p->context);
         }},
        {"--edit", Needs::nothing, Runs::headless,
         [](const core::Args& a, Process* p) { return studio::runEditCli(a, p->context); }},
        {"--snapshot", Needs::value, Runs::offscreen,
         [](const core::Args& a, Process* p) {
             const int drawn = runSnapshotCli(a, p->context);
             if (drawn != 0 || !a.has("--framing")) return drawn;
             QStringList clips;  // the words after --framing, up to the next option
             for (const QString& word : a.after("--framing")) {
                 if (word.startsWith("--")) break;
                 clips << word;
             }
             return render::runFramingSnapshot(*a.value("--snapshot"), clips);
         }},
        {"--clean-up", Needs::nothing, Runs::plain,
         [](const core::Args&, Process*) { return cleanUp(); }},
        {"--call", Needs::value, Runs::headless,
         [](const core::Args& a, Process* p) { return runCall(a, p->context); }},
        {"--import-notes", Needs::nothing, Runs::headless,
         [](const core::Args& a, Process* p) { return notes::runImportNotesCli(a, p->context); }},
    };
    return table;
}

// Options that only qualify a mode; they are not modes of their own.
bool knownOption(const QString& word) {
    static const QStringList qualifiers = usage::optionWords(usage::pelix());
    return qualifiers.contains(word) || modeFlags().contains(word) ||
           word == QLatin1String(kDictateWord);
}

// Every word that takes the word after it as its value, with the value as the usage names it:
// the modes that need one and the options that take one (not a list, which may be empty).
QHash<QString, QString> valuedWords() {
    QHash<QString, QString> valued;
    for (const usage::Mode& described : usage::pelix().modes) {
        const auto mode = std::ranges::find(
            modes(), described.flag, [](const Mode& m) { return QString::fromLatin1(m.flag); });
        if (mode != modes().end() && mode->needs != Needs::nothing) {
            valued.insert(described.flag, usage::valueOf(described.synopsis));
        }
        for (const usage::Option& option : described.options) {
            // A list ("CLIP...") may be empty.
            const QString value = usage::valueOf(option.synopsis);
            if (!value.isEmpty() && !value.endsWith(QLatin1String("...")))
                valued.insert(option.synopsis.section(' ', 0, 0), value);
        }
    }
    return valued;
}

// The first word given without its value: last, or followed by another option.
std::optional<QString> missingValue(const QStringList& words) {
    static const QHash<QString, QString> valued = valuedWords();
    for (qsizetype i = 0; i < words.size(); ++i) {
        const auto value = valued.constFind(words[i]);
        if (value == valued.constEnd()) continue;
        if (i + 1 == words.size() || words[i + 1].startsWith(QLatin1String("--"))) {
            return core::sentences::optionNeedsValue(words[i], *value);
        }
    }
    return std::nullopt;
}

}  // namespace

QStringList modeFlags() {
    QStringList flags;
    for (const Mode& mode : modes()) flags << mode.flag;
    return flags;
}

int runPelix(int argc, char** argv) {
    // Ctrl+C or a kill leaves no temporary sound file behind.
    core::tempfiles::removeOnSignals();
    QStringList words;
    for (int i = 1; i < argc; ++i) words << QString::fromLocal8Bit(argv[i]);
    const core::Args args(words);
    if (const auto missing = missingValue(words)) {
        core::console::err(*missing);
        return 2;
    }

    const Mode* mode = nullptr;
    for (const Mode& candidate : modes()) {
        if (selected(candidate, args)) {
            mode = &candidate;
            break;
        }
    }
    if (!mode) {
        for (const QString& word : words) {
            if (word.startsWith("--") && !knownOption(word)) {
                core::console::err(core::sentences::noSuchOption(word));
                return 2;
            }
        }
        return runApplication(argc, argv);
    }

    QCoreApplication::setApplicationName("pelix");
    QCoreApplication::setApplicationVersion(PELIX_VERSION);
    core::SystemClock clock;
    // Made before the Qt application (its services come on first use), so that it can say why no
    // window can be opened before Qt would end the process over it.
    const std::unique_ptr<platform::Desktop> desktop =
        platform::makeDesktop({.clock = clock, .cacheDir = core::paths::cacheDir()});
    std::unique_ptr<QCoreApplication> app;
    switch (mode->runs) {
        case Runs::plain:
            return mode->run(args, nullptr);
        case Runs::headless:
            app = std::make_unique<QCoreApplication>(argc, argv);
            break;
        case Runs::offscreen:
            // The same pixels on every machine: no display, no scaling from the environment.
            qputenv("QT_QPA_PLATFORM", "offscreen");
            for (const char* scaling : {"QT_SCALE_FACTOR", "QT_SCREEN_SCALE_FACTORS",
                                        "QT_ENABLE_HIGHDPI_SCALING", "QT_FONT_DPI"}) {
                qunsetenv(scaling);
            }
            [[fallthrough]];
        case Runs::gui:
            if (const auto problem = desktop->displayProblem()) {
                core::console::err(core::sentences::couldntOpenWindow(*problem));
                return 1;
            }
            // The web window's engine, loaded later, shares its GL contexts with the
            // application's.
            QCoreApplication::setAttribute(Qt::AA_ShareOpenGLContexts);
            app = std::make_unique<QApplication>(argc, argv);
            break;
    }
    service::ServiceContext context(clock, desktop->secrets());
    Process process{*desktop, context};
    return mode->run(args, &process);
}

}  // namespace pelix::app
