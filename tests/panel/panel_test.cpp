// The Tell/Ask panel: its rules, its model against the loopback backend with a manual clock, and
// its window.
#include "panel/Panel.h"
#include "core/Sentences.h"
#include "fakes/BackendRig.h"
#include "fakes/HostileServer.h"
#include "panel/PanelModel.h"
#include "panel/PanelWindow.h"

#include <QAbstractButton>
#include <QLineEdit>
#include <QPushButton>

namespace pelix::panel {
namespace {

using fakes::Reply;

TEST(LooksLikeAsk, OpeningsQuestionMarksAndLookAlikes) {
    // Every opening, in any case, after white space.
    for (const char* ask : {"what now", "When is it", "where", "who said", "why not", "How come",
                            "which one", "did she", "do I need", "does it", "is it raining",
                            "Are we", "can you", "could we", "should I", "have I paid", "has it",
                            "remind me what the plumber said", "Tell me about Maya",
                            "any idea when", "anything about rent", "  \n what\t", "whatever works",
                            // A question mark at the end, after trimming, asks whatever the words.
                            "done?", "Paid the rent?  "}) {
        EXPECT_TRUE(looksLikeAsk(QString::fromUtf8(ask))) << ask;
    }
    // The openings that keep their space do not take words that merely begin alike.
    for (const char* tell :
         {"domain renewed", "Island trip booked", "area code changed", "candle shop", "hash browns",
          "is", "do", "Done.", "? not at the end", "", "   ", "havoc", "tell me"}) {
        EXPECT_FALSE(looksLikeAsk(QString::fromUtf8(tell))) << tell;
    }
}

// Entries without a string id or a title are skipped; an unknown kind is kept as sent and drawn
// as a connection.
TEST(Insights, DecodingSkipsEntriesWithoutIdOrTitleAndReadsKindAndSeen) {
    const QList<Insight> got = insightsFrom(QJsonDocument::fromJson(R"({"insights": [
        {"id": "a", "title": "No kind", "body": "b"},
        {"id": "b", "title": "Seen", "kind": "people", "seen_at": "2026-01-02T03:04:05Z"},
        {"id": "c", "title": "Null seen", "kind": "nudge", "seen_at": null},
        {"title": "No id"}, {"id": "e"}, {"id": 7, "title": "Number id"},
        {"id": "f", "title": "Strange kind", "kind": "weather"}, "not an object"]})")
                                                .object());
    EXPECT_EQ(got, (QList<Insight>{{"a", "connection", "No kind", "b", true},
                                   {"b", "people", "Seen", "", false},
                                   {"c", "nudge", "Null seen", "", true},
                                   {"f", "weather", "Strange kind", "", true}}));
    QList<InsightStyle> styles;
    for (const Insight& insight : got) styles << insight.style();
    using enum InsightStyle;
    EXPECT_EQ(styles, (QList<InsightStyle>{connection, people, nudge, connection}));
    EXPECT_TRUE(insightsFrom(QJsonObject{}).isEmpty());
}

TEST(PanelPosition, UnderOrOverTheIconElseTopRightAlwaysOnScreen) {
    const QRect screen(0, 0, 1280, 800);
    const QSize panel(392, 660);
    const std::pair<QRect, QPoint> cases[] = {
        {QRect(600, 0, 24, 24), QPoint(416, 28)},      // a top bar: centred under the icon
        {QRect(1250, 0, 24, 24), QPoint(880, 28)},     // near the right edge: pulled in
        {QRect(1200, 776, 24, 24), QPoint(880, 112)},  // a bottom panel: over it, below the top
        {QRect(), QPoint(880, 8)},                     // the desktop does not say: top right
        {QRect(3000, 0, 24, 24), QPoint(880, 8)},      // on another screen counts as unknown
    };
    for (const auto& [icon, at] : cases) {
        EXPECT_EQ(panelPosition(icon, screen, panel), at) << icon.x() << "," << icon.y();
    }
    // A screen smaller than the panel still shows its top-left corner.
    EXPECT_EQ(panelPosition(QRect(), QRect(0, 0, 300, 500), panel), QPoint(8, 8));
}

class PanelModelTest : public ::testing::Test, protected fakes::BackendRig {
protected:
    PanelModelTest() {
        backend.answer("chat", Reply::json({{"reply", "Unpaid, stealth, NDA first."}}));
        backend.answer(
            "insights",
            Reply::json({{"insights", QJsonArray{QJsonObject{{"id", "1"}, {"title", "Maya"}}}}}));
    }

