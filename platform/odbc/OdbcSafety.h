// Configuration never names code: a connection string from a configuration or a setting may
// name an ODBC driver only by its registered name. Checked before the driver manager sees
// the string, because a driver path, a file DSN or a driver's extension key makes it load
// a library of the string's choosing into this process.
#pragma once

#include <string_view>

namespace platform {

// Throws runtime::Error (5, source "ODBC") naming the first key that is refused and why:
// - Driver or Setup naming a file: a '/' or '\' in it, or a name ending in .so, .so.N
//   or .dll;
// - FILEDSN and SAVEFILE, which read or write a file data source (one can name a driver
//   file);
// - LoadExt (SQLite3 ODBC driver: loads SQLite extension libraries), TraceFile (SQLite3
//   ODBC driver: writes to the named file);
// - Pqopt or its short form D5 (psqlODBC: options for libpq) naming sslkey, whose
//   "engine:key" form loads an OpenSSL engine library.
// Keys compare without regard to case. Each key is checked as the driver manager parses
// the string (braced values whole) and as a driver that splits at every ';' does, so a
// braced value cannot hide a key from either.
void RefuseUnsafeConnectionString(std::string_view connectionString);

}  // namespace platform
