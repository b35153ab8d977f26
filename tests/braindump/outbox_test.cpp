// The braindump sender, and its outbox: braindumps that could not reach the account wait in a
// private folder and are filed once, oldest first, when it can be reached; what a crash leaves
// behind is neither lost nor filed twice while Pelix runs.
#include "braindump/Outbox.h"
#include "braindump/Braindump.h"
#include "core/Sentences.h"
#include "fakes/BackendRig.h"

#include <sys/stat.h>

namespace pelix::braindump {
namespace {

class OutboxTest : public ::testing::Test, protected fakes::BackendRig {
protected:
    static int mode(const QString& path) {
        struct stat info {};
        return ::stat(QFile::encodeName(path).constData(), &info) == 0 ? info.st_mode & 0777 : -1;
    }
    QString folder() const { return outbox::folderIn(home.dataDir()); }
    QStringList files() const { return QDir(folder()).entryList(QDir::Files | QDir::Hidden); }
    static QByteArray body(const QString& tag) {
        return QJsonDocument(QJsonObject{{"filename", tag}}).toJson(QJsonDocument::Compact);
    }
    void keep(Outbox& box, const QString& tag) {
        const auto kept = testing::awaited<Status>([&](auto done) { box.keep(body(tag), done); });
        ASSERT_TRUE(kept && *kept);
    }
    QStringList filedTags() const {
        QStringList tags;
        for (const QJsonObject& sent : sent("braindump")) tags << sent.value("filename").toString();
        return tags;
    }
    OutboxParts parts(service::Api& through) {
        return {
            .api = through, .prefs = prefs, .clock = clock, .timers = timers, .folder = folder()};
    }
    static QString send(BraindumpSender& sender, const QString& path) {
        return testing::awaited<Result<QString>>(
                   [&](auto done) { sender.send(path, 2, std::move(done)); })
            .value_or(fail(0, "no answer"))
            .value_or("failed");
    }
    bool settled(Outbox& box) {
        return testing::waitUntil([&] { return box.waiting() == 0 && !box.filing(); });
    }

