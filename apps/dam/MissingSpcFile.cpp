#include "apps/dam/MissingSpcFile.h"

#include <filesystem>

#include "platform/odbc/OdbcConnectionString.h"
#include "runtime/Text.h"

namespace dam {

std::string MissingSpcFile(const std::string& connection) {
  std::string driver, file;
  for (const platform::ConnectionKey& pair : platform::ParseConnectionString(connection)) {
    if (runtime::EqualsNoCase(pair.key, "Driver")) driver = pair.value;
    if (runtime::EqualsNoCase(pair.key, "Database")) file = pair.value;
  }
  if (!runtime::EqualsNoCase(driver, "SQLite3") || file.empty()) return "";
  return std::filesystem::exists(file) ? "" : file;
}

}  // namespace dam
