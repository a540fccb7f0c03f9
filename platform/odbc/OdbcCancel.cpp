#include "platform/odbc/OdbcCancel.h"

#include <mutex>
#include <unordered_set>
#include <vector>

#include <sqlext.h>

namespace platform {
namespace {

// Held only to look at the registry, never across a call into a driver: a statement leaves
// the registry before its handle is freed.
std::mutex& RegistryLock() {
  static std::mutex lock;
  return lock;
}

std::unordered_set<RunningStatement*>& Running() {
  static std::unordered_set<RunningStatement*> running;
  return running;
}

}  // namespace

void CancelRunningStatements() {
  std::vector<RunningStatement*> seen;
  {
    std::lock_guard lock(RegistryLock());
    seen.assign(Running().begin(), Running().end());
  }
  for (RunningStatement* statement : seen) {
    std::unique_lock<std::mutex> cancelling;
    {
      std::lock_guard lock(RegistryLock());
      if (!Running().contains(statement)) continue;
      statement->cancelled_ = true;
      if (!statement->driverCancels_) continue;
      // A cancel can itself hang (psqlODBC asks a server that stopped answering): the next
      // one passes that statement by and reaches the others.
      cancelling = std::unique_lock(statement->cancelling_, std::try_to_lock);
      if (!cancelling) continue;
    }
    SQLCancel(statement->statement_);
  }
}

RunningStatement::RunningStatement(SQLHSTMT statement, bool driverCancels)
    : statement_(statement), driverCancels_(driverCancels) {
  std::lock_guard lock(RegistryLock());
  Running().insert(this);
}

RunningStatement::~RunningStatement() {
  {
    std::lock_guard lock(RegistryLock());
    Running().erase(this);
  }
  // The handle outlives a cancel of it under way.
  std::lock_guard cancelled(cancelling_);
}

}  // namespace platform
