#include "platform/odbc/OdbcCancel.h"

#include <chrono>
#include <mutex>
#include <unordered_set>

#include <sqlext.h>

namespace platform {
namespace {

// The lock also keeps a statement's handle alive while another thread cancels it: a
// statement leaves the registry before its handle is freed.
std::timed_mutex& RegistryLock() {
  static std::timed_mutex lock;
  return lock;
}

std::unordered_set<RunningStatement*>& Running() {
  static std::unordered_set<RunningStatement*> running;
  return running;
}

}  // namespace

void CancelRunningStatements() {
  // A cancel can itself hang (psqlODBC asks a server that stopped answering): the next one
  // gives up waiting for it rather than hang behind it, so that its caller can stop.
  std::unique_lock lock(RegistryLock(), std::chrono::milliseconds(100));
  if (!lock) return;
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
