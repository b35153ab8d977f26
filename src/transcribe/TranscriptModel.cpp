#include "transcribe/TranscriptModel.h"

#include "core/Clock.h"
#include "core/Dates.h"
#include "core/Json.h"
#include "core/Prefs.h"
#include "core/Sentences.h"
#include "editor/Captions.h"
#include "service/Api.h"
#include "transcribe/StableId.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QPointer>

#include <algorithm>
#include <cmath>

namespace pelix::transcribe {
namespace {

constexpr auto kLanguageKey = "transcribeLanguage";

}  // namespace

TranscriptModel::TranscriptModel(const speech::SpeechEngines& engines, core::Worker& worker,
                                 service::Api& api, core::Prefs& prefs, const core::Clock& clock,
                                 QString file, QObject* parent)
    : QObject(parent),
      engines_(engines),
      worker_(worker),
      api_(api),
      prefs_(prefs),
      clock_(clock),
      file_(std::move(file)) {}

TranscriptModel::~TranscriptModel() {
    // The run notices at its next check; nothing it hands back reaches this object any more.
    stop_.request_stop();
}

void TranscriptModel::showStatus(const QString& text) {
    status_ = text;
    Q_EMIT statusChanged(text);
}

void TranscriptModel::setListening(bool on) {
    if (listening_ == on) return;
    listening_ = on;
    Q_EMIT listeningChanged(on);
}

void TranscriptModel::start() {
    showStatus(core::sentences::kGettingReady);
    languages_ = VideoTranscriber::languages(engines_);
    const QString stored = prefs_.string(kLanguageKey).value_or(QString());
    const QString fallback = VideoTranscriber::defaultLocale(engines_);
    if (languages_.contains(stored)) {
        language_ = stored;
    } else if (languages_.contains(fallback) || languages_.isEmpty()) {
        language_ = fallback;
    } else {
        language_ = languages_.first();
    }
    transcribe();
}

void TranscriptModel::chooseLanguage(const QString& locale) {
    if (locale == language_ && listening_) return;
    language_ = locale;
    prefs_.setValue(kLanguageKey, locale);
    transcribe();
}

void TranscriptModel::stop() {
    ++run_;
    stop_.request_stop();
    if (listening_) showStatus(core::sentences::kStoppedListening);
    setListening(false);
}

void TranscriptModel::transcribe() {
    stop_.request_stop();
    const int run = ++run_;
    lastEnd_ = 0;
    liveEmpty_ = true;
    sentences_ = prefs_.sentenceText();
    pieces_.clear();
    Q_EMIT cleared();
    setListening(true);

    auto hear = [this, run] {
        if (run != run_) return;
        duration_ = facts_->duration;
        stop_ = VideoTranscriber::start(
            worker_, engines_, file_, language_, {}, this,
            [this, run](const QString& text) {
                if (run == run_) showStatus(text);
            },
            [this, run](const transcribe::Spoken& spoken) {
                if (run == run_) append(spoken);
            },
            [this, run](Result<QList<Spoken>> result) {
                if (run != run_) return;
                if (result) return finish(*result);
                setListening(false);
                if (result.error().code != VideoTranscriber::kCancelled) {
                    showStatus(result.error().message);
                }
            });
    };
    if (facts_) return hear();
    // The length and the identifier need the file opened and read: not here.
    worker_.run(
        [file = file_] {
            Facts facts;
            facts.duration = VideoTranscriber::duration(file).value_or(0);
            facts.id = stableId(file);
            facts.made = madeOn(file);
            return facts;
        },
        [self = QPointer<TranscriptModel>(this), hear](const Facts& facts) {
            if (!self) return;
            self->facts_ = facts;
            hear();
        });
}

void TranscriptModel::append(const transcribe::Spoken& spoken) {
    if (!listening_) return;
    const QString text = VideoTranscriber::pieceText(spoken.text, sentences_);
    if (text.isEmpty()) return;
    QString piece;
    if (!liveEmpty_)
        piece = spoken.start - lastEnd_ > kGap ? QStringLiteral("\n\n") : QStringLiteral(" ");
    piece += text;
    liveEmpty_ = false;
    lastEnd_ = spoken.end;
    pieces_.append({spoken.start, spoken.end, text, spoken.words});
    Q_EMIT appended(piece, pieces_.back());
    if (duration_ > 0) {
        const int percent = static_cast<int>(std::clamp(spoken.end / duration_ * 100, 0.0, 100.0));
        showStatus(core::sentences::listeningAt(percent));
    }
}

void TranscriptModel::finish(const QList<transcribe::Spoken>& spoken) {
    setListening(false);
    const QString text = VideoTranscriber::paragraphs(spoken, kGap, sentences_);
    pieces_.clear();
    for (const transcribe::Spoken& piece : spoken) {
        const QString cleaned = VideoTranscriber::pieceText(piece.text, sentences_);
        if (!cleaned.isEmpty()) pieces_.append({piece.start, piece.end, cleaned, piece.words});
    }
    Q_EMIT replaced(text);
    if (text.trimmed().isEmpty()) return showStatus(core::sentences::kNoSpeech);
    showStatus(finishedLine(wordCount(text), duration_));
}

QString TranscriptModel::saveTitle() const {
    return saved_ ? QStringLiteral("Save again") : QStringLiteral("Save to Pelix");
}

void TranscriptModel::save(const QString& text) {
    if (!facts_) facts_ = Facts{duration_, stableId(file_), madeOn(file_)};
    const QJsonObject body =
        noteBody(facts_->id, QFileInfo(file_).completeBaseName(), text, clock_.now(), facts_->made);
    QPointer<TranscriptModel> self(this);
    api_.call("import-notes", body, std::nullopt, kSaveLimit, service::Needs::notesTaken(),
              [self](Result<QJsonObject> answer) {
                  if (!self) return;
                  if (!answer) return self->showStatus(service::Api::describe(answer.error()));
                  self->saved_ = true;
                  self->showStatus(core::sentences::kSavedInVideos);
                  Q_EMIT self->savedToPelix();
              });
}

void TranscriptModel::sort(const QString& text) {
    if (text.trimmed().isEmpty()) return;
    if (text.size() > kSortLimit) return showStatus(core::sentences::kTooMuchToSort);
    const QJsonObject body{
        {"text", text},
        {"context",
         api_.context("video", duration_ > 0 ? std::optional(duration_) : std::nullopt)}};
    QPointer<TranscriptModel> self(this);
    api_.call("organize", body, std::nullopt, kSortLimitSeconds, service::Needs::nothing(),
              [self](Result<QJsonObject> answer) {
                  if (!self) return;
                  self->showStatus(answer ? QString(core::sentences::kInPelix)
                                          : service::Api::describe(answer.error()));
              });
}

QString TranscriptModel::clock(double seconds) {
    return core::dates::clock(seconds);
}

std::optional<TranscriptModel::FileKind> TranscriptModel::kindOf(const QString& fileName) {
    const QString suffix = QFileInfo(fileName).suffix().toLower();
    for (const FileKind kind : {FileKind::text, FileKind::srt, FileKind::vtt}) {
        if (suffix == extension(kind)) return kind;
    }
    return std::nullopt;
}

QString TranscriptModel::extension(FileKind kind) {
    switch (kind) {
        case FileKind::text:
            return QStringLiteral("txt");
        case FileKind::srt:
            return QStringLiteral("srt");
        case FileKind::vtt:
            return QStringLiteral("vtt");
    }
    return {};
}

QString TranscriptModel::fileText(FileKind kind, const QString& text,
                                  const QList<transcribe::Spoken>& pieces) {
    if (kind == FileKind::text) return text.endsWith(u'\n') ? text : text + u'\n';
    std::vector<editor::CaptionCue> cues;
    for (const transcribe::Spoken& piece : pieces) {
        editor::CaptionCue cue;
        cue.start = piece.start;
        cue.end = piece.end;
        cue.words = {piece.text};
        cues.push_back(std::move(cue));
    }
    return editor::subtitles(
        cues, kind == FileKind::srt ? editor::SubtitleFormat::srt : editor::SubtitleFormat::vtt);
}

int TranscriptModel::wordCount(const QString& text) {
    int count = 0;
    bool inWord = false;
    for (const QChar c : text) {
        const bool space = c.isSpace();
        if (!space && !inWord) ++count;
        inWord = !space;
    }
    return count;
}

QString TranscriptModel::finishedLine(int words, double seconds) {
    return core::sentences::wordsFrom(words, clock(seconds));
}

QJsonObject TranscriptModel::noteBody(const QString& id, const QString& title, const QString& text,
                                      const QDateTime& now, const std::optional<QDateTime>& made) {
    QJsonObject note{{"external_id", id},
                     {"title", title},
                     {"body", text},
                     {"folder", "Videos"},
                     {"updated_at", core::json::isoDate(now)}};
    if (made) note.insert("created_at", core::json::isoDate(*made));
    return QJsonObject{{"source", "video"}, {"notes", QJsonArray{note}}, {"done", true}};
}

}  // namespace pelix::transcribe
