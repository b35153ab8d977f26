#pragma once

namespace pelix::panel {

class PanelModel;

// Fills the panel with made-up content for pictures: an insight of each kind, two of them
// unseen, and one question with its answer.
void showSample(PanelModel& model);

}  // namespace pelix::panel
