// The Tell/Ask panel's rules, and its model against the loopback backend with a manual clock.
#include "panel/Panel.h"
#include "core/Sentences.h"
#include "fakes/BackendRig.h"
#include "fakes/HostileServer.h"
#include "panel/PanelModel.h"

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

TEST(Insights, DecodingSkipsEntriesWithoutIdOrTitleAndReadsKindAndSeen) {
    const QJsonObject answer{
        {"insights", QJsonArray{
                         QJsonObject{{"id", "a"}, {"title", "No kind"}, {"body", "b"}},
                         QJsonObject{{"id", "b"},
                                     {"title", "Seen"},
                                     {"kind", "people"},
                                     {"seen_at", "2026-01-02T03:04:05Z"}},
                         QJsonObject{{"id", "c"},
                                     {"title", "Null seen"},
                                     {"kind", "nudge"},
                                     {"seen_at", QJsonValue::Null}},
                         QJsonObject{{"title", "No id"}},
                         QJsonObject{{"id", "e"}},
                         QJsonObject{{"id", 7}, {"title", "Number id"}},
                         QJsonObject{{"id", "f"}, {"title", "Strange kind"}, {"kind", "weather"}},
                         "not an object",
                     }}};
    const QList<Insight> got = insightsFrom(answer);
    ASSERT_EQ(got.size(), 4);
    EXPECT_EQ(got[0], (Insight{"a", "connection", "No kind", "b", true}));
    EXPECT_EQ(got[0].style(), InsightStyle::connection);
    EXPECT_EQ(got[1], (Insight{"b", "people", "Seen", "", false}));
    EXPECT_EQ(got[1].style(), InsightStyle::people);
    EXPECT_TRUE(got[2].unseen);
    EXPECT_EQ(got[2].style(), InsightStyle::nudge);
    // An unknown kind is kept as sent and drawn as a connection.
    EXPECT_EQ(got[3].kind, "weather");
    EXPECT_EQ(got[3].style(), InsightStyle::connection);
    EXPECT_TRUE(insightsFrom(QJsonObject{}).isEmpty());
}

