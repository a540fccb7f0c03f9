#include "platform/odbc/OdbcPolicy.h"

namespace platform {

int32_t LockWaitSeconds(const OdbcPolicy& policy) {
  if (policy.lockWait == kNoLockWait) return kNoLockWait;
  if (policy.lockWait > 0 && (policy.queryTimeout == 0 || policy.lockWait < policy.queryTimeout))
    return policy.lockWait;
  return policy.queryTimeout;
}

std::string ConnectionIdentity(const std::string& connectionString, const OdbcPolicy& policy) {
  return std::to_string(policy.allowDriverPaths) + ' ' + std::to_string(policy.loginTimeout) + ' ' +
         std::to_string(policy.queryTimeout) + ' ' + connectionString;
}

}  // namespace platform
