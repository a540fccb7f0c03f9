// Cancelling the statements this process is running, from any thread: a host stopping on
// SIGTERM unblocks a collection stuck in a database call. Every statement registers itself
// (RunningStatement) for as long as a call into the driver runs on it.
#pragma once

#include <atomic>

#include <sql.h>

namespace platform {

// Cancels every statement now running in the process: SQLCancel on each (the driver ends
// the call with its "cancelled" error: PostgreSQL's 57014), and a statement waiting for an
// SQLite lock gives up at its next try (within a tenth of a second). Each cancelled call
// fails with a runtime::Error. Safe from any thread, not from a signal handler: call it
// from the thread that learns of the signal. A statement that starts while this runs may
// miss it; statements started afterwards run normally.
void CancelRunningStatements();

// Registers `statement` as running until destroyed.
class RunningStatement {
 public:
  explicit RunningStatement(SQLHSTMT statement);
  ~RunningStatement();
  RunningStatement(const RunningStatement&) = delete;
  RunningStatement& operator=(const RunningStatement&) = delete;

  // True once CancelRunningStatements reached this statement.
  bool Cancelled() const { return cancelled_.load(); }

 private:
  friend void CancelRunningStatements();

  SQLHSTMT statement_;
  std::atomic<bool> cancelled_{false};
};

}  // namespace platform
