#pragma once

// A memo sender over the loopback backend, with stand-ins for the media layer and the on-device
// transcriber: what the sender's and the watcher's tests share.
#include "MemoTestSupport.h"
#include "fakes/BackendRig.h"
#include "fakes/MemoFakes.h"
#include "memos/MemoSender.h"

namespace pelix::testing {

inline bool transcribeOnly(const fakes::Recorded& request) {
    return request.json.value("transcribe_only").toBool();
}

// The backend hears every piece as `heardReply` and answers filings with `filingReply`.
class SendingTest : public ::testing::Test, protected fakes::BackendRig {
protected:
    SendingTest() : BackendRig("pelix_memo_token") {}

    void SetUp() override {
        prefs.setValue("voiceMemos.folder", folder.path());
        prefs.setValue("voiceMemos.on", true);
        prefs.setValue("voiceMemos.since", 0.0);
        clock.setNow(QDateTime::currentDateTimeUtc().addSecs(600));
        hearByBackend("from the backend");
        backend.answerWith("braindump", [this](const fakes::Recorded& request) {
            return transcribeOnly(request) ? heardReply : filingReply;
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
        return testing::waitUntil([&] { return statuses.contains(text); });
    }
    QStringList sent() const { return prefs.value("voiceMemos.sent").toStringList(); }
    // Sends one memo by hand and waits for the answer.
    bool sendByHand(const QString& path, const std::optional<QString>& title = std::nullopt) {
        std::optional<bool> done;
        sender.send(path, title, [&](bool ok) { done = ok; });
        return testing::waitUntil([&] { return done.has_value(); }) && *done;
    }

    QTemporaryDir folder;
    fakes::FakeMemoTools fake;
    memos::MemoSender sender{api, prefs, clock, fake.tools()};
    QStringList statuses;
    fakes::Reply heardReply;
    // The backend acknowledges a filing with its id.
    fakes::Reply filingReply = fakes::Reply::json({{"id", "filing-1"}});
};

}  // namespace pelix::testing
