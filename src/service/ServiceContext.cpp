#include "service/ServiceContext.h"

#include "core/Paths.h"

namespace pelix {

ServiceContext::ServiceContext(const Clock& clock, platform::SecretStore& secrets)
    : clock_(clock),
      tokens_(paths::dataDir(), OldKeyring(&secrets)),
      api_(Api::configuredBase(prefs_), tokens_, &network_, &clock) {}

}  // namespace pelix
