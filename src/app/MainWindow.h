#pragma once

#include "web/WebWindow.h"

#include <functional>

namespace pelix::service {
class ServiceContext;
}  // namespace pelix::service
namespace pelix::memos {
class MemoSender;
}  // namespace pelix::memos
namespace pelix::platform {
class Desktop;
}  // namespace pelix::platform

namespace pelix::app {

// The web window's parts as the application makes them: the web app's address from the
// preferences, the desktop's handlers, the recordings folder, dropped recordings sent through
// the memo sender, files chosen in a dialog.
web::WebWindowParts mainWindowParts(platform::Desktop& desktop, service::ServiceContext& context,
                                    core::Timers& timers, memos::MemoSender& sender,
                                    std::function<void()> chime);

// The file chooser of the web window: a dialog, starting in the pick's folder under its label.
QStringList chooseFilesInDialog(const web::FilePick& pick);

// `pelix --drop-test`: the web window titled "Pelix (drop test)", until it is closed.
int runDropTest(platform::Desktop& desktop, service::ServiceContext& context);

}  // namespace pelix::app
