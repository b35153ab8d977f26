// The panel's window forwards what the user does to its model and shows what the model says.
#include "core/Sentences.h"
#include "fakes/LoopbackBackend.h"
#include "fakes/ManualTime.h"
#include "panel/PanelModel.h"
#include "panel/PanelWindow.h"
#include "service/Api.h"
#include "support/TestSupport.h"

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QLineEdit>
#include <QNetworkAccessManager>
#include <QPushButton>

namespace pelix::relay {
namespace {

TEST(PanelWindow, TypingSendingAndTheChipGoThroughTheModel) {
    testing::IsolatedHome home;
    fakes::LoopbackBackend server;
    server.answer("chat", fakes::Reply::json({{"reply", "Yes."}}));
    QNetworkAccessManager network;
    fakes::ManualClock clock;
    TokenStore tokens(home.dataDir());
    tokens.write("pelix_test");
    Api api(server.base(), tokens, &network, &clock);
    PanelModel model(api, clock);
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
    EXPECT_EQ(server.requests("chat").size(), 1);

    // Nothing typed: nothing sent, the field stays as it was.
    window.input()->setText("   ");
    window.sendButton()->click();
    EXPECT_EQ(window.input()->text(), "   ");
    EXPECT_EQ(model.bubbles().size(), 3);

    // Opening asks for insights once in half an hour.
    window.open(QRect());
    window.hide();
    window.open(QRect());
    ASSERT_TRUE(server.waitFor("insights", 1));
    EXPECT_EQ(server.requests("insights").size(), 1);

    int taps = 0;
    QObject::connect(&model, &PanelModel::micTapped, [&] { ++taps; });
    for (auto* button : window.findChildren<QAbstractButton*>()) {
        if (button->toolTip() == core::sentences::kMicTip) button->click();
    }
    EXPECT_EQ(taps, 1);
}

}  // namespace
}  // namespace pelix::relay
