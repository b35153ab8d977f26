#pragma once

namespace pelix::app {

// `pelix --dictate`, handed to the running copy as it stands: starts live dictation there, or
// ends the recording that runs.
inline constexpr auto kDictateWord = "--dictate";

// The tray application: runs until the user quits; returns the exit status.
int runApplication(int argc, char** argv);

}  // namespace pelix::app
