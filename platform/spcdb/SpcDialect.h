// What differs between the two databases the SPC database runs on, SQLite and PostgreSQL,
// kept in this one place: connection set-up, generated identifiers, how doubles are read
// and how a writing transaction starts.
#pragma once

#include <cstdint>
#include <string>

#include "platform/odbc/OdbcConnection.h"
#include "platform/odbc/OdbcPolicy.h"
#include "runtime/Variant.h"

namespace platform {

// Seconds a statement on the SPC database waits for a lock, well within the query timeout:
// a save that finds the tables locked goes to the spool in time for the collection to keep
// its grid, and the spool's forwarder waits for the lock instead.
inline constexpr int32_t kSpcLockWaitSeconds = 2;

// Seconds an SQLite SPC connection under `policy` waits for a lock: its query timeout,
// which bounds lock waits there, cut to kSpcLockWaitSeconds.
int32_t SqliteLockWaitSeconds(const OdbcPolicy& policy);

class SpcDialect {
 public:
  // The dialect of the database `connection` reaches; any other product is an error.
  static SpcDialect For(OdbcConnection& connection);

  bool IsSqlite() const { return sqlite_; }

  // Run once on every new connection before anything else. Bounds PostgreSQL's lock
  // waits by kSpcLockWaitSeconds (SQLite's are bounded by the connection's query timeout).
  void Configure(OdbcConnection& connection) const;

  // The column definition of a named record's generated identifier, which the host interface
  // carries in 32 bits.
  const char* IdColumn() const;
  // The column definition of a subgroup's generated identifier: 64-bit (SQLite's rowid is).
  const char* SubgroupIdColumn() const;
  // A query giving the identifier the connection's last INSERT generated.
  const char* LastIdQuery() const;
  // A select-list expression giving the double in `column` to its last bit. The SQLite ODBC
  // driver hands a REAL over as its 15-digit text, which may be another double or, near
  // the largest double, none at all.
  std::string ExactDouble(const std::string& column) const;
  // The double of a field selected by ExactDouble. Another writer may have stored an
  // infinity or, on PostgreSQL, a NaN: it comes back as such, not as a type mismatch.
  static double StoredDouble(const runtime::Variant& field);
  // The text to prepare for `insert`, run at every save. The SQLite ODBC driver parses every
  // statement again at each execution unless it takes it for a query, which it keeps
  // prepared: it does for one that opens with WITH. Its row count is then not reported.
  std::string RepeatedInsert(const std::string& insert) const;

  // A transaction that writes. SQLite takes the write lock at once, so that concurrent
  // writers wait for each other (the connection's lock waits) instead of failing when a read lock
  // cannot be upgraded.
  void Begin(OdbcConnection& connection) const;
  void Commit(OdbcConnection& connection) const;
  // Never fails: it runs after a failure, which is the one to report, and a connection
  // whose rollback failed is not used again.
  void Rollback(OdbcConnection& connection) const noexcept;
  // Inside a transaction: waits until no other session changes the schema.
  void LockSchema(OdbcConnection& connection) const;

 private:
  explicit SpcDialect(bool sqlite) : sqlite_(sqlite) {}

  bool sqlite_;
};

}  // namespace platform
