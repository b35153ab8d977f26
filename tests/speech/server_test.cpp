// The transcription server engine: reading the three answer shapes, cutting long sound at
// pauses, the requests it makes and the sentences it fails with, against the fake server.
#include "core/PrivateFile.h"
#include "fakes/FakeTranscriptionServer.h"
#include "fakes/HostileServer.h"
#include "media/TestMedia.h"
#include "speech/AudioPieces.h"
#include "speech/ServerAnswer.h"
#include "speech/SpeechSettings.h"
#include "speech/TranscriptionServerEngine.h"
#include "support/TestSupport.h"

namespace pelix::speech {
namespace {

using fakes::FakeTranscriptionServer;
using fakes::Shape;

QString texts(const QList<core::Word>& words) {
    QStringList out;
    for (const core::Word& w : words) out << w.text;
    return out.join(' ');
}

QString show(const QList<core::Word>& words) {
    QStringList out;
    for (const core::Word& w : words)
        out << QString("%1 %2-%3").arg(w.text).arg(w.start).arg(w.end);
    return out.join(", ");
}

// An answer read for a piece at `start` lasting `length`: each stretch as "text: words", or the
// failure's sentence.
QString read(const QByteArray& body, double start = 0, double length = 3) {
    const auto heard = server::readAnswer(body, start, length);
    if (!heard) return heard.error().message;
    QStringList out;
    for (const SpeechResult& s : *heard) {
        EXPECT_LE(s.start, s.end) << s.text.toStdString();
        out << s.text + ": " + show(s.words);
    }
    return out.join(" | ");
}

TEST(ServerAnswer, ThreeShapesGiveTheSameStretchesOnTheStreamsAxis) {
    const QString said = "The weather is nice today. We will walk.";
    // OpenAI's words carry no punctuation; tokens and spread text keep it.
    const std::pair<Shape, const char*> cases[] = {
        {Shape::topLevelWords, "The weather is nice today"},
        {Shape::segmentTokens, "The weather is nice today."},
        {Shape::segmentTimes, "The weather is nice today."},
    };
    for (const auto& [shape, firstWords] : cases) {
        SCOPED_TRACE(static_cast<int>(shape));
        const auto heard = server::readAnswer(fakes::transcriptionAnswer(said, 4.0, shape), 10, 4);
        ASSERT_TRUE(heard) << heard.error().message.toStdString();
        ASSERT_EQ(heard->size(), 2);
        EXPECT_EQ((*heard)[0].text + "|" + (*heard)[1].text,
                  "The weather is nice today.|We will walk.");
        EXPECT_EQ(texts((*heard)[0].words), firstWords);
        EXPECT_NEAR((*heard)[0].start, 10.1, 1e-6);
        EXPECT_LE(heard->last().words.last().end, 14.0);
    }
}

TEST(ServerAnswer, OddAnswers) {
    const std::pair<QByteArray, QString> cases[] = {
        // Text alone is spread over the piece.
        {R"({"text":" Just text here"})", "Just text here: Just 5-6, text 6-7, here 7-8"},
        // Silence: no stretches, and no failure.
        {R"({"text":"","segments":[]})", ""},
        {"<html>busy</html>", "Couldn't transcribe on the server: its answer couldn't be read."},
        {R"({"error":"model not loaded"})", "Couldn't transcribe on the server: model not loaded."},
        // Control characters (a terminal's title, its clipboard, a carriage return) are dropped,
        // the token left empty joins the next, and times that could not be read back are put in
        // order.
        {R"({"text":"a","segments":[{"start":-2,"end":-1,"text":"Hi\u001b]0;owned\u0007 there\r",)"
         R"("words":[{"word":"Hi\u001b]2;x\u0007","start":-2,"end":-3},{"word":"\u009b","start":1,"end":2},)"
         R"({"word":" there","start":1,"end":0.5}]}]})",
         "Hi]0;owned there: Hi]2;x 0-2, there 1-1"},
    };
    for (const auto& [body, want] : cases) {
        EXPECT_EQ(read(body, body.contains("Just") ? 5 : 0), want) << body.constData();
    }
}

