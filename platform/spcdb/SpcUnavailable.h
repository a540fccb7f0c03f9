// Which failures of the SPC database mean that it cannot be reached, does not answer in
// time or refuses every write, as opposed to failures of the subgroup itself. A subgroup
// failing for the first reason is kept in the spool and saved later, once someone has
// mended the database; one failing for the second would fail again and stays a save error.
#pragma once

#include "platform/odbc/OdbcConnection.h"
#include "runtime/Error.h"

namespace platform {

// True for lost or refused connections (SQLSTATE class 08), timeouts (HYT00, HYT01), a
// server shutting down, starting, out of connections, disk or memory, or failing to read or
// write its files (57P01-57P03, 53100, 53200, 53300, 58030), a transaction the server gave
// up to let another one on (40001, 40P01), a statement or lock wait the server ended (57014,
// 55P03), writes refused to the role (42501) or to the server (25006, a standby after a
// failover) and a locked, busy, read-only, full, failing or unopened SQLite file, read from
// the error's SQLSTATE and, where a driver gives none of its own, its text. A connection the
// server refused for the settings it was given (password, database name) is not among them.
bool IsUnavailable(const runtime::Error& error);

// True for an SQLite file that cannot be opened as a database (IsUnavailable counts it): its
// folder moved or unmounted, or another file at its path (a backup still being copied back,
// another program's database),
// while the database was in use, which waiting may mend, or a wrong path at the start, which
// it does not.
bool IsUnopenedFile(const runtime::Error& error);

// After a failure: whether `connection` still runs a statement. One that does not was lost,
// whatever the failure said.
bool Answers(OdbcConnection& connection) noexcept;

// The failure being handled, raised again; when `lost`, as a lost connection (SQLSTATE 08S01)
// unless its SQLSTATE says so already. psqlODBC reports some failures of a connection the
// server ended as general errors ("internal SAVEPOINT failed"), which IsUnavailable would
// take for the subgroup's own.
[[noreturn]] void RethrowLost(bool lost);

}  // namespace platform
