// The panel's window forwards what the user does to its model and shows what the model says.
#include "core/Sentences.h"
#include "fakes/BackendRig.h"
#include "panel/PanelModel.h"
#include "panel/PanelWindow.h"

#include <QAbstractButton>
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

}  // namespace
}  // namespace pelix::panel
