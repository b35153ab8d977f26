#include "service/ServiceContext.h"

#include "core/Paths.h"

namespace pelix::service {

ServiceContext::ServiceContext(const core::Clock& clock, platform::SecretStore& secrets)
    : clock_(clock),
      tokens_(core::paths::dataDir(), OldKeyring(&secrets)),
      api_(Api::configuredBase(prefs_), tokens_, &network_, &clock) {}

}  // namespace pelix::service
