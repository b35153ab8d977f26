#include "memos/MemoSender.h"

#include "core/Json.h"
#include "core/Log.h"
#include "core/Sentences.h"
#include "core/TempFiles.h"
#include "memos/VoiceMemoLibrary.h"
#include "service/FileBody.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPointer>

#include <algorithm>
#include <climits>
#include <cmath>

namespace pelix::memos {
namespace {

constexpr auto kLog = "voice memos";

bool insideFolder(const QString& file, const QString& folder) {
    const QString root = QDir::cleanPath(QFileInfo(folder).absoluteFilePath()) + '/';
    return QFileInfo(file).absoluteFilePath().startsWith(root);
}

void addOnce(core::Prefs& prefs, const char* key, const QString& name) {
    QStringList names = prefs.value(key).toStringList();
    if (names.contains(name)) return;
    names << name;
    prefs.setValue(key, names);
}

}  // namespace

struct MemoSender::Memo {
    QString file;
    QString name;
    std::optional<QString> title;
    QDateTime recorded;
    double seconds = 0;
    QString recorderKey;
    QString text;
};

struct MemoSender::Hearing {
    QString file;
    QList<MemoSender::Piece> pieces;
    qsizetype next = 0;
    std::optional<QString> token;
    QStringList texts;
    std::function<void(std::optional<QString>)> done;
};

MemoSender::MemoSender(service::Api& api, core::Prefs& prefs, const core::Clock& clock,
                       MemoTools tools, QObject* parent)
    : QObject(parent),
      api_(api),
      prefs_(prefs),
      clock_(clock),
      tools_(std::move(tools)),
      worker_(this, 2) {}

MemoSender::~MemoSender() = default;

template <class T>
void MemoSender::offMain(std::function<T()> work, std::function<void(T)> then) {
    worker_.run(std::move(work), std::move(then));
}

void MemoSender::status(const QString& text) {
    if (onStatus_) onStatus_(text);
}

void MemoSender::send(const QString& file, const std::optional<QString>& title,
                      std::function<void(bool)> done) {
    sendFor(file, title,
            [done = std::move(done)](Outcome outcome) { done(outcome == Outcome::sent); });
}

MemoSender::Send MemoSender::sendFunction() {
    return [this](const QString& file, const std::optional<QString>& title,
                  std::function<void(bool)> done) { send(file, title, std::move(done)); };
}

void MemoSender::sendFor(const QString& file, const std::optional<QString>& title,
                         std::function<void(Outcome)> done) {
    status(core::sentences::kSendingAMemo);
    auto memo = std::make_shared<Memo>();
    memo->file = file;
    memo->name = QFileInfo(file).fileName();
    memo->title = title;
    offMain<std::shared_ptr<Memo>>(
        [memo, tools = tools_, folder = VoiceMemoLibrary::folder(prefs_), now = clock_.now()] {
            if (auto seconds = tools.duration(memo->file)) memo->seconds = *seconds;
            std::optional<QDateTime> recorded =
                tools.createdInside ? tools.createdInside(memo->file) : std::nullopt;
            if (!recorded) {
                const QDateTime born = QFileInfo(memo->file).birthTime();
                recorded = born.isValid() ? born : now;
            }
            memo->recorded = *recorded;
            memo->recorderKey = insideFolder(memo->file, folder)
                                    ? "voice-memo:" + memo->name
                                    : "voice-file:" + fingerprint(memo->file);
            return memo;
        },
        [this, done = std::move(done)](std::shared_ptr<Memo> memo) mutable {
            hear(memo->file, memo->seconds, kPiece, std::nullopt,
                 [this, memo, done = std::move(done)](std::optional<QString> text) {
                     if (!text)
                         return finish(Outcome::failed, core::sentences::kMemoNotHeard, done);
                     memo->text = text->trimmed();
                     if (memo->text.isEmpty())
                         return finish(Outcome::refused, core::sentences::kMemoHadNoWords, done);
                     fileMemo(memo, done);
                 });
        });
}

void MemoSender::fileMemo(std::shared_ptr<Memo> memo, std::function<void(Outcome)> done) {
    QJsonObject context = api_.context("voice", memo->seconds);
    context.insert("recorded_at", core::json::isoDate(memo->recorded));
    context.insert("source", "voice-memos");
    context.insert("filename", memo->name);
    context.insert("recorder_key", memo->recorderKey);
    if (memo->title && !memo->title->isEmpty()) context.insert("memo_title", *memo->title);
    const QJsonObject body{
        {"transcript", memo->text}, {"filename", memo->name}, {"context", context}};

    QPointer<MemoSender> self(this);
    api_.post("braindump", core::json::compact(body), std::nullopt, kSendLimit,
              [self, memo, done = std::move(done)](service::RawAnswer answer) {
                  if (!self) return;
                  if (!answer.transport && answer.status == 422) {
                      return self->finish(Outcome::refused, core::sentences::kMemoHadNoWords, done);
                  }
                  const auto result = service::Api::readFor(answer, service::Needs::filing());
                  if (!result) {
                      return self->finish(
                          Outcome::failed,
                          core::sentences::memoNotSent(service::Api::describe(result.error())),
                          done);
                  }
                  self->finish(Outcome::sent, sentText(memo->seconds), done);
              });
}

void MemoSender::finish(Outcome outcome, const QString& text,
                        const std::function<void(Outcome)>& done) {
    status(text);
    done(outcome);
}

void MemoSender::hear(const QString& file, double seconds, double piece,
                      const std::optional<QString>& token,
                      std::function<void(std::optional<QString>)> done) {
    QPointer<MemoSender> self(this);
    heardByPelix(file, seconds, piece, token,
                 [self, file, token, done = std::move(done)](std::optional<QString> text) mutable {
                     if (!self) return;
                     if (text) return done(text);
                     self->heardHere(file, token, [done = std::move(done)](Result<QString> here) {
                         if (!here) {
                             core::logLine(kLog,
                                           "not heard on this machine: " + here.error().message);
                             return done(std::nullopt);
                         }
                         done(*here);
                     });
                 });
}

void MemoSender::heardByPelix(const QString& file, double seconds, double piece,
                              const std::optional<QString>& token,
                              std::function<void(std::optional<QString>)> done) {
    auto hearing = std::make_shared<Hearing>();
    hearing->file = file;
    hearing->pieces = pieces(seconds, piece);
    hearing->token = token;
    hearing->done = std::move(done);
    if (hearing->pieces.isEmpty()) {
        core::logLine(kLog, QStringLiteral("%1 s is too long to send in pieces of %2 s")
                                .arg(static_cast<qint64>(seconds))
                                .arg(piece));
        return hearing->done(std::nullopt);
    }
    nextPiece(hearing);
}

void MemoSender::nextPiece(std::shared_ptr<Hearing> hearing) {
    if (hearing->next == hearing->pieces.size()) {
        hearing->texts.removeAll(QString());
        return hearing->done(hearing->texts.join(' '));
    }
    const Piece piece = hearing->pieces.at(hearing->next++);
    struct Audio {
        QString path;
        bool temporary = false;
    };
    offMain<Result<Audio>>(
        [tools = tools_, file = hearing->file, piece]() -> Result<Audio> {
            const QFileInfo info(file);
            // A recording as the folder holds them goes as it is; a large or other file (a long
            // WAV, say) is cut like any piece, which also makes it a small M4A.
            if (piece.whole && VoiceMemoLibrary::isRecording(info.fileName()) &&
                info.size() <= kWholeLimit) {
                return Audio{file, false};
            }
            auto cut = tools.cut(file, piece.from, piece.length);
            if (!cut) return std::unexpected(cut.error());
            return Audio{*cut, true};
        },
        [this, hearing, piece](Result<Audio> audio) {
            if (!audio) {
                core::logLine(kLog, "could not cut piece " + QString::number(piece.number) + ": " +
                                        audio.error().message);
                return hearing->done(std::nullopt);
            }
            const QJsonObject rest{{"filename", "piece-" + QString::number(piece.number) + ".m4a"},
                                   {"transcribe_only", true}};
            QPointer<MemoSender> self(this);
            // The body is read from the file while it is sent, so a piece of any size costs
            // little memory.
            api_.callStreamed(
                "braindump",
                [rest, path = audio->path] {
                    return service::Base64FileBody::open(rest, "audio_base64", path);
                },
                hearing->token, kSendLimit,
                [self, hearing, piece, audio = *audio](Result<QJsonObject> answer) {
                    if (audio.temporary) core::tempfiles::remove(audio.path);
                    if (!self) return;
                    const QJsonValue text = answer ? answer->value("text") : QJsonValue();
                    if (!text.isString()) {
                        core::logLine(kLog,
                                      "the backend did not hear piece " +
                                          QString::number(piece.number) +
                                          (answer ? QString() : ": " + answer.error().message));
                        return hearing->done(std::nullopt);
                    }
                    hearing->texts << text.toString().trimmed();
                    self->nextPiece(hearing);
                });
        });
}

void MemoSender::heardHere(const QString& file, const std::optional<QString>& token,
                           std::function<void(Result<QString>)> done) {
    const QString locale = prefs_.string("transcribeLanguage").value_or(QString());
    peopleNames(token, [this, file, locale, done = std::move(done)](QStringList names) mutable {
        offMain<Result<QString>>(
            [hear = tools_.hear, file, locale, names]() -> Result<QString> {
                auto text = hear(file, locale, names);
                if (!text) return text;
                return text->trimmed();
            },
            std::move(done));
    });
}

void MemoSender::peopleNames(const std::optional<QString>& token,
                             std::function<void(QStringList)> done) {
    QPointer<MemoSender> self(this);
    api_.call("desktop", QJsonObject{{"want", "people"}}, token, kPeopleLimit,
              [self, done = std::move(done)](Result<QJsonObject> answer) {
                  if (!self) return;
                  QStringList names;
                  if (answer) {
                      for (const QJsonValue& person : answer->value("people").toArray()) {
                          const QJsonValue name = person.toObject().value("name");
                          if (name.isString()) names << name.toString();
                      }
                  }
                  done(names);
              });
}

void MemoSender::markSent(core::Prefs& prefs, const QString& name) {
    addOnce(prefs, "voiceMemos.sent", name);
}

void MemoSender::markRefused(core::Prefs& prefs, const QString& name) {
    addOnce(prefs, "voiceMemos.refused", name);
}

QString MemoSender::fingerprint(const QString& file) {
    QFile in(file);
    if (!in.open(QIODevice::ReadOnly)) return {};
    QCryptographicHash hash(QCryptographicHash::Sha256);
    if (!hash.addData(&in)) return {};
    return QString::fromLatin1(hash.result().toHex());
}

QList<MemoSender::Piece> MemoSender::pieces(double seconds, double piece) {
    if (piece > 0) piece = std::max(piece, kShortestPiece);
    if (!(piece > 0) || !(seconds > piece)) return {Piece{1, 0, seconds, true}};
    if (seconds / piece > kMostPieces) return {};
    QList<Piece> out;
    // A tail shorter than this holds no speech worth a request.
    constexpr double kTail = 0.05;
    for (int n = 0;; ++n) {
        const double from = n * piece;
        if (!(seconds - from > kTail)) break;
        out.push_back(Piece{n + 1, from, std::min(piece, seconds - from), false});
    }
    return out;
}

int MemoSender::pieceCount(double seconds, double piece) {
    if (!(piece > 0)) return 1;
    const double count = seconds / piece;
    if (!(count >= 1)) return 1;
    return count >= INT_MAX ? INT_MAX : static_cast<int>(count);
}

QString MemoSender::sentText(double seconds) {
    const double minutes = std::round(seconds / 60);
    return core::sentences::memoIsIn(static_cast<qint64>(minutes));
}

}  // namespace pelix::memos
