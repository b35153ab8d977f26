#include "notes/NotesImport.h"

#include "core/Sentences.h"
#include "core/Worker.h"
#include "fakes/BackendRig.h"
#include "fakes/HostileServer.h"

#include <QElapsedTimer>
#include <QMutex>

namespace pelix::notes {
namespace {

using fakes::Recorded;
using fakes::Reply;
using NotesImport::Item;
using testing::waitUntil;

QList<Item> notes(int count, const QString& folder = "Notes") {
    QList<Item> out;
    for (int i = 0; i < count; ++i) {
        out.push_back(Item{QString("x-coredata://note/%1").arg(i), QString("Note %1").arg(i),
                           QString("<div>body %1</div>").arg(i), folder, "2026-01-02T03:04:05.678Z",
                           "2026-02-03T04:05:06.789Z"});
    }
    return out;
}

NotesImport::Source fixed(QList<Item> items) {
    return {[items] { return Result<QList<Item>>(items); }, "Reading the test's notes…"};
}

class ImportTest : public ::testing::Test, protected fakes::BackendRig {
protected:
    ImportTest() : BackendRig("pelix_first") {}

    // Runs an import to its end; the final message or the error's text.
    Result<QString> runImport(NotesImport::Source source) {
        std::optional<Result<QString>> result;
        NotesImport::run(
            worker, api, std::move(source), [this](const QString& text) { progress << text; },
            [&result](Result<QString> r) { result = std::move(r); });
        if (!waitUntil([&] { return result.has_value(); }, 30000)) {
            return fail(0, "the import did not end");
        }
        return *result;
    }

