// pelix-loopback: the tests' loopback backend (or transcription server) as a program, for trying
// Pelix by hand. Prints its base address and logs each request to standard error.
#include "fakes/FakeTranscriptionServer.h"
#include "fakes/LoopbackBackend.h"

#include <QCoreApplication>
#include <QJsonDocument>
#include <QSocketNotifier>
#include <QStringList>
#include <QTimer>

#include <cstdio>
#include <memory>
#include <mutex>

using pelix::fakes::LoopbackBackend;
using pelix::fakes::Recorded;
using pelix::fakes::Reply;

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    const QStringList args = app.arguments().mid(1);
    if (args.contains("--help")) {
        std::puts(
            "Usage: pelix-loopback [--answer FUNCTION=JSON]... [--relay-prompt JSON]...\n"
            "       pelix-loopback --transcription TEXT\n"
            "Serves backend functions on 127.0.0.1; unscripted ones answer {}.\n"
            "Each --relay-prompt is handed out once, in order, by the relay's \"next\".\n"
            "Prints the base address to use as PELIX_API_BASE.\n"
            "With --transcription, serves /v1/audio/transcriptions instead, hearing TEXT in\n"
            "every recording; its address is the one for the preference speech.server.");
        return 0;
    }
    if (const qsizetype at = args.indexOf("--transcription"); at >= 0 && at + 1 < args.size()) {
        pelix::fakes::FakeTranscriptionServer server;
        const QString text = args[at + 1];
        server.answerWith([text](const pelix::fakes::TranscriptionCall& call) {
            std::fprintf(
                stderr, "loopback: %s %.1f s of sound, %lld bytes%s\n", qPrintable(call.path),
                call.seconds(), static_cast<long long>(call.bodySize),
                call.problems.isEmpty() ? "" : qPrintable(", " + call.problems.join("; ")));
            return Reply{.body = pelix::fakes::transcriptionAnswer(
                             text, call.seconds(), pelix::fakes::Shape::segmentTokens)};
        });
        std::printf("%s\n", qPrintable(server.base()));
        std::fflush(stdout);
        return app.exec();
    }
    LoopbackBackend backend;
    const auto log = [](const Recorded& r) {
        std::fprintf(stderr, "loopback: %s %s %s\n", qPrintable(r.method), qPrintable(r.path),
                     r.body.constData());
    };
    // Prompts held for the relay, each handed out once (the answers are read on server threads).
    auto prompts = std::make_shared<std::pair<std::mutex, QList<QJsonObject>>>();
    for (int i = 0; i + 1 < args.size(); ++i) {
        if (args[i] == "--relay-prompt") {
            prompts->second << QJsonDocument::fromJson(args[i + 1].toUtf8()).object();
        } else if (args[i] == "--answer") {
            const Reply reply{.body = args[i + 1].section('=', 1).toUtf8()};
            backend.answerWith(args[i + 1].section('=', 0, 0), [reply, log](const Recorded& r) {
                log(r);
                return reply;
            });
        }
    }
    if (!prompts->second.isEmpty()) {
        backend.answerWith("relay", [prompts, log](const Recorded& r) {
            log(r);
            std::lock_guard lock(prompts->first);
            if (r.json["action"] != "next" || prompts->second.isEmpty()) return Reply::json({});
            return Reply::json({{"prompt", prompts->second.takeFirst()}});
        });
    }
    std::printf("%s\n", qPrintable(backend.base().toString()));
    std::fflush(stdout);
    return app.exec();
}
