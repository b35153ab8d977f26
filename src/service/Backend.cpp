#include "service/Backend.h"

#include "core/Paths.h"

namespace pelix {

Backend::Backend()
    : tokens_(paths::dataDir(), Keychain(&secrets_)),
      api_(Api::configuredBase(prefs_), tokens_, &network_, &clock_) {}

}  // namespace pelix
