#pragma once

// A memo sender over the loopback backend, with stand-ins for the media layer, the on-device
// transcriber and the clock: what the sender's and the watcher's tests share.

#include "MemoTestSupport.h"
#include "fakes/LoopbackBackend.h"
#include "memos/MemoSender.h"
#include "service/TokenStore.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <QMutex>
#include <QNetworkAccessManager>
#include <QTemporaryDir>

namespace pelix::testing {

class TestClock final : public Clock {
public:
    double uptime() const override { return 0; }
    QDateTime now() const override { return now_; }
    QDateTime now_ = QDateTime::currentDateTimeUtc();
};

// Media and on-device hearing stand-ins: lengths by file name, cuts that write what they cover,
// a local transcript or failure.
struct FakeTools {
    QMutex lock;
    QHash<QString, double> lengths;
    int cuts = 0;
    std::optional<QString> local = QString("heard here");
    QList<std::pair<QString, QStringList>> heard;  // locale and expected words of each run
    QTemporaryDir scratch;

    MemoTools tools() {
        return MemoTools{
            [this](const QString& file) -> Result<double> {
                QMutexLocker hold(&lock);
                return lengths.value(QFileInfo(file).fileName(), 30);
            },
            [this](const QString&, double from, double length) -> Result<QString> {
                QMutexLocker hold(&lock);
                return writeFile(scratch.path(), QString("cut-%1.m4a").arg(++cuts),
                                 QString("audio %1+%2").arg(from).arg(length).toUtf8());
            },
            [](const QString&) -> std::optional<QDateTime> { return std::nullopt; },
            [this](const QString&, const QString& locale,
                   const QStringList& words) -> Result<QString> {
                QMutexLocker hold(&lock);
                heard.push_back({locale, words});
                if (!local) return fail(9, "No speech model.");
                return *local;
            },
        };
    }
};

inline bool transcribeOnly(const fakes::Recorded& request) {
    return request.json.value("transcribe_only").toBool();
}

// The backend hears every piece as `heardReply` and answers filings with `filingReply`.
class SendingTest : public ::testing::Test {
protected:
    void SetUp() override {
        tokens.write("pelix_memo_token");
        prefs.setValue("voiceMemos.folder", folder.path());
        prefs.setValue("voiceMemos.on", true);
        prefs.setValue("voiceMemos.since", 0.0);
        clock.now_ = QDateTime::currentDateTimeUtc().addSecs(600);
        hearByBackend("from the backend");
        backend.answerWith("braindump", [this](const fakes::Recorded& request) {
            if (transcribeOnly(request)) return heardReply;
            return filingReply;
        });
        sender.onStatus([this](const QString& text) { statuses << text; });
    }

    void hearByBackend(const QString& text) { heardReply = fakes::Reply::json({{"text", text}}); }
    QList<fakes::Recorded> filings() const {
        QList<fakes::Recorded> out;
        for (const fakes::Recorded& r : backend.requests("braindump")) {
            if (!transcribeOnly(r)) out << r;
        }
        return out;
    }
    bool waitForStatus(const QString& text) {
        return waitUntil([&] { return statuses.contains(text); });
    }
    QStringList sent() const { return prefs.value("voiceMemos.sent").toStringList(); }
    // Sends one memo by hand and waits for the answer.
    bool sendByHand(const QString& path, const std::optional<QString>& title = std::nullopt) {
        std::optional<bool> done;
        sender.send(path, title, [&](bool ok) { done = ok; });
        return waitUntil([&] { return done.has_value(); }) && *done;
    }

    IsolatedHome home;
    fakes::LoopbackBackend backend;
    QTemporaryDir folder;
    TestClock clock;
    FakeTools fake;
    QNetworkAccessManager network;
    TokenStore tokens{home.dataDir()};
    Prefs prefs{home.configDir() + "/Pelix.conf"};
    Api api{backend.base(), tokens, &network, &clock};
    MemoSender sender{api, prefs, clock, fake.tools()};
    QStringList statuses;
    fakes::Reply heardReply;
    fakes::Reply filingReply = fakes::Reply::json({});
};

}  // namespace pelix::testing
