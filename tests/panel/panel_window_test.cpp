// The panel's window forwards what the user does to its model and shows what the model says.
#include "core/Sentences.h"
#include "fakes/BackendRig.h"
#include "panel/PanelModel.h"
#include "panel/PanelWindow.h"

#include <QAbstractButton>
#include <QJsonArray>
#include <QLineEdit>
#include <QPushButton>

namespace pelix::panel {
namespace {

TEST(PanelWindow, TypingSendingAndTheChipGoThroughTheModel) {
    fakes::BackendRig rig;
    rig.backend.answer("chat", fakes::Reply::json({{"reply", "Yes."}}));
    PanelModel model(rig.api, rig.clock);
    PanelWindow window(model);

    QPushButton* modeChip = nullptr;
    for (auto* button : window.findChildren<QPushButton*>()) {
        if (button->toolTip() == core::sentences::kModeChipTip) modeChip = button;
    }
    ASSERT_TRUE(modeChip);
    window.input()->setText("is it raining");
    EXPECT_EQ(modeChip->text(), "Ask");
    window.input()->setText("Island trip");
    EXPECT_EQ(modeChip->text(), "Tell");
    modeChip->click();
    EXPECT_EQ(modeChip->text(), "Ask");

    Q_EMIT window.input()->returnPressed();
    EXPECT_TRUE(window.input()->text().isEmpty());
    EXPECT_FALSE(window.sendButton()->isEnabled());
    EXPECT_EQ(modeChip->text(), "Tell");
    ASSERT_TRUE(testing::waitUntil([&] { return window.sendButton()->isEnabled(); }));
    EXPECT_EQ(rig.backend.requests("chat").size(), 1);

    // Nothing typed: nothing sent, the field stays as it was.
    window.input()->setText("   ");
    window.sendButton()->click();
    EXPECT_EQ(window.input()->text(), "   ");
    EXPECT_EQ(model.bubbles().size(), 3);

    // Opening asks for insights once in half an hour.
    window.open(QRect());
    window.hide();
    window.open(QRect());
    ASSERT_TRUE(rig.backend.waitFor("insights", 1));
    EXPECT_EQ(rig.backend.requests("insights").size(), 1);

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

// How much of each insight card shows, as "shown/whole" heights: a card squeezed by the panel's
// layout shows less than the height its text needs.
// Runs the layout passes that changes have asked for.
void settle() {
    for (int pass = 0; pass < 4; ++pass) QCoreApplication::processEvents();
}

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

    window.hide();
    window.open(QRect());
    settle();
    EXPECT_EQ(cardHeights(window), whole) << "after reopening";
}

}  // namespace
}  // namespace pelix::panel