TEST(PanelPosition, UnderOrOverTheIconElseTopRightAlwaysOnScreen) {
    const QRect screen(0, 0, 1280, 800);
    const QSize panel(392, 660);
    const struct {
        QRect icon;
        QPoint at;
    } cases[] = {
        // A top bar: centred under the icon.
        {QRect(600, 0, 24, 24), QPoint(416, 28)},
        // Near the right edge: pulled in to stay on the screen.
        {QRect(1250, 0, 24, 24), QPoint(880, 28)},
        // A bottom panel: over the icon, kept below the top edge.
        {QRect(1200, 776, 24, 24), QPoint(880, 112)},
        // The desktop does not say: the top-right corner.
        {QRect(), QPoint(880, 8)},
        // An icon on another screen counts as unknown.
        {QRect(3000, 0, 24, 24), QPoint(880, 8)},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(panelPosition(c.icon, screen, panel), c.at) << c.icon.x() << "," << c.icon.y();
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

    // Sends and waits until the answer has come.
    void sendAndWait(const QString& text) {
        ASSERT_TRUE(model.send(text));
        ASSERT_TRUE(testing::waitUntil([&] { return !model.pending(); }));
    }
    QString lastBubble() const { return model.bubbles().constLast().text; }

    PanelModel model{api, clock};
};

TEST_F(PanelModelTest, AsksSendTheWholeHistoryInOrder) {
    EXPECT_EQ(model.bubbles().size(), 1);
    EXPECT_EQ(model.bubbles()[0].text, core::sentences::kGreeting);
    ASSERT_TRUE(model.send("  What did I say about the intern role?  "));
    // The question and a waiting answer; Send stays off until it comes.
    ASSERT_EQ(model.bubbles().size(), 3);
    EXPECT_EQ(model.bubbles()[1].text, "What did I say about the intern role?");
    EXPECT_TRUE(model.bubbles()[1].mine);
    EXPECT_EQ(lastBubble(), "…");
    EXPECT_TRUE(model.bubbles()[2].waiting);
    EXPECT_TRUE(model.pending());
    EXPECT_FALSE(model.send("is it raining"));
    ASSERT_TRUE(testing::waitUntil([&] { return !model.pending(); }));
    EXPECT_EQ(lastBubble(), "Unpaid, stealth, NDA first.");
    EXPECT_FALSE(model.bubbles().constLast().waiting);

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
    EXPECT_EQ(model.bubbles()[1].text, "Island trip booked for June");
    EXPECT_EQ(lastBubble(), "In Pelix");
    const auto sent = backend.requests("organize");
    ASSERT_EQ(sent.size(), 1);
    EXPECT_EQ(sent[0].json.value("text").toString(), "Island trip booked for June");
    const QJsonObject context = sent[0].json.value("context").toObject();
    EXPECT_EQ(context.value("input").toString(), "typed");
    EXPECT_FALSE(context.contains("duration_s"));
    EXPECT_EQ(context.value("platform").toString(), "linux");
    EXPECT_TRUE(model.history().isEmpty());
    // Filing something new always asks for insights again, however recent the last fetch.
    ASSERT_TRUE(backend.waitFor("insights", 1));
    ASSERT_TRUE(testing::waitUntil([&] { return model.insights().size() == 1; }));
    sendAndWait("Paid the plumber");
    ASSERT_TRUE(backend.waitFor("insights", 2));
    EXPECT_EQ(backend.requests("insights")[0].json, QJsonObject{});
}

TEST_F(PanelModelTest, TheChipChoosesTheModeForOneSendOnly) {
    // "Island …" reads as a Tell; the chip makes it an Ask.
    EXPECT_EQ(model.modeFor("Island trip"), PanelModel::Mode::tell);
    model.switchMode("Island trip");
    EXPECT_EQ(model.manualMode(), PanelModel::Mode::ask);
    EXPECT_EQ(model.modeFor("anything at all"), PanelModel::Mode::ask);
    sendAndWait("Island trip");
    EXPECT_EQ(backend.requests("chat").size(), 1);
    EXPECT_FALSE(model.manualMode().has_value());
    // And a question can be filed as a Tell.
    model.switchMode("what a day");
    sendAndWait("what a day");
    EXPECT_EQ(backend.requests("organize").size(), 1);
    EXPECT_EQ(model.modeFor("what a day"), PanelModel::Mode::ask);
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
    EXPECT_EQ(backend.requests("insights").size(), 2);
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
    const struct {
        const char* name;
        QUrl base;
    } cases[] = {
        {"refused", QUrl("http://127.0.0.1:1")},
        {"plain http elsewhere", QUrl("http://10.255.255.1")},
        {"cut short", cutShort.base()},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        service::Api nowhere(c.base, tokens, &network, &clock);
        PanelModel offline(nowhere, clock);
        for (const char* input : {"what's up", "the rent is paid"}) {
            ASSERT_TRUE(offline.send(input));
            ASSERT_TRUE(testing::waitUntil([&] { return !offline.pending(); }, 15000));
            const QString shown = offline.bubbles().constLast().text;
            EXPECT_TRUE(shown.startsWith(core::sentences::kCouldntReachPelix))
                << shown.toStdString();
            EXPECT_GT(shown.size(), QString(core::sentences::kCouldntReachPelix).size());
        }
        bool loaded = false;
        QObject::connect(&offline, &PanelModel::insightsLoaded, [&] { loaded = true; });
        offline.refreshInsights(true, 10);
        ASSERT_TRUE(testing::waitUntil([&] { return loaded; }, 15000));
        EXPECT_TRUE(offline.insightsNote().startsWith(core::sentences::kCouldntReachPelix))
            << offline.insightsNote().toStdString();
        EXPECT_FALSE(offline.send("   "));
    }
}

}  // namespace
}  // namespace pelix::panel
