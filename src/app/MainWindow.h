#pragma once

#include "web/WebWindow.h"

#include <functional>

namespace pelix {

class ServiceContext;
class MemoSender;
namespace platform {
class Desktop;
}

// The web window's parts as the application makes them: the web app's address from the
// preferences, the desktop's handlers, the recordings folder, dropped recordings sent through
// the memo sender, files chosen in a dialog.
WebWindowParts mainWindowParts(platform::Desktop& desktop, ServiceContext& context, Timers& timers,
                               MemoSender& sender, std::function<void()> chime);

// The file chooser of the web window: a dialog, starting in the pick's folder under its label.
QStringList chooseFilesInDialog(const FilePick& pick);

// `pelix --drop-test`: the web window titled "Pelix (drop test)", until it is closed.
int runDropTest(platform::Desktop& desktop, ServiceContext& context);

}  // namespace pelix
