#pragma once

#include "core/Clock.h"
#include "core/Error.h"
#include "panel/Panel.h"

#include <QList>
#include <QObject>
#include <QString>

#include <optional>
#include <utility>

namespace pelix::service {
class Api;
}  // namespace pelix::service

namespace pelix::panel {

// The Tell/Ask panel without its window: the conversation, the mode of the next send, the
// requests to "organize" and "chat", and the insights with their fetch rule. Lives on the main
// thread; the window draws it and forwards the user's actions.
class PanelModel : public QObject {
    Q_OBJECT
public:
    // Insights are fetched at most once in this many seconds, unless forced.
    static constexpr double kInsightsEvery = 1800;
    static constexpr double kInsightsTimeout = 60;
    static constexpr double kTellTimeout = 60;

    enum class Mode { tell, ask };
    struct Bubble {
        QString text;
        bool mine = false;
        // Holds `core::sentences::kThinking` or `kFiling` until the answer comes.
        bool waiting = false;
    };
    enum class InsightsState { none, loading, shown, failed };

    PanelModel(service::Api& api, const core::Clock& clock, QObject* parent = nullptr);
    ~PanelModel() override;

    // The conversation, oldest first; it opens with the greeting.
    const QList<Bubble>& bubbles() const { return bubbles_; }
    // Appends a bubble and returns its index, so that its text can be replaced later.
    int addBubble(const QString& text, bool mine, bool waiting = false);
    void setBubbleText(int index, const QString& text);

    // The mode a send of `input` would take: the one chosen on the chip, else what the words
    // say.
    Mode modeFor(const QString& input) const;
    std::optional<Mode> manualMode() const { return manualMode_; }
    // The chip was clicked while `input` was typed: the next send takes the other mode.
    void switchMode(const QString& input);

    // Sends the input as a Tell or an Ask. False when there is nothing to send (empty after
    // trimming) or an answer is still pending.
    bool send(const QString& input);
    bool pending() const { return pending_; }
    // The Ask conversation so far: ("user" | "assistant", text), in order.
    const QList<std::pair<QString, QString>>& history() const { return history_; }

    // Fetches the insights, unless `force` is false and the last fetch was 30 minutes ago or
    // less.
    void refreshInsights(bool force, double timeoutSeconds = kInsightsTimeout);
    // Replaces the cards.
    void render(const QList<Insight>& insights);
    const QList<Insight>& insights() const { return insights_; }
    InsightsState insightsState() const { return insightsState_; }
    // What stands in place of the cards when there are none to show: the loading line, "Nothing
    // yet…", or why the fetch failed (as `Api::describe` says it).
    QString insightsNote() const;
    std::optional<double> lastInsightsFetch() const { return lastInsightsFetch_; }

    // The microphone button: `micTapped` asks whoever records to start or stop; they say
    // whether a recording runs with `setRecording`.
    void tapMic() { Q_EMIT micTapped(); }
    void setRecording(bool recording);
    bool recording() const { return recording_; }

Q_SIGNALS:
    void bubbleAdded(int index);
    void bubbleChanged(int index);
    void modeChanged();
    void pendingChanged(bool pending);
    void insightsChanged();
    // A fetch of the insights ended; `ok` is false when it failed.
    void insightsLoaded(bool ok);
    void micTapped();
    void recordingChanged(bool recording);
    // A Tell could not reach the backend: `text` was not filed, and goes back where it was typed.
    void untold(const QString& text);

private:
    void setPending(bool pending);
    void ask(const QString& text, int bubble);
    void tell(const QString& text, int bubble);

    service::Api& api_;
    const core::Clock& clock_;
    QList<Bubble> bubbles_;
    QList<std::pair<QString, QString>> history_;
    std::optional<Mode> manualMode_;
    bool pending_ = false;
    bool recording_ = false;
    QList<Insight> insights_;
    InsightsState insightsState_ = InsightsState::none;
    QString insightsError_;
    std::optional<double> lastInsightsFetch_;
    // Answers to fetches older than the newest are dropped.
    int insightsFetch_ = 0;
};

}  // namespace pelix::panel
