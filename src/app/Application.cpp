#include "app/Application.h"

#include "core/Console.h"

namespace pelix {

int runApplication(int, char**) { return console::notInThisBuild("The tray application"); }

}  // namespace pelix