    void sendAndWait(const QString& text) {
        ASSERT_TRUE(model.send(text));
        ASSERT_TRUE(testing::waitUntil([&] { return !model.pending(); }));
    }
    // The bubbles as "me:" or "it:" and their text, a waiting one marked with "(waiting)".
    QStringList bubbles() const {
        QStringList out;
        for (const auto& b : model.bubbles()) {
            out << (b.mine ? "me:" : "it:") + b.text + (b.waiting ? "(waiting)" : "");
        }
        return out;
    }
    QString lastBubble() const { return model.bubbles().constLast().text; }

    PanelModel model{api, clock};
};

TEST_F(PanelModelTest, AsksSendTheWholeHistoryInOrder) {
    const QString greeting = "it:" + QString(core::sentences::kGreeting);
    ASSERT_TRUE(model.send("  What did I say about the intern role?  "));
    // Send stays off until the answer comes.
    EXPECT_EQ(bubbles(),
              (QStringList{greeting, "me:What did I say about the intern role?", "it:…(waiting)"}));
    EXPECT_FALSE(model.send("is it raining"));
    ASSERT_TRUE(testing::waitUntil([&] { return !model.pending(); }));
    EXPECT_EQ(bubbles().last(), "it:Unpaid, stealth, NDA first.");

    sendAndWait("And the posting?");
    const auto sent = backend.requests("chat");
    ASSERT_EQ(sent.size(), 2);
    const QJsonArray expected{
        QJsonObject{{"role", "user"}, {"content", "What did I say about the intern role?"}},
        QJsonObject{{"role", "assistant"}, {"content", "Unpaid, stealth, NDA first."}},
        QJsonObject{{"role", "user"}, {"content", "And the posting?"}},
    };
    EXPECT_EQ(sent[1].json, (QJsonObject{{"messages", expected}}));
    EXPECT_EQ(model.history().size(), 4);
    EXPECT_TRUE(backend.requests("organize").isEmpty());
}

TEST_F(PanelModelTest, TellsFileTheTrimmedTextAsTypedAndRefetchInsights) {
    sendAndWait("  Island trip booked for June \n");
    EXPECT_EQ(bubbles().mid(1), (QStringList{"me:Island trip booked for June", "it:In Pelix"}));
    const auto sent = backend.requests("organize");
    ASSERT_EQ(sent.size(), 1);
    EXPECT_EQ(sent[0].json.value("text").toString(), "Island trip booked for June");
    const QJsonObject context = sent[0].json.value("context").toObject();
    EXPECT_EQ(context.value("input").toString(), "typed");
    EXPECT_FALSE(context.contains("duration_s"));
    EXPECT_EQ(context.value("platform").toString(), "linux");
    EXPECT_TRUE(model.history().isEmpty());
    // A Tell asks for the insights again (that every one does is checked with the cards).
    ASSERT_TRUE(backend.waitFor("insights", 1));
    EXPECT_EQ(backend.requests("insights")[0].json, QJsonObject{});
}

TEST_F(PanelModelTest, InsightsAreFetchedAtMostEveryHalfHourUnlessForced) {
    int loaded = 0;
    QObject::connect(&model, &PanelModel::insightsLoaded, [&](bool ok) { loaded += ok; });
    EXPECT_EQ(model.insightsNote(), core::sentences::kNothingYet);
    model.refreshInsights(false);
    EXPECT_EQ(model.insightsNote(), core::sentences::kHavingALook);
    ASSERT_TRUE(testing::waitUntil([&] { return loaded == 1; }));
    EXPECT_EQ(model.insights().size(), 1);
    clock.set(clock.uptime() + 1800);
    model.refreshInsights(false);
    clock.set(clock.uptime() + 0.001);
    model.refreshInsights(false);
    ASSERT_TRUE(testing::waitUntil([&] { return loaded == 2; }));
    model.refreshInsights(true);
    ASSERT_TRUE(testing::waitUntil([&] { return loaded == 3; }));
    EXPECT_EQ(backend.requests("insights").size(), 3);

    backend.answer("insights", Reply::json({{"insights", QJsonArray{}}}));
    model.refreshInsights(true);
    ASSERT_TRUE(testing::waitUntil([&] { return loaded == 4; }));
    EXPECT_TRUE(model.insights().isEmpty());
    EXPECT_EQ(model.insightsNote(), core::sentences::kNothingYet);
}

