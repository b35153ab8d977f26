#pragma once

#include <QStringList>

namespace pelix::app {

// The entry point: picks the mode from the arguments, makes the Qt application object it
// needs, runs it and returns the exit status.
int runPelix(int argc, char** argv);

// The words that select a mode, in the order they are tested.
QStringList modeFlags();

}  // namespace pelix::app
