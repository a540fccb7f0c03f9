#include "platform/odbc/OdbcCancel.h"

#include <mutex>
#include <unordered_set>

#include <sqlext.h>

namespace platform {
namespace {

// The lock also keeps a statement's handle alive while another thread cancels it: a
// statement leaves the registry before its handle is freed.
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
  std::lock_guard lock(RegistryLock());
  for (RunningStatement* statement : Running()) {
    statement->cancelled_ = true;
    if (statement->driverCancels_) SQLCancel(statement->statement_);
  }
}

RunningStatement::RunningStatement(SQLHSTMT statement, bool driverCancels)
    : statement_(statement), driverCancels_(driverCancels) {
  std::lock_guard lock(RegistryLock());
  Running().insert(this);
}

RunningStatement::~RunningStatement() {
  std::lock_guard lock(RegistryLock());
  Running().erase(this);
}

}  // namespace platform
