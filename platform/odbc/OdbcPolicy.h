// What the host allows the ODBC connections it opens, and how long they may wait. The host
// reads it from its settings (dam.ini) and hands it to every connection it makes; a
// connection made without one gets these defaults.
#pragma once

#include <cstdint>
#include <string>

namespace platform {

// A lock wait of none: a statement that finds the database locked fails at its first try.
inline constexpr int32_t kNoLockWait = -1;

struct OdbcPolicy {
  // Off: connection strings pass only with the keys their driver documents, drivers named
  // by their registered name and no key that loads code, touches files or sets the
  // environment (see RefuseUnsafeConnectionString).
  bool allowDriverPaths = false;
  // Seconds a connect may take; 0 leaves it to the driver.
  int32_t loginTimeout = 10;
  // Seconds a statement may take, waits for a lock included; 0 is no limit.
  int32_t queryTimeout = 30;
  // Seconds a statement waits for a lock where this host waits on locks itself (SQLite),
  // when shorter than queryTimeout; 0: as long as queryTimeout allows; kNoLockWait: not at
  // all. For a user waiting at a window, who should hear of a locked database in seconds,
  // not minutes. Each Open sets it anew on a kept connection.
  int32_t lockWait = 0;
  // Seconds a closed connection is kept for the next Open of the same connection string;
  // 0 disconnects on close.
  int32_t poolIdleSeconds = 60;
};

// Seconds a statement under `policy` may wait for a lock (lockWait within queryTimeout);
// 0 is no limit, kNoLockWait none.
int32_t LockWaitSeconds(const OdbcPolicy& policy);

// What makes two connections interchangeable: the same connection string opened under the
// same bounds (the idle time a closed one is kept and the lock wait, which each Open sets,
// change nothing about it).
std::string ConnectionIdentity(const std::string& connectionString, const OdbcPolicy& policy);

}  // namespace platform