    fakes::ManualTimers timers{clock};
};

TEST_F(OutboxTest, WhatWaitsIsFiledOnceOldestFirstAndThenDeleted) {
    {
        Outbox earlier(parts(api));
        for (const char* tag : {"first", "second", "third"}) {
            clock.set(clock.uptime() + 1);
            keep(earlier, tag);
        }
        EXPECT_EQ(earlier.waiting(), 3);
    }
    EXPECT_EQ(mode(folder()), 0700);
    for (const QString& file : files()) EXPECT_EQ(mode(folder() + '/' + file), 0600);

    Outbox box(parts(api));
    QStringList lines;
    QObject::connect(&box, &Outbox::filed, [&](const QString& line) { lines << line; });
    // Every way of starting a filing at once: the start, another call's answer, "Send now".
    box.start();
    box.fileNow();
    api.call("insights", {}, std::nullopt, 10, [](Result<QJsonObject>) {});
    ASSERT_TRUE(backend.waitFor("braindump", 3));
    ASSERT_TRUE(settled(box));
    EXPECT_EQ(filedTags(), (QStringList{"first", "second", "third"}));
    EXPECT_EQ(lines, QStringList(3, core::sentences::kInPelix));
    EXPECT_TRUE(testing::waitUntil([&] { return files().isEmpty(); }));
}

// Only a failure to reach the account waits; any other answer ends a kept entry with its line,
// and is the line a sender without an outbox shows, the recording gone either way.
TEST_F(OutboxTest, EachAnswerEitherEndsTheEntryOrKeepsItForLater) {
    const struct {
        const char* what;
        fakes::Reply reply;
        bool waits;
        QString line;
    } cases[] = {
        {"filed", fakes::Reply::json({}), false, core::sentences::kInPelix},
        {"an error member", fakes::Reply::json({{"error", "Too long."}}, 200), false, "Too long."},
        {"401 with an error member", fakes::Reply::json({{"error", "No."}}, 401), false, "No."},
        {"a 404 page", fakes::Reply::text("not here", 404), false, "Pelix answered 404."},
        {"a proxy's 502 page", fakes::Reply::text("<html>Bad gateway</html>", 502), true,
         "Pelix answered 502."},
        {"a gateway's 401 without an error member",
         fakes::Reply::json({{"code", 401}, {"message", "Invalid JWT"}}, 401), true,
         "Pelix answered 401."},
        {"a 503 with no body", fakes::Reply::text("", 503), true, "Pelix answered 503."},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        backend.clear();
        backend.answer("braindump", c.reply);
        Outbox box(parts(api));
        QStringList lines;
        QObject::connect(&box, &Outbox::filed, [&](const QString& line) { lines << line; });
        keep(box, c.what);
        box.start();
        ASSERT_TRUE(backend.waitFor("braindump", 1));
        ASSERT_TRUE(testing::waitUntil([&] { return !box.filing(); }));
        EXPECT_EQ(box.waiting(), c.waits ? 1 : 0);
        EXPECT_TRUE(testing::waitUntil([&] { return files().size() == (c.waits ? 1 : 0); }));
        EXPECT_EQ(lines, c.waits ? QStringList() : QStringList{c.line});
        box.discard();
        EXPECT_TRUE(testing::waitUntil([&] { return files().isEmpty(); }));

        BraindumpSender sender(api);
        const QString path = testing::writeFile(home.path(), "pelix-1790000000.m4a");
        EXPECT_EQ(send(sender, path), c.line);
        EXPECT_FALSE(QFile::exists(path));
    }
}

TEST_F(OutboxTest, WhatACrashLeavesIsFiledOnceAndHalfWrittenEntriesAreNotFiledAtAll) {
    QDir().mkpath(folder());
    // In flight when Pelix ended; a write cut short; a waiting one; something else entirely.
    testing::writeFile(folder(), "1790000000001.json.sending", body("in flight"));
    testing::writeFile(folder(), "1790000000002.json.Ab12Cd", body("half"));
    testing::writeFile(folder(), "1790000000003.json", body("waiting"));
    testing::writeFile(folder(), "notes.txt", "mine");

    Outbox box(parts(api));
    box.start();
    ASSERT_TRUE(backend.waitFor("braindump", 2));
    ASSERT_TRUE(settled(box));
    EXPECT_EQ(filedTags(), (QStringList{"in flight", "waiting"}));
    EXPECT_TRUE(testing::waitUntil([&] { return files() == QStringList{"notes.txt"}; }))
        << files().join(' ').toStdString();
}

TEST_F(OutboxTest, WithoutAKeyEntriesWaitUntilOneIsStored) {
    signOut();
    Outbox box(parts(api));
    keep(box, "later");
    box.start();
    box.fileNow();
    testing::pause(200);
    EXPECT_TRUE(backend.requests("braindump").isEmpty());
    EXPECT_EQ(files(), QStringList{files().value(0).section('.', 0, 0) + ".json"});

    tokens.write("pelix_test");
    box.fileNow();
    ASSERT_TRUE(settled(box));
    EXPECT_EQ(filedTags(), QStringList{"later"});
}

TEST_F(OutboxTest, ARecordingThatCannotBeSentIsKeptUnlessTheOutboxIsOff) {
    service::Api nowhere(QUrl("http://127.0.0.1:1"), tokens, &network, &clock);
    Outbox box(parts(nowhere));
    box.start();
    BraindumpSender sender(nowhere, &box);
    const QString kept = testing::writeFile(home.path(), "pelix-1790000000.m4a", "spoken words");
    EXPECT_EQ(send(sender, kept), core::sentences::kSavedForLater);
    EXPECT_FALSE(QFile::exists(kept));
    ASSERT_EQ(files().size(), 1);
    const QJsonObject stored =
        QJsonDocument::fromJson(testing::readFile(folder() + '/' + files()[0])).object();
    EXPECT_EQ(stored.value("filename").toString(), "pelix-1790000000.m4a");
    EXPECT_EQ(QByteArray::fromBase64(stored.value("audio_base64").toString().toLatin1()),
              "spoken words");
    EXPECT_EQ(stored.value("context").toObject().value("duration_s").toInt(), 2);

    prefs.setValue(outbox::kPref, false);
    const QString dropped = testing::writeFile(home.path(), "pelix-1790000001.m4a", "more");
    EXPECT_TRUE(send(sender, dropped).startsWith(core::sentences::kCouldntReachPelix));
    EXPECT_FALSE(QFile::exists(dropped));
    EXPECT_EQ(files().size(), 1);

    // The kept one goes later as the very request of the first try.
    Outbox back(parts(api));
    back.start();
    ASSERT_TRUE(backend.waitFor("braindump", 1));
    ASSERT_TRUE(settled(back));
    EXPECT_EQ(backend.requests("braindump").value(0).json, stored);
}

// A sender let go while its upload is on its way: the answer reaches no one, and the recording
// is still removed.
TEST_F(OutboxTest, ASenderGoneBeforeTheAnswerCallsNoOneButTheRecordingStillGoes) {
    fakes::Reply slow = fakes::Reply::json({});
    slow.delayMs = 300;
    backend.answer("braindump", slow);
    const QString path = testing::writeFile(home.path(), "pelix-1790000000.m4a");
    bool called = false;
    {
        BraindumpSender early(api);
        early.send(path, 2, [&](Result<QString>) { called = true; });
        ASSERT_TRUE(backend.waitFor("braindump", 1));
    }
    EXPECT_TRUE(testing::waitUntil([&] { return !QFile::exists(path); }));
    EXPECT_FALSE(called);
}

}  // namespace
}  // namespace pelix::braindump
