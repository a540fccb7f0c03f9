// The diagnostic records a failed ODBC call leaves on its handle, and the form their
// texts take in an error's description ("[SQLSTATE 42S02] no such table: t").
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <sql.h>

namespace platform {

struct OdbcDiagnostic {
  std::string state;   // the SQLSTATE, five characters
  int32_t native = 0;  // the driver's own error number
  std::string text;    // on one line
};

// Record `record` (1 is the first) of `handle`, or nothing when it has no such record.
std::optional<OdbcDiagnostic> Diagnostic(SQLSMALLINT handleType, SQLHANDLE handle,
                                         SQLSMALLINT record = 1);

// SQLSTATE class 08, the connection failed, or 57P0x, the server is shutting down or
// restarting (PostgreSQL's goodbye to its sessions): the connection is gone.
bool IsConnectionLost(std::string_view sqlState);
// The SQLSTATE of a connection lost under a call (communication link failure).
inline constexpr char kConnectionLostState[] = "08S01";

// SQLITE_BUSY or SQLITE_LOCKED: the native numbers of the SQLite ODBC driver's "database is
// locked" (other drivers may use them for other errors).
bool IsSqliteLocked(int32_t native);

// "[SQLSTATE state] text", as each record stands in an error's description.
std::string DescribedWithState(const OdbcDiagnostic& diagnostic);

// `description` without the "[SQLSTATE xxxxx] " codes: the error as people read it.
std::string WithoutSqlStates(std::string_view description);

}  // namespace platform
