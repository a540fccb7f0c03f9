#include "platform/odbc/OdbcPolicy.h"

namespace platform {

std::string ConnectionIdentity(const std::string& connectionString, const OdbcPolicy& policy) {
  return std::to_string(policy.allowDriverPaths) + ' ' + std::to_string(policy.loginTimeout) + ' ' +
         std::to_string(policy.queryTimeout) + ' ' + connectionString;
}

}  // namespace platform
