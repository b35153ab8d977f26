#include "panel/PanelModel.h"

#include "core/Log.h"
#include "core/Sentences.h"
#include "service/Api.h"

#include <QJsonArray>
#include <QPointer>

namespace pelix::panel {

PanelModel::PanelModel(service::Api& api, const core::Clock& clock, QObject* parent)
    : QObject(parent), api_(api), clock_(clock) {
    bubbles_.push_back(Bubble{core::sentences::kGreeting, false});
}

PanelModel::~PanelModel() = default;

int PanelModel::addBubble(const QString& text, bool mine, bool waiting) {
    bubbles_.push_back(Bubble{text, mine, waiting});
    const int index = static_cast<int>(bubbles_.size()) - 1;
    Q_EMIT bubbleAdded(index);
    return index;
}

void PanelModel::setBubbleText(int index, const QString& text) {
    if (index < 0 || index >= bubbles_.size()) return;
    bubbles_[index].text = text;
    bubbles_[index].waiting = false;
    Q_EMIT bubbleChanged(index);
}

PanelModel::Mode PanelModel::modeFor(const QString& input) const {
    if (manualMode_) return *manualMode_;
    return looksLikeAsk(input) ? Mode::ask : Mode::tell;
}

void PanelModel::switchMode(const QString& input) {
    manualMode_ = modeFor(input) == Mode::ask ? Mode::tell : Mode::ask;
    Q_EMIT modeChanged();
}

bool PanelModel::send(const QString& input) {
    const QString text = input.trimmed();
    if (text.isEmpty() || pending_) return false;
    const Mode mode = modeFor(text);
    manualMode_.reset();
    Q_EMIT modeChanged();
    addBubble(text, true);
    const int answer = addBubble(
        mode == Mode::ask ? core::sentences::kThinking : core::sentences::kFiling, false, true);
    setPending(true);
    if (mode == Mode::ask) {
        ask(text, answer);
    } else {
        tell(text, answer);
    }
    return true;
}

void PanelModel::ask(const QString& text, int bubble) {
    history_.push_back({QStringLiteral("user"), text});
    QJsonArray messages;
    for (const auto& [role, content] : history_) {
        messages.push_back(QJsonObject{{"role", role}, {"content", content}});
    }
    QPointer<PanelModel> self(this);
    api_.ask(messages, [self, bubble](Result<QString> reply) {
        if (!self) return;
        if (reply) {
            self->history_.push_back({QStringLiteral("assistant"), *reply});
            self->setBubbleText(bubble, *reply);
        } else {
            // The question was not answered, so it leaves the conversation the service sees:
            // the next question does not follow an unanswered one.
            self->history_.pop_back();
            self->setBubbleText(bubble, service::Api::describe(reply.error()));
        }
        self->setPending(false);
    });
}

void PanelModel::tell(const QString& text, int bubble) {
    QPointer<PanelModel> self(this);
    api_.tell(text, QStringLiteral("typed"), kTellTimeout,
              [self, bubble, text](Result<service::Filed> filed) {
                  if (!self) return;
                  self->setBubbleText(bubble, filed ? QString(core::sentences::kInPelix)
                                                    : service::Api::describe(filed.error()));
                  self->setPending(false);
                  if (filed) return self->refreshInsights(true);
                  if (service::Api::isTransport(filed.error())) Q_EMIT self->untold(text);
              });
}

void PanelModel::setPending(bool pending) {
    if (pending_ == pending) return;
    pending_ = pending;
    Q_EMIT pendingChanged(pending);
}

void PanelModel::refreshInsights(bool force, double timeoutSeconds) {
    const double now = clock_.uptime();
    if (!force && lastInsightsFetch_ && now - *lastInsightsFetch_ <= kInsightsEvery) return;
    lastInsightsFetch_ = now;
    const int fetch = ++insightsFetch_;
    insightsState_ = InsightsState::loading;
    Q_EMIT insightsChanged();
    QPointer<PanelModel> self(this);
    api_.call(QStringLiteral("insights"), QJsonObject{}, std::nullopt, timeoutSeconds,
              service::Needs::insights(), [self, fetch](Result<QJsonObject> answer) {
                  if (!self || fetch != self->insightsFetch_) return;
                  if (answer) {
                      self->render(insightsFrom(*answer));
                  } else {
                      core::logLine("insights", answer.error().message);
                      self->insightsError_ = service::Api::describe(answer.error());
                      self->insightsState_ = InsightsState::failed;
                      Q_EMIT self->insightsChanged();
                  }
                  Q_EMIT self->insightsLoaded(answer.has_value());
              });
}

void PanelModel::render(const QList<Insight>& insights) {
    insights_ = insights;
    insightsState_ = InsightsState::shown;
    insightsError_.clear();
    Q_EMIT insightsChanged();
}

QString PanelModel::insightsNote() const {
    switch (insightsState_) {
        case InsightsState::loading:
            return core::sentences::kHavingALook;
        case InsightsState::failed:
            return insightsError_;
        case InsightsState::none:
        case InsightsState::shown:
            break;
    }
    return core::sentences::kNothingYet;
}

void PanelModel::setRecording(bool recording) {
    if (recording_ == recording) return;
    recording_ = recording;
    Q_EMIT recordingChanged(recording);
}

}  // namespace pelix::panel
