#pragma once

#include <QWidget>

#include <memory>

namespace pelix::studio {

// The editor window over a made-up project (some lines cut, pop-ups, a correction, captions on,
// a short conversation) and a made-up list of saved videos, always the same: for pictures.
std::unique_ptr<QWidget> sampleEditorWindow();

}  // namespace pelix::studio
