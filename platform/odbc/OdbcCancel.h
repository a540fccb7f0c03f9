// Cancelling the statements this process is running, from any thread: a host stopping on
// SIGTERM unblocks a collection stuck in a database call. Every statement registers itself
// (RunningStatement) for as long as a call into the driver runs on it.
#pragma once

#include <atomic>
#include <mutex>

#include <sql.h>

namespace platform {

// Cancels every statement now running in the process: SQLCancel on each (the driver ends
// the call with its "cancelled" error: PostgreSQL's 57014), except on SQLite, where a
// statement waiting for a lock gives up at its next try (within a tenth of a second) and
// one that is busy reading runs to its end. Each cancelled call fails with a
// runtime::Error "[SQLSTATE HY008] The statement was cancelled: <the driver's error>".
// Safe from any thread, not from a signal handler: call it from the thread that learns of
// the signal. A statement that starts while this runs may miss it; statements started
// afterwards run normally. A cancel that hangs (a server that stopped answering) holds up
// no other statement, and the next call passes that one by.
void CancelRunningStatements();

// Registers `statement` as running until destroyed. `driverCancels`: the driver's SQLCancel
// may be called while the statement runs (the SQLite ODBC driver's frees the statement's
// results under the running call).
class RunningStatement {
 public:
  RunningStatement(SQLHSTMT statement, bool driverCancels);
  ~RunningStatement();
  RunningStatement(const RunningStatement&) = delete;
  RunningStatement& operator=(const RunningStatement&) = delete;

  // True once CancelRunningStatements reached this statement.
  bool Cancelled() const { return cancelled_.load(); }

 private:
  friend void CancelRunningStatements();

  SQLHSTMT statement_;
  bool driverCancels_;
  std::atomic<bool> cancelled_{false};
  // Held while a driver's SQLCancel runs on the statement.
  std::mutex cancelling_;
};

}  // namespace platform