TEST(ServerAnswer, RefusalsAreOneSentenceWithoutTheKey) {
    const QUrl endpoint("http://127.0.0.1:8080/v1/audio/transcriptions");
    const QString key = "sk-secret/123+x";
    // The sentences after "Couldn't transcribe on the server: ".
    const std::tuple<int, QByteArray, QString> cases[] = {
        {401, R"({"error":"Bad key sk-secret%2f123%2Bx in \u001b]52;c;aGk=\u0007 the query"})",
         "Bad key … in ]52;c;aGk= the query."},
        {404, "Not Found", "nothing transcribes at " + endpoint.toString() + "."},
        {413, "<html><body>413 Request Entity Too Large</body></html>",
         "the sound was more than it takes at once."},
        {302, "",
         "it sent Pelix on to another address, which Pelix does not follow with your key."},
    };
    for (const auto& [status, body, rest] : cases) {
        const QString sentence = server::refusal(status, body, endpoint, key);
        EXPECT_EQ(sentence, "Couldn't transcribe on the server: " + rest) << status;
        EXPECT_FALSE(sentence.contains(key) || sentence.contains("secret") ||
                     sentence.contains(QChar(0x1b)));
    }
    EXPECT_EQ(server::unreachable("Connection refused"),
              "Couldn't reach the transcription server: Connection refused.");
}

TEST(ServerSettings, AddressLimitAndKey) {
    const std::pair<QString, QString> addresses[] = {
        {"http://127.0.0.1:8080", "http://127.0.0.1:8080/v1/audio/transcriptions"},
        {"localhost:8000/", "https://localhost:8000/v1/audio/transcriptions"},
    };
    for (const auto& [base, endpoint] : addresses) {
        EXPECT_EQ(transcriptionsEndpoint(base).toString(), endpoint) << base.toStdString();
    }

    QTemporaryDir dir;
    core::Prefs prefs(dir.filePath("Pelix.conf"));
    const SpeechKeyStore keys(dir.filePath("data"));
    EXPECT_FALSE(ServerSettings::read(prefs, keys));
    prefs.setValue("speech.server", "127.0.0.1:8080");
    prefs.setValue("speech.uploadLimitMB", 2.5);
    ASSERT_TRUE(keys.write(" sk-test \n"));
    const auto settings = ServerSettings::read(prefs, keys);
    ASSERT_TRUE(settings);
    EXPECT_EQ(QString("%1 %2").arg(settings->uploadLimit).arg(settings->key), "2500000 sk-test");
    EXPECT_EQ(QFileInfo(dir.filePath("data/speech-key")).permissions(),
              QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadUser |
                  QFileDevice::WriteUser);
    // A key that would add a header to every request is refused, stored or found.
    EXPECT_FALSE(keys.write("sk-a\r\nX-Evil: 1"));
    EXPECT_EQ(keys.read(), "sk-test");
    pelix::core::writePrivateFile(dir.filePath("data/speech-key"), "sk-a\nX-Evil: 1");
    EXPECT_FALSE(keys.read());
}

// A speech engine on the fake server, with its preferences and key in a folder of its own.
class ServerEngine : public ::testing::Test {
protected:
    void SetUp() override {
        prefs_.setValue("speech.server", server_.base());
        ASSERT_TRUE(keys_.write(kKey));
    }

    // Noise with pauses: 0.9 s on, 0.5 s off, for `seconds`.
    static std::vector<int16_t> talk(double seconds) {
        std::vector<int16_t> samples(static_cast<size_t>(seconds * 16000));
        uint32_t seed = 7;
        for (size_t i = 0; i < samples.size(); ++i) {
            seed = seed * 1664525 + 1013904223;
            const bool pause = i % 22400 >= 14400;
            samples[i] = pause ? 0 : static_cast<int16_t>(int(seed >> 16) % 6000 - 3000);
        }
        return samples;
    }

