// Which driver library a connection string reaches, read from the driver manager's lists
// of installed drivers and data sources, before connecting: some settings must be part of
// the connection string the driver gets.
#pragma once

#include <string>
#include <string_view>

#include "platform/odbc/OdbcHandle.h"

namespace platform {

// The file of the driver named by the string's Driver key, or else by the driver of its
// DSN ("DEFAULT" when it names none): "libsqlite3odbc.so". Empty when the driver manager
// does not know it. A Driver value that is a file is that file. The driver manager's lists
// are read once per process: drivers and data sources added later are not known.
std::string DriverLibrary(const OdbcHandle& environment, std::string_view connectionString);

// True for the SQLite ODBC drivers (libsqlite3odbc.so, sqlite3odbc.dll, ...).
bool IsSqliteDriver(std::string_view library);
// True for psqlODBC (psqlodbcw.so, psqlodbc35w.dll, ...).
bool IsPostgresDriver(std::string_view library);

}  // namespace platform
