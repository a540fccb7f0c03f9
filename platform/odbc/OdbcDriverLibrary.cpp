#include "platform/odbc/OdbcDriverLibrary.h"

#include <mutex>
#include <optional>
#include <unordered_map>

#include "platform/odbc/OdbcConnectionString.h"
#include "runtime/Text.h"

namespace platform {
namespace {

std::string FirstValue(std::string_view connectionString, std::string_view key) {
  for (const ConnectionKey& pair : ParseConnectionString(connectionString)) {
    if (runtime::EqualsNoCase(pair.key, key)) return pair.value;
  }
  return {};
}

using Names =
    std::unordered_map<std::string, std::string, runtime::NoCaseHash, runtime::NoCaseEqual>;

// The driver manager reads its lists from files on each call, slower than a connect: they
// are read once for the process.
std::mutex& ListsLock() {
  static std::mutex lock;
  return lock;
}

// Data source name -> its registered driver.
Names ReadDataSources(const OdbcHandle& environment) {
  Names drivers;
  SQLCHAR name[SQL_MAX_DSN_LENGTH + 1];
  SQLCHAR description[512];
  SQLSMALLINT nameLength = 0, descriptionLength = 0;
  SQLUSMALLINT direction = SQL_FETCH_FIRST;
  while (SQL_SUCCEEDED(SQLDataSources(environment.get(), direction, name, sizeof name, &nameLength,
                                      description, sizeof description, &descriptionLength))) {
    direction = SQL_FETCH_NEXT;
    drivers.emplace(reinterpret_cast<char*>(name), reinterpret_cast<char*>(description));
  }
  return drivers;
}

// Registered driver -> its "Driver=" attribute, the library file.
Names ReadDrivers(const OdbcHandle& environment) {
  Names libraries;
  SQLCHAR description[512];
  SQLCHAR attributes[4096];
  SQLSMALLINT descriptionLength = 0, attributesLength = 0;
  SQLUSMALLINT direction = SQL_FETCH_FIRST;
  while (SQL_SUCCEEDED(SQLDrivers(environment.get(), direction, description, sizeof description,
                                  &descriptionLength, attributes, sizeof attributes,
                                  &attributesLength))) {
    direction = SQL_FETCH_NEXT;
    // Attributes are "key=value" texts, each ended by a zero, the list by another.
    for (const char* at = reinterpret_cast<char*>(attributes); *at != '\0';
         at += std::string_view(at).size() + 1) {
      std::string_view attribute(at);
      size_t equals = attribute.find('=');
      if (equals != std::string_view::npos &&
          runtime::EqualsNoCase(runtime::TrimSpaces(attribute.substr(0, equals)), "Driver")) {
        libraries.emplace(reinterpret_cast<char*>(description),
                          runtime::TrimSpaces(attribute.substr(equals + 1)));
      }
    }
  }
  return libraries;
}

std::string Find(const std::string& name, std::optional<Names>& known,
                 Names (*read)(const OdbcHandle&), const OdbcHandle& environment) {
  std::lock_guard lock(ListsLock());
  if (!known) known = read(environment);
  auto found = known->find(name);
  return found != known->end() ? found->second : std::string();
}

}  // namespace

std::string DriverLibrary(const OdbcHandle& environment, std::string_view connectionString) {
  std::string driver = FirstValue(connectionString, "DRIVER");
  if (driver.empty()) {
    std::string dsn = FirstValue(connectionString, "DSN");
    static std::optional<Names> dataSources;
    driver = Find(dsn.empty() ? "DEFAULT" : dsn, dataSources, ReadDataSources, environment);
  }
  if (driver.empty()) return {};
  if (driver.find_first_of("/\\") != std::string::npos) return driver;
  static std::optional<Names> drivers;
  return Find(driver, drivers, ReadDrivers, environment);
}

bool IsSqliteDriver(std::string_view library) {
  std::string file(library.substr(library.find_last_of("/\\") + 1));
  file = runtime::ToUpper(file);
  return file.find("SQLITE") != std::string::npos && file.find("ODBC") != std::string::npos;
}

bool IsPostgresDriver(std::string_view library) {
  std::string file(library.substr(library.find_last_of("/\\") + 1));
  return runtime::ToUpper(file).find("PSQLODBC") != std::string::npos;
}

}  // namespace platform
