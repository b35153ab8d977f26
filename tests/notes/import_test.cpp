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
    Result<QString> runImport(NotesImport::Source source,
                              std::shared_ptr<std::atomic_bool>* cancel = nullptr) {
        std::optional<Result<QString>> result;
        auto flag = NotesImport::run(
            worker, api, std::move(source), [this](const QString& text) { progress << text; },
            [&result](Result<QString> r) { result = std::move(r); });
        if (cancel) *cancel = flag;
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
    const QList<Recorded> sent = backend.requests("import-notes");
    ASSERT_EQ(sent.size(), 3);
    QStringList ids;
    const int sizes[] = {100, 100, 50};
    for (int i = 0; i < 3; ++i) {
        const QJsonObject body = sent.at(i).json;
        EXPECT_EQ(body.value("source"), "apple-notes");
        EXPECT_EQ(body.value("done"), i == 2);
        EXPECT_EQ(body.value("notes").toArray().size(), sizes[i]);
        for (const QJsonValue& note : body.value("notes").toArray()) {
            ids << note.toObject().value("external_id").toString();
        }
    }
    EXPECT_EQ(sent.at(0).headers.value("authorization"), "Bearer pelix_first");
    EXPECT_EQ(sent.at(1).headers.value("authorization"), "Bearer pelix_second");
    items.removeAt(10);
    QStringList expected;
    for (const Item& item : items) expected << item.id;
    EXPECT_EQ(ids, expected);

    const QJsonArray first = sent.at(0).json.value("notes").toArray();
    EXPECT_EQ(first.at(0).toObject(), QJsonObject({{"external_id", "x-coredata://note/0"},
                                                   {"title", "Note 0"},
                                                   {"body", "body 0"},
                                                   {"folder", "Notes"},
                                                   {"created_at", "2026-01-02T03:04:05.678Z"},
                                                   {"updated_at", "2026-02-03T04:05:06.789Z"}}));
    EXPECT_EQ(first.at(3).toObject().value("title"), "");
    EXPECT_TRUE(first.at(4).toObject().value("created_at").isNull());
}

// The backend knows notes by their identifier and tells what changed.
TEST_F(ImportTest, ASecondRunReportsOnlyWhatChanged) {
    QMutex lock;
    QHash<QString, QString> stored;
    QSet<QString> folders;
    backend.answerWith("import-notes", [&](const Recorded& request) {
        QMutexLocker hold(&lock);
        int created = 0, updated = 0, unchanged = 0, made = 0;
        for (const QJsonValue& value : request.json.value("notes").toArray()) {
            const QJsonObject note = value.toObject();
            const QString id = note.value("external_id").toString();
            const QString body = note.value("body").toString();
            if (!stored.contains(id)) {
                ++created;
            } else if (stored.value(id) != body) {
                ++updated;
            } else {
                ++unchanged;
            }
            stored.insert(id, body);
            const QString folder = note.value("folder").toString();
            if (!folders.contains(folder)) ++made, folders.insert(folder);
        }
        return Reply::json({{"created", created},
                            {"updated", updated},
                            {"unchanged", unchanged},
                            {"folders_created", made}});
    });

    QList<Item> items = notes(120);
    items.append(notes(2, "Work"));
    items[120].id = "work-1", items[121].id = "work-2";
    EXPECT_EQ(runImport(fixed(items)),
              "Brought over 122 pearls: 122 new. 2 folders made to match.");

    items[7].body = "<p>changed</p>";
    items.append(Item{"new-1", "New", "hello", "Notes", {}, {}});
    EXPECT_EQ(runImport(fixed(items)),
              "Brought over 123 pearls: 1 new, 1 updated, 121 already here.");
}

TEST_F(ImportTest, EndsEarlyWithTheRightWords) {
    struct Case {
        const char* name;
        QList<Item> items;
        bool signedIn;
        QList<Reply> replies;
        QString message;
        int requests;
    };
    const Case cases[] = {
        {"empty", {}, true, {}, core::sentences::kNotesEmpty, 0},
        {"only trash", notes(3, "Recently Deleted"), true, {}, core::sentences::kNotesEmpty, 0},
        {"no token", notes(3), false, {}, core::sentences::kSignInFirst, 0},
        {"second batch refused",
         notes(250),
         true,
         {Reply::json({{"created", 100}}), Reply::json({{"error", "Too many notes today."}}, 429)},
         "Too many notes today.",
         2},
    };
    for (const Case& c : cases) {
        backend.clear();
        backend.answerInTurn("import-notes",
                             c.replies.isEmpty() ? QList{Reply::json({})} : c.replies);
        if (!c.signedIn) signOut();
        const auto result = runImport(fixed(c.items));
        EXPECT_EQ(result ? *result : result.error().message, c.message) << c.name;
        EXPECT_EQ(backend.requests("import-notes").size(), c.requests) << c.name;
        tokens.write("pelix_first");
    }
}

TEST_F(ImportTest, ACancelledRunStopsBeforeItsNextBatch) {
    std::shared_ptr<std::atomic_bool> cancel;
    backend.answerWith("import-notes", [&cancel](const Recorded&) {
        *cancel = true;
        return Reply::json({{"created", 100}});
    });
    const auto result = runImport(fixed(notes(300)), &cancel);
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error().code, NotesImport::kCancelled);
    EXPECT_EQ(result.error().message, "Stopped after bringing over 100 of 300 notes.");
    EXPECT_EQ(backend.requests("import-notes").size(), 1);
}

