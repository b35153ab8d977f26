// The Tell/Ask panel: its Ask rule, its model against the loopback backend with a manual clock, and
// its window.
#include "panel/Panel.h"
#include "core/Sentences.h"
#include "fakes/BackendRig.h"
#include "panel/PanelModel.h"
#include "panel/PanelWindow.h"

#include <QAbstractButton>
#include <QLineEdit>
#include <QPushButton>

namespace pelix::panel {
namespace {

using fakes::Reply;

TEST(LooksLikeAsk, OpeningsQuestionMarksAndLookAlikes) {
    // An opening in any case after white space, or a question mark at the end after trimming.
    for (const char* ask : {"When is it", "  \n what\t", "remind me what the plumber said",
                            "Tell me about Maya", "anything about rent", "Paid the rent?  "}) {
        EXPECT_TRUE(looksLikeAsk(QString::fromUtf8(ask))) << ask;
    }
    // The openings that keep their space do not take words that merely begin alike.
    for (const char* tell :
         {"domain renewed", "hash browns", "is", "? not at the end", "   ", "havoc", "tell me"}) {
        EXPECT_FALSE(looksLikeAsk(QString::fromUtf8(tell))) << tell;
    }
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

    PanelModel model{api, clock};
};

TEST_F(PanelModelTest, AsksSendTheWholeHistoryInOrderButNotAFailedQuestion) {
    ASSERT_TRUE(model.send("  What did I say about the intern role?  "));
    // Send stays off until the answer comes.
    EXPECT_EQ(bubbles(),
              (QStringList{"it:" + QString(core::sentences::kGreeting),
                           "me:What did I say about the intern role?", "it:…(waiting)"}));
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
    EXPECT_TRUE(backend.requests("organize").isEmpty());

    // A failed question leaves the history, so the next one is not sent after it.
    backend.answer("chat", Reply::json({{"error", "Pelix is thinking too hard."}}, 503));
    sendAndWait("why?");
    EXPECT_EQ(bubbles().last(), "it:Pelix is thinking too hard.");
    EXPECT_EQ(model.history().size(), 4);
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