    // Feeds `samples` in tenth-second blocks, as the transcriber does, and finishes.
    Result<QString> hear(const std::vector<int16_t>& samples, QList<SpeechResult>& heard,
                         const QStringList& words) {
        SessionEvents events;
        events.final = [&heard](const SpeechResult& r) { heard.append(r); };
        auto session = engine_.start("en-US", SessionOptions{false, words}, std::move(events));
        if (!session) return std::unexpected(session.error());
        for (size_t at = 0; at < samples.size(); at += 1600) {
            const auto block =
                std::span(samples).subspan(at, std::min<size_t>(1600, samples.size() - at));
            if (Status fed = (*session)->feed(block); !fed) return std::unexpected(fed.error());
        }
        return (*session)->finish();
    }

    static constexpr auto kKey = "sk-test-key-42";
    FakeTranscriptionServer server_;
    QTemporaryDir dir_;
    core::Prefs prefs_{dir_.filePath("Pelix.conf")};
    SpeechKeyStore keys_{dir_.filePath("data")};
    TranscriptionServerEngine engine_{prefs_, keys_};
};

TEST_F(ServerEngine, LongSoundGoesInPiecesCutAtPausesWithTimesOnTheStreamsAxis) {
    prefs_.setValue("speech.uploadLimitMB", 0.3);
    server_.answer("Alpha beta gamma.");
    QList<SpeechResult> heard;
    const std::vector<int16_t> samples = talk(30);
    const auto text = hear(samples, heard, {"Anna Berg", "Pelix", "Anna Berg"});
    ASSERT_TRUE(text) << text.error().message.toStdString();

    const QList<fakes::TranscriptionCall> calls = server_.calls();
    ASSERT_GE(calls.size(), 4);
    ASSERT_EQ(heard.size(), calls.size());
    EXPECT_EQ(*text, QStringList(calls.size(), "Alpha beta gamma.").join(' '));
    double offset = 0;
    size_t at = 0;
    for (qsizetype i = 0; i < calls.size(); ++i) {
        const fakes::TranscriptionCall& call = calls[i];
        SCOPED_TRACE(i);
        EXPECT_TRUE(call.problems.isEmpty()) << call.problems.join("; ").toStdString();
        EXPECT_LE(call.bodySize, 300'000);
        EXPECT_EQ(call.field("model") + " " + call.field("language") + " " + call.field("prompt") +
                      " " + call.authorization,
                  QString("whisper-1 en Anna Berg, Pelix Bearer ") + kKey);
        // The pieces are the stream, in order, each ending in a pause.
        const std::vector<int16_t> piece = call.samples();
        ASSERT_TRUE(std::equal(piece.begin(), piece.end(), samples.begin() + at));
        at += piece.size();
        if (i + 1 < calls.size()) {
            EXPECT_TRUE(
                std::all_of(piece.end() - 1600, piece.end(), [](int16_t s) { return s == 0; }));
        }
        EXPECT_NEAR(heard[i].start, offset + 0.1, 1e-6);
        EXPECT_GE(heard[i].words.first().start, offset);
        offset += call.seconds();
        EXPECT_LE(heard[i].words.last().end, offset);
    }
    EXPECT_EQ(at, samples.size());
}

// Servers that misbehave on purpose: each gives one sentence, within its limit, and the key is
// never sent in clear.
TEST(HostileTranscriptionServer, AnswersAreReadWithinLimitsAndTheKeyStaysOffPlainHttp) {
    const QByteArray sound = server::wavFile(std::vector<int16_t>(1600), 16000);
    const auto sentence = [](const char* rest) {
        return QString("Couldn't reach the transcription server: ") + rest;
    };
    const std::tuple<fakes::HostileServer::Script, ServerClient::Piece, QString> cases[] = {
        {fakes::HostileServer::endless(),
         {.sound = sound},
         sentence("The answer was larger than 32 MB, so it was not read.")},
        {fakes::HostileServer::trickle("{}", 60000),
         {.sound = sound, .timeoutSeconds = 60, .silenceSeconds = 1},
         sentence("The server sent nothing for 1 second, so Pelix gave up.")},
    };
    for (const auto& [script, piece, want] : cases) {
        fakes::HostileServer hostile(script);
        ServerSettings settings;
        settings.endpoint = transcriptionsEndpoint(hostile.base().toString());
        settings.key = "sk-secret";
        const auto answer = ServerClient().transcribe(settings, piece);
        ASSERT_FALSE(answer);
        EXPECT_EQ(answer.error().message, want);
        EXPECT_LT(hostile.bytesSent(), 64 * 1024 * 1024);
    }
    // Plain http to another computer: nothing is sent.
    ServerSettings elsewhere;
    elsewhere.endpoint = transcriptionsEndpoint("http://192.0.2.1:9/v1");
    elsewhere.key = "sk-secret";
    const auto answer = ServerClient().transcribe(elsewhere, {.sound = sound, .timeoutSeconds = 2});
    ASSERT_FALSE(answer);
    EXPECT_EQ(answer.error().code, server::kUnreachable);
    EXPECT_TRUE(answer.error().message.contains("plain http to another computer"))
        << answer.error().message.toStdString();
    EXPECT_FALSE(answer.error().message.contains("sk-secret"));
}

TEST_F(ServerEngine, AFileThatFitsGoesAsItIsAndAsWavOnlyToAServerThatWantsIt) {
    QTemporaryDir folder;
    const QString memo = testing::TestMedia(folder.path()).tone("memo.m4a", 2.0);
    QFile file(memo);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const auto hearFile = [&](TranscriptionServerEngine& engine) {
        QList<SpeechResult> heard;
        SessionEvents events;
        events.final = [&](const SpeechResult& r) { heard << r; };
        auto whole =
            engine.hearFile(memo, 2.0, "de-AT", SessionOptions{false, {"Anna"}}, events, {});
        if (whole && *whole) EXPECT_EQ(**whole, heard);
        return whole;
    };
    server_.takeAnySound();
    server_.answer("Hallo.", Shape::segmentTimes);
    auto whole = hearFile(engine_);
    ASSERT_TRUE(whole && *whole);
    EXPECT_EQ((**whole)[0].text, "Hallo.");
    const auto call = server_.calls().last();
    EXPECT_EQ(call.audio, file.readAll());
    EXPECT_EQ(
        QStringList({call.filename, call.audioType, call.field("language"), call.field("prompt")}),
        QStringList({"sound.m4a", "audio/mp4", "de", "Anna"}));

    // A failure on the server's side sends this file as WAV, and the next one as M4A again.
    int failures = 1;
    server_.answerWith([&failures](const fakes::TranscriptionCall&) {
        return failures-- > 0 ? fakes::Reply::text("Bad Gateway", 502)
                              : fakes::Reply::json({{"text", "Hallo."}});
    });
    EXPECT_FALSE(hearFile(engine_));
    whole = hearFile(engine_);
    ASSERT_TRUE(whole && *whole);
    EXPECT_EQ(server_.calls().last().filename, "sound.m4a");

    // A server that reads only WAV refuses the file once and gets sessions from then on.
    FakeTranscriptionServer wavOnly;
    prefs_.setValue("speech.server", wavOnly.base());
    TranscriptionServerEngine engine(prefs_, keys_);
    EXPECT_FALSE(hearFile(engine));
    EXPECT_FALSE(hearFile(engine));
    ASSERT_EQ(wavOnly.calls().size(), 1);
    EXPECT_EQ(wavOnly.calls()[0].problems, QStringList{"the file is not WAV"});
}

}  // namespace
}  // namespace pelix::speech
