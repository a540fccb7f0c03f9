#include "platform/odbc/OdbcDriverLists.h"

#include "platform/odbc/OdbcConnectionString.h"
#include "runtime/Text.h"

namespace platform {
namespace {

std::string Find(const std::unordered_map<std::string, std::string>& names, std::string_view name) {
  auto found = names.find(runtime::ToLower(name));
  return found != names.end() ? found->second : std::string();
}

OdbcDriverLists::Names ReadDataSources(const OdbcHandle& environment) {
  OdbcDriverLists::Names dataSources;
  SQLCHAR name[SQL_MAX_DSN_LENGTH + 1];
  SQLCHAR driver[512];
  SQLSMALLINT nameLength = 0, driverLength = 0;
  SQLUSMALLINT direction = SQL_FETCH_FIRST;
  while (SQL_SUCCEEDED(SQLDataSources(environment.get(), direction, name, sizeof name, &nameLength,
                                      driver, sizeof driver, &driverLength))) {
    direction = SQL_FETCH_NEXT;
    dataSources.emplace_back(reinterpret_cast<char*>(name), reinterpret_cast<char*>(driver));
  }
  return dataSources;
}

// Each driver with its "Driver64=" attribute, else its "Driver=" one, as the driver manager
// of a 64-bit process chooses.
OdbcDriverLists::Names ReadDrivers(const OdbcHandle& environment) {
  OdbcDriverLists::Names drivers;
  SQLCHAR description[512];
  SQLCHAR attributes[4096];
  SQLSMALLINT descriptionLength = 0, attributesLength = 0;
  SQLUSMALLINT direction = SQL_FETCH_FIRST;
  while (SQL_SUCCEEDED(SQLDrivers(environment.get(), direction, description, sizeof description,
                                  &descriptionLength, attributes, sizeof attributes,
                                  &attributesLength))) {
    direction = SQL_FETCH_NEXT;
    std::string library, library64;
    // Attributes are "key=value" texts, each ended by a zero, the list by another.
    for (const char* at = reinterpret_cast<char*>(attributes); *at != '\0';
         at += std::string_view(at).size() + 1) {
      const std::string_view attribute(at);
      const size_t equals = attribute.find('=');
      if (equals == std::string_view::npos) continue;
      const std::string_view key = runtime::TrimSpaces(attribute.substr(0, equals));
      const std::string_view value = runtime::TrimSpaces(attribute.substr(equals + 1));
      if (SameOdbcName(key, "Driver")) library = value;
      if (SameOdbcName(key, "Driver64")) library64 = value;
    }
    drivers.emplace_back(reinterpret_cast<char*>(description),
                         library64.empty() ? library : library64);
  }
  return drivers;
}

}  // namespace

OdbcDriverLists::OdbcDriverLists(const Names& drivers, const Names& dataSources) {
  for (const auto& [name, library] : drivers) drivers_.emplace(runtime::ToLower(name), library);
  for (const auto& [name, driver] : dataSources) {
    dataSources_.emplace(runtime::ToLower(name), driver);
  }
}

const OdbcDriverLists& OdbcDriverLists::Installed(const OdbcHandle& environment) {
  static const OdbcDriverLists lists(ReadDrivers(environment), ReadDataSources(environment));
  return lists;
}

std::string OdbcDriverLists::RegisteredLibrary(std::string_view name) const {
  return Find(drivers_, name);
}

std::string OdbcDriverLists::LibraryFor(std::string_view connectionString) const {
  std::string driver = ConnectionValue(connectionString, "DRIVER").value_or("");
  if (driver.empty()) {
    const std::string dataSource = ConnectionValue(connectionString, "DSN").value_or("");
    driver = Find(dataSources_, dataSource.empty() ? "DEFAULT" : dataSource);
  }
  if (driver.empty()) return {};
  const std::string library = RegisteredLibrary(driver);
  return library.empty() ? driver : library;
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
