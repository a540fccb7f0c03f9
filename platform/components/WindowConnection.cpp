#include "platform/components/WindowConnection.h"

#include "platform/odbc/OdbcDiagnostics.h"
#include "platform/spcdb/SpcDialect.h"
#include "runtime/Error.h"

namespace platform {

void WindowLocks::Told(const std::string& link, Clock::time_point now) {
  told_[link] = now;
}

bool WindowLocks::ToldLately(const std::string& link, Clock::time_point now) const {
  const auto found = told_.find(link);
  return found != told_.end() && now - found->second < std::chrono::seconds(kSpcLockWaitSeconds);
}

WindowConnection::WindowConnection(const OdbcPolicy& policy, WindowLocks& locks)
    : policy_(policy), locks_(locks) {}

void WindowConnection::Open(const std::string& connectionString, const std::string& user,
                            const std::string& password, int32_t options) {
  waits_ = !locks_.ToldLately(connectionString, WindowLocks::Clock::now());
  OdbcPolicy policy = policy_;
  if (!waits_) policy.lockWait = kNoLockWait;
  connection_ = OdbcConnection(policy);
  link_ = connectionString;
  connection_.Open(connectionString, user, password, options);
}

std::unique_ptr<host::Recordset> WindowConnection::Execute(const std::string& sql, int32_t) {
  return Execute(sql, std::vector<runtime::Variant>{});
}

std::unique_ptr<host::Recordset> WindowConnection::Execute(
    const std::string& sql, const std::vector<runtime::Variant>& parameters) {
  try {
    return connection_.Execute(sql, parameters);
  } catch (const runtime::Error& e) {
    if (waits_ && IsSqliteLocked(e.Number())) locks_.Told(link_, WindowLocks::Clock::now());
    throw;
  }
}

void WindowConnection::Close() {
  connection_.Close();
}

std::string WindowConnection::DbmsName() const {
  return connection_.DbmsName();
}

}  // namespace platform
