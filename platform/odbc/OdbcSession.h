// The environment and connection handles of one open ODBC connection. The connection
// object, its recordsets and its prepared statements share one session, so whichever of
// them is released last disconnects. Every statement of the session is made and run here,
// under the host's policy: its connection string checked, its waits bounded.
#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <string>

#include "platform/odbc/OdbcCancel.h"
#include "platform/odbc/OdbcHandle.h"
#include "platform/odbc/OdbcPolicy.h"

namespace platform {

class OdbcSession {
 public:
  // Refuses a connection string that names code (RefuseUnsafeConnectionString) unless the
  // policy allows it, then connects with SQLDriverConnect, without prompting, within the
  // policy's login timeout. For the SQLite ODBC driver, whose lock waits ignore the query
  // timeout and cancelling, a string without its own Timeout key gets one short wait
  // (Timeout=100, milliseconds) that Run repeats. psqlODBC reads results through a cursor
  // (UseDeclareFetch=1, Fetch=4096) unless the string says otherwise, in this host's time
  // zone (HostTimeZone) unless PGTZ names one. Failing is a runtime::Error.
  OdbcSession(const std::string& connectionString, const OdbcPolicy& policy);
  // Rolls back a transaction left open, then disconnects.
  ~OdbcSession();
  OdbcSession(const OdbcSession&) = delete;
  OdbcSession& operator=(const OdbcSession&) = delete;

  const OdbcHandle& connection() const { return connection_; }
  // True where each row's value has a type of its own, whatever type its column reports
  // (SQLite, whose driver reports the first row's).
  bool TypedPerRow() const { return typedPerRow_; }

  // A new statement with the policy's query timeout.
  OdbcHandle NewStatement() const;
  // A statement prepared with `sql`: one kept from an earlier run of the same text, else
  // a new one. A collection or a save runs the same few statements every cycle; keeping
  // them saves a fifth of a small SQLite cycle.
  OdbcHandle Prepared(const std::string& sql);
  // Keeps `statement`, prepared with `sql` and its parameters unbound, for the next run
  // of that text; its cursor is closed here. The oldest of too many is freed. A text's
  // first run is not kept: what runs once (a data link test, a check) would otherwise hold
  // the driver's memory for as long as the connection waits in the pool.
  void Keep(const std::string& sql, OdbcHandle statement) noexcept;
  // Runs `call`, one ODBC call running `statement` ("SQLExecute"), where
  // CancelRunningStatements reaches it, and checks its result as OdbcHandle::Check does.
  // On SQLite a call that finds the database locked is repeated until the lock is gone,
  // the lock wait has passed (the driver's "database is locked" error) or the
  // statement is cancelled.
  SQLRETURN Run(const OdbcHandle& statement, const std::function<SQLRETURN()>& call,
                const char* name) const;

  // The lock wait of the session's present user (LockWaitSeconds), who took it from the pool.
  void SetLockWait(int32_t seconds) { lockWait_ = seconds; }

  // Readies the session for its next user: rolls back a transaction left open. False when
  // the connection is no longer worth keeping: a call on it failed with a connection-class
  // error (SQLSTATE 08xxx, 57P0x), the driver reports it dead, the rollback failed, the
  // SQLite file it opened was deleted or replaced at its path, or the host's time zone
  // changed since it was made.
  bool Reset() noexcept;

  // Manual commit from here until EndTransaction.
  void BeginTransaction();
  // Commits (or rolls back) the open work and returns to autocommit. On SQLite a commit
  // that finds the database locked is repeated as Run repeats a statement. A commit after
  // which the driver reports the connection dead fails with SQLSTATE 08S01 although the
  // driver said it succeeded: whether the server committed is unknown.
  void EndTransaction(bool commit);

 private:
  // Run's loop; `running` is null for a call on the connection, which cannot be cancelled.
  SQLRETURN Repeat(const OdbcHandle& handle, const std::function<SQLRETURN()>& call,
                   const char* name, const RunningStatement* running) const;
  void SetAutoCommit(bool on);
  // Sets the PostgreSQL session's TimeZone to HostTimeZone().
  void UseHostTimeZone();
  // False when the host's zone is no longer the one UseHostTimeZone set: the session would
  // read every timestamptz off by the difference.
  bool InHostTimeZone() const noexcept;
  // The driver's SQL_ATTR_CONNECTION_DEAD; false where it cannot tell.
  bool Dead() const noexcept;
  // The path and identity of the SQLite file the connection opened.
  void NoteSqliteFile();
  bool SqliteFileMoved() const;
  // Checks `rc` as `handle.Check` does, remembering a connection-class failure.
  SQLRETURN Check(const OdbcHandle& handle, SQLRETURN rc, const char* name) const;

  struct Kept {
    std::string sql;
    OdbcHandle statement;
  };

  // Shared by every session of the process: one driver manager environment.
  std::shared_ptr<const OdbcHandle> environment_;
  OdbcHandle connection_;
  // Prepared statements waiting for their text to run again, the most recent last.
  // Declared after the connection, so that they are freed before it.
  std::mutex keptMutex_;
  std::list<Kept> kept_;
  // Hashes of the texts that ran here, the most recent last.
  std::deque<size_t> ran_;
  int32_t queryTimeout_ = 0;
  int32_t lockWait_ = 0;
  bool repeatsLockWaits_ = false;
  bool sqliteDriver_ = false;
  bool typedPerRow_ = false;
  bool manualCommit_ = false;
  mutable std::atomic<bool> broken_{false};
  std::string sqliteFile_;
  uint64_t sqliteDevice_ = 0;
  uint64_t sqliteInode_ = 0;
  // The PostgreSQL session's TimeZone as UseHostTimeZone set it; empty when left to PGTZ.
  std::string zone_;
};

}  // namespace platform