    core::Worker worker{nullptr};
    QStringList progress;
};

TEST_F(ImportTest, SendsBatchesOfAHundredInOrderWithAFreshTokenEach) {
    QList<Item> items = notes(250);
    items[3].name = "   ";
    items[4].created.reset();
    items[20].folder = "recently deleted";  // a user's folder: only exact trash names count
    items.insert(10, Item{"trash-1", "gone", "", "Zuletzt gelöscht", {}, {}});
    int batch = 0;
    backend.answerWith("import-notes", [this, &batch](const Recorded&) {
        // The user signs in again while the import runs: the next batch carries the new token.
        if (++batch == 1) tokens.write("pelix_second");
        return Reply::json({{"created", 100}});
    });

    const auto result = runImport(fixed(items));
    ASSERT_TRUE(result) << result.error().message.toStdString();
    EXPECT_EQ(progress, QStringList({"Reading the test's notes…", "Bringing over 100 of 250…",
                                     "Bringing over 200 of 250…", "Bringing over 250 of 250…"}));
    QStringList batches, ids;
    for (const Recorded& sent : backend.requests("import-notes")) {
        const QJsonArray batch = sent.json.value("notes").toArray();
        batches << QString("%1 %2 %3 %4")
                       .arg(sent.json.value("source").toString())
                       .arg(batch.size())
                       .arg(sent.json.value("done").toBool() ? "done" : "more")
                       .arg(sent.headers.value("authorization"));
        for (const QJsonValue& note : batch) ids << note.toObject().value("external_id").toString();
    }
    EXPECT_EQ(batches, QStringList({"apple-notes 100 more Bearer pelix_first",
                                    "apple-notes 100 more Bearer pelix_second",
                                    "apple-notes 50 done Bearer pelix_second"}));
    items.removeAt(10);
    QStringList expected;
    for (const Item& item : items) expected << item.id;
    EXPECT_EQ(ids, expected);

    // The fields themselves are checked in what the program sends.
    const QJsonArray first = backend.requests("import-notes").at(0).json.value("notes").toArray();
    EXPECT_EQ(first.at(0).toObject().value("created_at"), "2026-01-02T03:04:05.678Z");
    EXPECT_EQ(first.at(3).toObject().value("title"), "");
    EXPECT_TRUE(first.at(4).toObject().value("created_at").isNull());
}

TEST_F(ImportTest, EndsEarlyWithTheRightWords) {
    // The notes read, signed in or not, the backend's answers, what is said, the batches sent.
    const std::tuple<QList<Item>, bool, QList<Reply>, QString, int> cases[] = {
        {{}, true, {}, core::sentences::kNotesEmpty, 0},
        {notes(3), false, {}, core::sentences::kSignInFirst, 0},
        {notes(250),
         true,
         {Reply::json({{"created", 100}}), Reply::json({{"error", "Too many notes today."}}, 429)},
         "Too many notes today.",
         2},
    };
    for (const auto& [items, signedIn, replies, message, requests] : cases) {
        backend.clear();
        backend.answerInTurn("import-notes", replies.isEmpty() ? QList{Reply::json({})} : replies);
        if (!signedIn) signOut();
        const auto result = runImport(fixed(items));
        EXPECT_EQ(result ? *result : result.error().message, message);
        EXPECT_EQ(backend.requests("import-notes").size(), requests) << message.toStdString();
        tokens.write("pelix_first");
    }
}

TEST(NotesSource, AFailingReaderIsExplainedFromItsErrorOutput) {
    const std::pair<const char*, QString> cases[] = {
        {"execution error: Not authorized to send Apple events to Notes. (-1743)",
         core::sentences::kNotesNeedPermission},
        {"execution error: Error: Can't get object. (-1728)", core::sentences::kNotesNotSignedIn},
        {"", "Couldn't read the notes: the program failed (exit status 1) without saying why."},
    };
    for (const auto& [stderrText, message] : cases) {
        qputenv("PELIX_TEST_ERROR", stderrText);
        const auto items =
            NotesImport::commandSource("printf '%s' \"$PELIX_TEST_ERROR\" >&2; exit 1").read();
        ASSERT_FALSE(items) << stderrText;
        EXPECT_EQ(items.error().message, message);
    }
    const auto longError =
        NotesImport::commandSource("head -c 400 /dev/zero | tr '\\0' e >&2; exit 3").read();
    ASSERT_FALSE(longError);
    EXPECT_EQ(longError.error().message, "Couldn't read the notes: " + QString(160, 'e'));
}

TEST(NotesSource, AProgramThatHangsIsStoppedWithWhatItStarted) {
    QElapsedTimer elapsed;
    elapsed.start();
    // Two of them, one in the background: the whole group goes.
    const auto items = NotesImport::commandSource("sleep 987.25 & sleep 987.25", 1).read();
    ASSERT_FALSE(items);
    EXPECT_EQ(items.error().message,
              "Couldn't read the notes: the program gave no notes within 1 second, so it was "
              "stopped.");
    EXPECT_LT(elapsed.elapsed(), 4000);
    const auto gone = [] { return QProcess::execute("pgrep", {"-f", "sleep 987.25"}) == 1; };
    EXPECT_TRUE(waitUntil(gone, 3000));
}

TEST_F(ImportTest, ThePelixProgramImportsAFileAndPrintsTheFinalMessage) {
    const QString file = testing::writeFile(
        home.path(), "notes.json",
        R"([{"id":"n1","name":"Milk","body":"<p>milk</p>","folder":"Notes","created":null,)"
        R"("modified":null}, {"id":"n2","name":"Eggs","body":"","folder":"Notes"}])");
    backend.answer("import-notes", Reply::json({{"created", 1}, {"unchanged", 1}}));
    const auto run = testing::runPelix({"--import-notes", "--from", file}, {}, backendEnv());
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_EQ(run.out, "Brought over 2 pearls: 1 new, 1 already here.\n");
    EXPECT_EQ(run.err, "Reading the notes in notes.json…\nBringing over 2 of 2…\n");
    // Null and absent dates alike are sent as null.
    EXPECT_EQ(QJsonDocument(backend.requests("import-notes").at(0).json.value("notes").toArray())
                  .toJson(QJsonDocument::Compact),
              R"([{"body":"milk","created_at":null,"external_id":"n1","folder":"Notes",)"
              R"("title":"Milk","updated_at":null},{"body":"","created_at":null,)"
              R"("external_id":"n2","folder":"Notes","title":"Eggs","updated_at":null}])");

    // Endless output, from a program or a file, is stopped at the limit.
    const std::pair<QStringList, QString> failures[] = {
        {{"--command", "yes"},
         "Running the notes command…\nCouldn't read the notes: the program printed more than 64 "
         "MB, more than any export of notes holds, so it was stopped.\n"},
        {{"--from", "/dev/zero"},
         "Reading the notes in zero…\nCouldn't read zero: it is larger than 64 MB, more than any "
         "export of notes holds.\n"},
    };
    for (const auto& [args, err] : failures) {
        const auto failed =
            testing::runPelix(QStringList{"--import-notes"} + args, {}, backendEnv());
        EXPECT_EQ(failed.exitCode, 1);
        EXPECT_EQ(QString::fromUtf8(failed.err), err);
    }
    EXPECT_EQ(backend.requests().size(), 1);

    // A gateway's page or refusal counts no note as brought over.
    for (const auto& [status, script] : fakes::HostileServer::gatewayAnswers()) {
        SCOPED_TRACE(status);
        fakes::HostileServer server(script);
        QProcessEnvironment env;
        env.insert("PELIX_API_BASE", server.base().toString());
        const auto refused = testing::runPelix({"--import-notes", "--from", file}, {}, env);
        EXPECT_EQ(refused.exitCode, 1);
        EXPECT_TRUE(refused.out.isEmpty()) << refused.out.toStdString();
        EXPECT_TRUE(refused.err.endsWith(QStringLiteral("Pelix answered %1 without the count of "
                                                        "notes it took, so nothing was changed.\n")
                                             .arg(status)
                                             .toUtf8()))
            << refused.err.toStdString();
    }
}

}  // namespace
}  // namespace pelix::notes
