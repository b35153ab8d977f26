#include "fakes/FakeTranscriptionServer.h"

#include "support/TestSupport.h"

#include <QRegularExpression>
#include <QtEndian>

#include <httplib.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <thread>

namespace pelix::fakes {
namespace {

constexpr auto kPath = "/v1/audio/transcriptions";

struct WavData {
    int rate = 0;
    int channels = 0;
    int bits = 0;
    QByteArrayView data;
};

std::optional<WavData> readWav(const QByteArray& file) {
    if (file.size() < 12 || !file.startsWith("RIFF") || file.mid(8, 4) != "WAVE") return {};
    WavData wav;
    qsizetype at = 12;
    while (at + 8 <= file.size()) {
        const QByteArray id = file.mid(at, 4);
        const auto size = qFromLittleEndian<quint32>(file.constData() + at + 4);
        const qsizetype body = at + 8;
        if (id == "fmt " && size >= 16) {
            wav.channels = qFromLittleEndian<quint16>(file.constData() + body + 2);
            wav.rate = static_cast<int>(qFromLittleEndian<quint32>(file.constData() + body + 4));
            wav.bits = qFromLittleEndian<quint16>(file.constData() + body + 14);
        } else if (id == "data") {
            wav.data =
                QByteArrayView(file).sliced(body, std::min<qsizetype>(size, file.size() - body));
            return wav;
        }
        at = body + size + (size & 1);
    }
    return {};
}

QJsonObject timed(const QString& text, double start, double end) {
    return QJsonObject{{"word", text}, {"start", start}, {"end", end}};
}

// Sub-word tokens the way a whisper.cpp server sends them: the first with a leading space,
// pieces of at most three letters, punctuation on its own.
QList<QString> tokens(const QString& word) {
    QString bare = word;
    QString tail;
    while (!bare.isEmpty() && bare.back().isPunct()) {
        tail.prepend(bare.back());
        bare.chop(1);
    }
    QList<QString> out;
    for (qsizetype i = 0; i < bare.size(); i += 3) out << bare.mid(i, 3);
    if (out.isEmpty()) out << QString();
    out[0].prepend(' ');
    for (const QChar c : tail) out << QString(c);
    return out;
}

}  // namespace

std::vector<int16_t> TranscriptionCall::samples() const {
    const auto wav = readWav(audio);
    if (!wav || wav->bits != 16 || wav->channels != 1) return {};
    std::vector<int16_t> out(static_cast<size_t>(wav->data.size() / 2));
    for (size_t i = 0; i < out.size(); ++i) {
        out[i] = qFromLittleEndian<qint16>(wav->data.data() + 2 * i);
    }
    return out;
}

double TranscriptionCall::seconds() const {
    const auto wav = readWav(audio);
    if (!wav || wav->rate <= 0 || wav->bits != 16 || wav->channels != 1) return 0;
    return double(wav->data.size()) / 2 / wav->rate;
}

QByteArray transcriptionAnswer(const QString& text, double seconds, Shape shape) {
    static const QRegularExpression sentenceEnd(R"((?<=[.!?])\s+)");
    const QStringList sentences = text.trimmed().split(sentenceEnd, Qt::SkipEmptyParts);
    qsizetype total = 0;
    for (const QString& s : sentences) total += s.split(' ', Qt::SkipEmptyParts).size();
    const double from = 0.1, step = total > 0 ? std::max(0.0, seconds - 0.2) / double(total) : 0;

    QJsonArray segments, allWords;
    qsizetype index = 0;
    for (const QString& sentence : sentences) {
        const QStringList words = sentence.split(' ', Qt::SkipEmptyParts);
        const double start = from + step * double(index);
        QJsonArray segmentWords;
        for (const QString& word : words) {
            const double a = from + step * double(index), b = a + step * 0.9;
            ++index;
            if (shape == Shape::topLevelWords) {
                QString bare = word;
                bare.remove(QRegularExpression(R"([^\w'])"));
                allWords.append(timed(bare, a, b));
            } else if (shape == Shape::segmentTokens) {
                const QList<QString> pieces = tokens(word);
                const double each = (b - a) / double(pieces.size());
                for (qsizetype i = 0; i < pieces.size(); ++i) {
                    segmentWords.append(
                        timed(pieces[i], a + each * double(i), a + each * double(i + 1)));
                }
            }
        }
        QJsonObject segment{{"id", segments.size()},
                            {"start", start},
                            {"end", from + step * double(index)},
                            {"text", " " + sentence}};
        if (shape == Shape::segmentTokens) segment.insert("words", segmentWords);
        segments.append(segment);
    }
    QJsonObject answer{{"task", "transcribe"},
                       {"language", "english"},
                       {"duration", seconds},
                       {"text", " " + text.trimmed()},
                       {"segments", segments}};
    if (shape == Shape::topLevelWords) answer.insert("words", allWords);
    return QJsonDocument(answer).toJson(QJsonDocument::Compact);
}

struct FakeTranscriptionServer::Impl {
    httplib::Server server;
    std::thread thread;
    mutable std::mutex mutex;
    std::condition_variable closing;
    bool closed = false;
    std::atomic<bool> wavOnly = true;
    QList<TranscriptionCall> calls;
    std::function<Reply(const TranscriptionCall&)> respond;

