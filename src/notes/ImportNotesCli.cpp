#include "notes/ImportNotesCli.h"

#include "core/Console.h"
#include "notes/AppleNotesImport.h"

#include <QCoreApplication>

namespace pelix {

int runImportNotesCli(const Args& args, ServiceContext& backend) {
    std::optional<AppleNotesImport::Source> source;
    if (const auto file = args.value("--from")) {
        source = AppleNotesImport::fileSource(*file);
    } else if (const auto command = args.value("--command")) {
        source = AppleNotesImport::commandSource(*command);
    } else {
        source = AppleNotesImport::defaultSource(backend.prefs());
    }
    if (!source) {
        console::err(
            "Couldn't find any notes to read: give a JSON file with --from, a command with "
            "--command, or set the preference notes.command.");
        return 1;
    }

    return console::runUntilAnswered([&](console::Answer done) {
        AppleNotesImport::run(
            backend.api(), *source, [](const QString& text) { console::err(text); },
            std::move(done));
    });
}

}  // namespace pelix