TEST_F(PanelModelTest, FailuresShowTheirSentenceAndLetSendAgain) {
    backend.answer("chat", Reply::json({{"error", "Pelix is thinking too hard."}}, 503));
    backend.answer("organize", Reply::json({{"error", "Too long."}}, 413));
    backend.answer("insights", Reply::json({{"error", "Insights are resting."}}, 500));
    bool failed = false;
    QObject::connect(&model, &PanelModel::insightsLoaded, [&](bool ok) { failed = !ok; });

    sendAndWait("why?");
    EXPECT_EQ(lastBubble(), "Pelix is thinking too hard.");
    // The unanswered question leaves the history, so the next one is not sent after it.
    EXPECT_TRUE(model.history().isEmpty());
    sendAndWait("a note");
    EXPECT_EQ(lastBubble(), "Too long.");
    EXPECT_TRUE(backend.requests("insights").isEmpty());

    model.refreshInsights(true);
    ASSERT_TRUE(testing::waitUntil([&] { return failed; }));
    EXPECT_EQ(model.insightsState(), PanelModel::InsightsState::failed);
    EXPECT_EQ(model.insightsNote(), "Insights are resting.");

    // Signed out: the client's own sentence, and nothing is sent.
    signOut();
    sendAndWait("another note");
    EXPECT_EQ(lastBubble(), core::sentences::kSignInFirst);
    EXPECT_EQ(backend.requests("organize").size(), 1);
}

// Every way of not getting an answer reads as the service client says it: the network's own
// failures and the client's (an unsafe address, an answer cut short) alike, in the bubbles of a
// Tell and an Ask and in place of the insights.
TEST_F(PanelModelTest, AnUnreachableBackendSaysSo) {
    fakes::HostileServer cutShort(fakes::HostileServer::cutShort(R"({"reply":"never whole"})", 5));
    const QUrl bases[] = {QUrl("http://127.0.0.1:1"), QUrl("http://10.255.255.1"), cutShort.base()};
    const QString reach = core::sentences::kCouldntReachPelix;
    for (const QUrl& base : bases) {
        SCOPED_TRACE(base.toString().toStdString());
        service::Api nowhere(base, tokens, &network, &clock);
        PanelModel offline(nowhere, clock);
        for (const char* input : {"what's up", "the rent is paid"}) {
            ASSERT_TRUE(offline.send(input));
            ASSERT_TRUE(testing::waitUntil([&] { return !offline.pending(); }, 15000));
            const QString shown = offline.bubbles().constLast().text;
            EXPECT_TRUE(shown.startsWith(reach) && shown.size() > reach.size())
                << shown.toStdString();
        }
        bool loaded = false;
        QObject::connect(&offline, &PanelModel::insightsLoaded, [&] { loaded = true; });
        offline.refreshInsights(true, 10);
        ASSERT_TRUE(testing::waitUntil([&] { return loaded; }, 15000));
        EXPECT_TRUE(offline.insightsNote().startsWith(reach))
            << offline.insightsNote().toStdString();
    }
}

TEST_F(PanelModelTest, TheWindowsFieldSendButtonChipAndMicGoThroughTheModel) {
    PanelWindow window(model);
    QPushButton* modeChip = nullptr;
    for (auto* button : window.findChildren<QPushButton*>()) {
        if (button->toolTip() == core::sentences::kModeChipTip) modeChip = button;
    }
    ASSERT_TRUE(modeChip);
    window.input()->setText("is it raining");
    EXPECT_EQ(modeChip->text(), "Ask");
    // The chip chooses the mode for one send only, either way.
    for (const auto& [typed, chosen, endpoint] :
         {std::tuple{"Island trip", "Ask", "chat"}, std::tuple{"what a day", "Tell", "organize"}}) {
        window.input()->setText(typed);
        EXPECT_NE(modeChip->text(), chosen);
        modeChip->click();
        EXPECT_EQ(modeChip->text(), chosen);
        Q_EMIT window.input()->returnPressed();
        EXPECT_TRUE(window.input()->text().isEmpty());
        EXPECT_FALSE(window.sendButton()->isEnabled());
        EXPECT_EQ(modeChip->text(), "Tell");
        ASSERT_TRUE(testing::waitUntil([&] { return window.sendButton()->isEnabled(); }));
        EXPECT_EQ(backend.requests(endpoint).size(), 1);
        EXPECT_FALSE(model.manualMode().has_value());
    }

    // Nothing typed: nothing sent, the field stays as it was.
    const auto before = model.bubbles().size();
    window.input()->setText("   ");
    window.sendButton()->click();
    EXPECT_EQ(window.input()->text(), "   ");
    EXPECT_EQ(model.bubbles().size(), before);

    int taps = 0;
    QObject::connect(&model, &PanelModel::micTapped, [&] { ++taps; });
    for (auto* button : window.findChildren<QAbstractButton*>()) {
        if (button->toolTip() == core::sentences::kMicTip) button->click();
    }
    EXPECT_EQ(taps, 1);
}

