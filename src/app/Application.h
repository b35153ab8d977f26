#pragma once

namespace pelix::app {

// The tray application: runs until the user quits; returns the exit status.
int runApplication(int argc, char** argv);

}  // namespace pelix::app
