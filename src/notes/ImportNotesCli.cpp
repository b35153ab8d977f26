#include "notes/ImportNotesCli.h"

#include "core/Console.h"
#include "core/Worker.h"
#include "notes/NotesImport.h"
#include "service/Api.h"

#include <QCoreApplication>

namespace pelix {

int runImportNotesCli(const Args& args, ServiceContext& backend) {
    std::optional<NotesImport::Source> source;
    if (const auto file = args.value("--from")) {
        source = NotesImport::fileSource(*file);
    } else if (const auto command = args.value("--command")) {
        source = NotesImport::commandSource(*command, NotesImport::readLimit(backend.prefs()));
    } else {
        source = NotesImport::defaultSource(backend.prefs());
    }
    if (!source) {
        console::err(
            "Couldn't find any notes to read: give a JSON file with --from, a command with "
            "--command, or set the preference notes.command.");
        return 1;
    }

    Worker worker(nullptr);
    return console::runUntilAnswered([&](console::Answer done) {
        NotesImport::run(
            worker, backend.api(), *source, [](const QString& text) { console::err(text); },
            [done = std::move(done)](Result<QString> outcome) {
                if (outcome) return done(outcome);
                done(std::unexpected(Api::asShown(outcome.error())));
            });
    });
}

}  // namespace pelix
