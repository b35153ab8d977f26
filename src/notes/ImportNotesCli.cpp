#include "notes/ImportNotesCli.h"

#include "core/Console.h"
#include "core/Sentences.h"
#include "core/Worker.h"
#include "notes/NotesImport.h"
#include "service/Api.h"

#include <QCoreApplication>

namespace pelix::notes {

int runImportNotesCli(const core::Args& args, service::ServiceContext& backend) {
    std::optional<NotesImport::Source> source;
    if (const auto file = args.value("--from")) {
        source = NotesImport::fileSource(*file);
    } else if (const auto command = args.value("--command")) {
        source = NotesImport::commandSource(*command, NotesImport::readLimit(backend.prefs()));
    } else {
        source = NotesImport::defaultSource(backend.prefs());
    }
    if (!source) {
        core::console::err(core::sentences::kNoNotesToRead);
        return 1;
    }

    core::Worker worker(nullptr);
    return core::console::runUntilAnswered([&](core::console::Answer done) {
        NotesImport::run(
            worker, backend.api(), *source, [](const QString& text) { core::console::err(text); },
            [done = std::move(done)](Result<QString> outcome) {
                if (outcome) return done(outcome);
                done(std::unexpected(service::Api::asShown(outcome.error())));
            });
    });
}

}  // namespace pelix::notes
