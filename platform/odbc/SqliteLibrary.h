// The SQLite library, which every SQLite connection of the process shares, the SQLite ODBC
// driver's included. Its defaults suit a process with one connection: each new connection
// sets aside 20 pages of cache at once, and every allocation is counted under one
// process-wide lock, for statistics nothing here reads. A run of many lines holds a
// historian connection per line, on a thread per line.
#pragma once

namespace platform {

// Lets SQLite take cache pages as it needs them and stops the count. Call before the
// process's first SQLite connection; after it, SQLite keeps its defaults.
void TuneSqliteForManyConnections();

}  // namespace platform
