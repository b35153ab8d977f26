#include "notes/ImportNotesCli.h"

#include "core/Console.h"
#include "notes/AppleNotesImport.h"
#include "service/Api.h"

#include <QCoreApplication>

namespace pelix {

int runImportNotesCli(const Args& args, ServiceContext& backend) {
    std::optional<AppleNotesImport::Source> source;
    if (const auto file = args.value("--from")) {
        source = AppleNotesImport::fileSource(*file);
    } else if (const auto command = args.value("--command")) {
        source =
            AppleNotesImport::commandSource(*command, AppleNotesImport::readLimit(backend.prefs()));
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
            [done = std::move(done)](Result<QString> outcome) {
                if (outcome) return done(outcome);
                done(std::unexpected(Api::asShown(outcome.error())));
            });
    });
}

}  // namespace pelix
