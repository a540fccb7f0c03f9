// The driver manager's lists of installed drivers and of data sources, and which driver
// library a connection string makes it load, known before connecting: some settings must be
// part of the string the driver gets, and some strings must never reach the driver manager.
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/odbc/OdbcHandle.h"

namespace platform {

class OdbcDriverLists {
 public:
  using Names = std::vector<std::pair<std::string, std::string>>;

  // `drivers`: each registered driver name with its library file; `dataSources`: each data
  // source name with its driver.
  OdbcDriverLists(const Names& drivers, const Names& dataSources);

  // The driver manager's lists, read once per process (it reads its files on every call,
  // slower than a connect): drivers and data sources added later are not known.
  static const OdbcDriverLists& Installed(const OdbcHandle& environment);

  // The library file of the driver registered as `name`, names compared as the driver
  // manager does; empty when none is.
  std::string RegisteredLibrary(std::string_view name) const;

  // The library the driver manager loads for the string: the one registered for its DRIVER
  // or else for the driver of its DSN ("DEFAULT" when it names none). A driver that is not
  // a registered name is itself the file, as the driver manager takes it. Empty when the
  // lists name none: "libsqlite3odbc.so".
  std::string LibraryFor(std::string_view connectionString) const;

 private:
  // Keyed by the name with A-Z lowered, as the driver manager finds names.
  std::unordered_map<std::string, std::string> drivers_, dataSources_;
};

// True for the SQLite ODBC drivers (libsqlite3odbc.so, sqlite3odbc.dll, ...).
bool IsSqliteDriver(std::string_view library);
// True for psqlODBC (psqlodbcw.so, psqlodbc35w.dll, ...).
bool IsPostgresDriver(std::string_view library);

}  // namespace platform
