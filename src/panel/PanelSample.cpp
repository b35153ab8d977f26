#include "panel/PanelSample.h"

#include "panel/PanelModel.h"

namespace pelix::panel {

void showSample(PanelModel& model) {
    model.render({
        {"i1", "pattern", "You plan best before ten",
         "Tasks you file in the morning get done the same day; the ones after four slip to the "
         "next week.",
         true},
        {"i2", "people", "Maya keeps coming up",
         "Three tells this week mention Maya and the hiring plan. Worth a catch-up?", true},
        {"i3", "nudge", "The intern posting is still open",
         "You meant to post it by Friday, and it is Thursday.", false},
        {"i4", "connection", "Stealth, twice",
         "Your notes on the intern role and on the investor call both keep things quiet until "
         "launch.",
         false},
    });
    model.addBubble(QStringLiteral("What did I say about the intern role?"), true);
    model.addBubble(QStringLiteral("You want it unpaid, stealth, NDA first. The posting and the "
                                   "interview process are still open on your list."),
                    false);
}

}  // namespace pelix::panel