    // Waits out a reply's delay, or until the server closes.
    void hold(int ms) {
        std::unique_lock lock(mutex);
        closing.wait_for(lock, std::chrono::milliseconds(ms), [this] { return closed; });
    }
};

FakeTranscriptionServer::FakeTranscriptionServer() : impl_(std::make_unique<Impl>()) {
    answer("Hello there.");
    impl_->server.Post(kPath, [this](const httplib::Request& req, httplib::Response& res) {
        TranscriptionCall call;
        call.path = QString::fromStdString(req.path);
        // A multipart body is taken apart while it is read: its size is the one announced.
        call.bodySize =
            QByteArray::fromStdString(req.get_header_value("Content-Length")).toLongLong();
        call.authorization = QString::fromStdString(req.get_header_value("Authorization"));
        if (!req.is_multipart_form_data()) call.problems << "not a multipart form";
        for (const auto& [name, part] : req.files) {
            const QString key = QString::fromStdString(name);
            if (key == "file") {
                call.audio = QByteArray::fromStdString(part.content);
                call.filename = QString::fromStdString(part.filename);
                call.audioType = QString::fromStdString(part.content_type);
            } else {
                call.fields[key] << QString::fromStdString(part.content);
            }
        }
        if (call.audio.isEmpty() || call.filename.isEmpty()) call.problems << "no file";
        if (!call.audio.isEmpty() && !readWav(call.audio) && impl_->wavOnly) {
            call.problems << "the file is not WAV";
        }
        if (call.field("model").isEmpty()) call.problems << "no model";
        if (call.field("response_format") != "verbose_json") {
            call.problems << "response_format is not verbose_json";
        }
        const QStringList granularities = call.fields.value("timestamp_granularities[]");
        if (!granularities.contains("word") || !granularities.contains("segment")) {
            call.problems << "word and segment times not asked for";
        }

        std::function<Reply(const TranscriptionCall&)> respond;
        {
            std::lock_guard lock(impl_->mutex);
            impl_->calls.append(call);
            respond = impl_->respond;
        }
        Reply reply =
            call.problems.isEmpty()
                ? respond(call)
                : Reply::json({{"error", QJsonObject{{"message", call.problems.join("; ")}}}}, 400);
        if (reply.delayMs > 0) impl_->hold(reply.delayMs);
        res.status = reply.status;
        res.set_content(reply.body.toStdString(), reply.contentType.toStdString());
    });
    impl_->server.Get(".*", [](const httplib::Request&, httplib::Response& res) {
        res.status = 405;
        res.set_content(R"({"error":"Use POST."})", "application/json");
    });
    impl_->server.Post(".*", [](const httplib::Request&, httplib::Response& res) {
        res.status = 404;
        res.set_content("Not Found", "text/plain");
    });
    port_ = impl_->server.bind_to_any_port("127.0.0.1");
    if (port_ <= 0) throw std::runtime_error("the fake transcription server could not bind");
    impl_->thread = std::thread([this] { impl_->server.listen_after_bind(); });
    while (!impl_->server.is_running()) std::this_thread::sleep_for(std::chrono::milliseconds(1));
}

FakeTranscriptionServer::~FakeTranscriptionServer() {
    close();
}

QString FakeTranscriptionServer::base() const {
    return QStringLiteral("http://127.0.0.1:%1").arg(port_);
}

void FakeTranscriptionServer::answer(const QString& text, Shape shape, int delayMs) {
    answerWith([text, shape, delayMs](const TranscriptionCall& call) {
        return Reply{.body = transcriptionAnswer(text, call.seconds(), shape), .delayMs = delayMs};
    });
}

void FakeTranscriptionServer::answerWith(std::function<Reply(const TranscriptionCall&)> respond) {
    std::lock_guard lock(impl_->mutex);
    impl_->respond = std::move(respond);
}

QList<TranscriptionCall> FakeTranscriptionServer::calls() const {
    std::lock_guard lock(impl_->mutex);
    return impl_->calls;
}

bool FakeTranscriptionServer::waitFor(int count, int timeoutMs) const {
    return testing::waitUntil([&] { return calls().size() >= count; }, timeoutMs);
}

void FakeTranscriptionServer::takeAnySound() {
    impl_->wavOnly = false;
}

void FakeTranscriptionServer::close() {
    {
        std::lock_guard lock(impl_->mutex);
        if (impl_->closed) return;
        impl_->closed = true;
    }
    impl_->closing.notify_all();
    impl_->server.stop();
    if (impl_->thread.joinable()) impl_->thread.join();
}

}  // namespace pelix::fakes