// A Tell that cannot reach the backend goes back into the field for another try; one the backend
// answered, even with a refusal, does not, and neither does it over something typed meanwhile.
TEST(PanelWindow, ATellThatCouldNotBeSentStaysInTheField) {
    fakes::BackendRig rig;
    rig.backend.answer("organize", fakes::Reply::json({{"error", "Too long."}}, 413));
    service::Api nowhere(QUrl("http://127.0.0.1:1"), rig.tokens, &rig.network, &rig.clock);
    const struct {
        const char* what;
        service::Api& api;
        QString typedMeanwhile;
        QString left;
    } cases[] = {
        {"unreachable", nowhere, {}, "the rent is paid"},
        {"unreachable, something new typed", nowhere, "buy milk", "buy milk"},
        {"refused", rig.api, {}, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        PanelModel model(c.api, rig.clock);
        PanelWindow window(model);
        window.input()->setText("the rent is paid");
        Q_EMIT window.input()->returnPressed();
        EXPECT_TRUE(window.input()->text().isEmpty());
        window.input()->setText(c.typedMeanwhile);
        ASSERT_TRUE(testing::waitUntil([&] { return !model.pending(); }, 15000));
        EXPECT_EQ(window.input()->text(), c.left);
    }
}

// Runs the layout passes that changes have asked for.
void settle() {
    for (int pass = 0; pass < 4; ++pass) QCoreApplication::processEvents();
}

// How much of each insight card shows, as "shown/whole" heights: a card squeezed by the panel's
// layout shows less than the height its text needs.
QStringList cardHeights(const PanelWindow& window) {
    QStringList out;
    for (QWidget* card : window.findChildren<QWidget*>("insightCard")) {
        out << QString::number(card->visibleRegion().boundingRect().height()) + "/" +
                   QString::number(card->heightForWidth(card->width()));
    }
    return out;
}

TEST(PanelWindow, InsightCardsKeepTheirHeightAfterTellsAndReopening) {
    fakes::BackendRig rig;
    QJsonArray insights;
    for (const char* kind : {"pattern", "people"}) {
        insights.append(QJsonObject{{"id", kind},
                                    {"kind", kind},
                                    {"title", QString("A %1 worth seeing").arg(kind)},
                                    {"body", "You come back to the garden every Sunday."}});
    }
    rig.backend.answer("insights", fakes::Reply::json({{"insights", insights}}));
    rig.backend.answer("organize", fakes::Reply::json({}));
    PanelModel model(rig.api, rig.clock);
    PanelWindow window(model);
    window.open(QRect());
    ASSERT_TRUE(testing::waitUntil([&] { return cardHeights(window).size() == 2; }));
    settle();
    const QStringList whole = cardHeights(window);
    for (const QString& card : whole) {
        const QStringList shownAndWhole = card.split('/');
        EXPECT_EQ(shownAndWhole.at(0), shownAndWhole.at(1)) << "at first: " << card.toStdString();
        EXPECT_GT(shownAndWhole.at(1).toInt(), 40);
    }

    // Each Tell refetches the insights, and the cards are made anew while the panel is shown.
    for (int i = 0; i < 6; ++i) {
        window.input()->setText(QString("Planted the tomatoes, row %1").arg(i));
        Q_EMIT window.input()->returnPressed();
        ASSERT_TRUE(testing::waitUntil([&] { return window.sendButton()->isEnabled(); }));
        ASSERT_TRUE(rig.backend.waitFor("insights", 2 + i));
        ASSERT_TRUE(testing::waitUntil(
            [&] { return model.insightsState() == PanelModel::InsightsState::shown; }));
        settle();
        EXPECT_EQ(cardHeights(window), whole) << "after Tell " << i + 1;
    }

    // Reopening within the half hour asks for no insights, and the cards keep their height.
    window.hide();
    window.open(QRect());
    settle();
    EXPECT_EQ(rig.backend.requests("insights").size(), 7);
    EXPECT_EQ(cardHeights(window), whole) << "after reopening";
}

}  // namespace
}  // namespace pelix::panel