TEST(NotesSource, AFailingReaderIsExplainedFromItsErrorOutput) {
    const std::pair<const char*, QString> cases[] = {
        {"execution error: Not authorized to send Apple events to Notes. (-1743)",
         core::sentences::kNotesNeedPermission},
        {"Error: NOT AUTHORIZED", core::sentences::kNotesNeedPermission},
        {"execution error: Error: Can't get object. (-1728)", core::sentences::kNotesNotSignedIn},
        {"ssh: connect to host mac port 22: Connection refused",
         "Couldn't read the notes: ssh: connect to host mac port 22: Connection refused"},
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

// Whether any process runs with `marker` in its command line.
bool running(const QByteArray& marker) {
    for (const QString& pid : QDir("/proc").entryList(QDir::Dirs)) {
        QFile cmdline("/proc/" + pid + "/cmdline");
        if (cmdline.open(QIODevice::ReadOnly) &&
            cmdline.readAll().replace('\0', ' ').contains(marker)) {
            return true;
        }
    }
    return false;
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
    EXPECT_TRUE(testing::waitUntil([] { return !running("sleep 987.25"); }, 3000));
}

TEST(NotesSource, ReadsTheJsonArrayOfItems) {
    struct Case {
        const char* name;
        QByteArray output;
        std::optional<qsizetype> count;  // none: the read fails
    };
    const Case cases[] = {
        {"nothing printed", "", 0},
        {"an empty list", "[]\n", 0},
        {"nulls and absent dates",
         R"([{"id":"1","name":"","body":"","folder":"Notes","created":null,"modified":null},
             {"id":"2","name":"b","body":"<p>x</p>","folder":"Work"}])",
         2},
        {"not json", "osascript: hello", std::nullopt},
        {"a note without an id", R"([{"name":"","body":"","folder":"Notes"}])", std::nullopt},
    };
    for (const Case& c : cases) {
        const auto items = NotesImport::decode(c.output);
        ASSERT_EQ(items.has_value(), c.count.has_value()) << c.name;
        if (items) {
            EXPECT_EQ(items->size(), *c.count) << c.name;
        }
    }
    const auto two = NotesImport::decode(cases[2].output);
    EXPECT_EQ(two->at(1), (Item{"2", "b", "<p>x</p>", "Work", std::nullopt, std::nullopt}));

    const auto missing = NotesImport::fileSource("/nonexistent/notes.json").read();
    ASSERT_FALSE(missing);
    EXPECT_TRUE(missing.error().message.startsWith("Couldn't read notes.json: "));
}

TEST_F(ImportTest, ThePelixProgramImportsAFileAndPrintsTheFinalMessage) {
    backend.answer("import-notes", Reply::json({{"created", 1}, {"unchanged", 4}}));
    QJsonArray array;
    for (const Item& item : notes(5)) {
        array.append(QJsonObject{{"id", item.id},
                                 {"name", item.name},
                                 {"body", item.body},
                                 {"folder", item.folder},
                                 {"created", *item.created},
                                 {"modified", QJsonValue::Null}});
    }
    const QString file =
        testing::writeFile(home.path(), "notes.json", QJsonDocument(array).toJson());
    const auto run = testing::runPelix({"--import-notes", "--from", file}, {}, backendEnv());
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_EQ(run.out, "Brought over 5 pearls: 1 new, 4 already here.\n");
    EXPECT_EQ(run.err, "Reading the notes in notes.json…\nBringing over 5 of 5…\n");

    // A command is named as what runs, not as Apple Notes.
    const auto fromCommand =
        testing::runPelix({"--import-notes", "--command", "cat " + file}, {}, backendEnv());
    EXPECT_EQ(fromCommand.exitCode, 0) << fromCommand.err.toStdString();
    EXPECT_EQ(fromCommand.err, "Running the notes command…\nBringing over 5 of 5…\n");
}

// A program or file that gives no end of output is stopped at the limit, with a sentence.
TEST_F(ImportTest, EndlessOutputIsStoppedAtTheLimit) {
    const auto run = testing::runPelix({"--import-notes", "--command", "yes"}, {}, backendEnv());
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.err,
              "Running the notes command…\nCouldn't read the notes: the program printed "
              "more than 64 MB, more than any export of notes holds, so it was "
              "stopped.\n");
    const auto file =
        testing::runPelix({"--import-notes", "--from", "/dev/zero"}, {}, backendEnv());
    EXPECT_EQ(file.exitCode, 1);
    EXPECT_TRUE(
        file.err.endsWith("Couldn't read zero: it is larger than 64 MB, more than any "
                          "export of notes holds.\n"))
        << file.err.toStdString();
    EXPECT_TRUE(backend.requests().isEmpty());
}

// A gateway's page or refusal counts no note as brought over.
TEST_F(ImportTest, ThePelixProgramCountsOnlyNotesTheBackendTook) {
    const QString file = testing::writeFile(
        home.path(), "one.json",
        R"([{"id":"n1","name":"Milk","body":"<p>milk</p>","folder":"Notes","created":null,)"
        R"("modified":null}])");
    for (const auto& [status, script] : fakes::HostileServer::gatewayAnswers()) {
        SCOPED_TRACE(status);
        fakes::HostileServer server(script);
        QProcessEnvironment env;
        env.insert("PELIX_API_BASE", server.base().toString());
        const auto run = testing::runPelix({"--import-notes", "--from", file}, {}, env);
        EXPECT_EQ(run.exitCode, 1);
        EXPECT_TRUE(run.out.isEmpty()) << run.out.toStdString();
        EXPECT_TRUE(run.err.endsWith(QStringLiteral("Pelix answered %1 without the count of notes "
                                                    "it took, so nothing was changed.\n")
                                         .arg(status)
                                         .toUtf8()))
            << run.err.toStdString();
    }
}

}  // namespace
}  // namespace pelix::notes
