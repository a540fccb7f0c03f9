#include "apps/dam/host/MissingSpcFile.h"

#include <filesystem>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "apps/shared/Failures.h"
#include "host/Connection.h"
#include "platform/odbc/OdbcConnectionString.h"
#include "runtime/Text.h"
#include "runtime/Variant.h"

namespace dam {
namespace {

// The file an SQLite connection names; "" for another database.
std::string SqliteFile(const std::string& connection) {
  std::string driver, file;
  for (const platform::ConnectionKey& pair : platform::ParseConnectionString(connection)) {
    if (runtime::EqualsNoCase(pair.key, "Driver")) driver = pair.value;
    if (runtime::EqualsNoCase(pair.key, "Database")) file = pair.value;
  }
  return runtime::EqualsNoCase(driver, "SQLite3") ? file : "";
}

// Opening a file the SPC tables are not in would add them: to a historian, say.
void RequireSpcTables(host::Components& components, const std::string& connection,
                      const std::string& file) {
  const bool tables = apps::Doing(apps::kExitUnreachable, "cannot open the SPC database", [&] {
    const std::unique_ptr<host::Connection> database = components.CreateConnection();
    database->Open(connection, "", "");
    return !database
                ->Execute(
                    "SELECT name FROM sqlite_master WHERE type = 'table' AND name = ?",
                    std::vector<runtime::Variant>{runtime::Variant(std::string("schema_version"))})
                ->Eof();
  });
  if (!tables) {
    throw apps::Failure(apps::kExitUnreachable,
                        file + " is not an SPC database (it has none of its tables)");
  }
}

}  // namespace

std::string MissingSpcFile(const std::string& connection) {
  const std::string file = SqliteFile(connection);
  if (file.empty()) return "";
  std::error_code error;
  const bool there = std::filesystem::exists(file, error);
  if (error) {
    throw apps::Failure(apps::kExitUnreachable,
                        "cannot look for the SPC database " + file + ": " + error.message());
  }
  return there ? "" : file;
}

std::unique_ptr<DamHost> OpenSpcForReading(host::Components& components, const std::string& spc) {
  // Reading never creates a database: a mistyped path is an error, not "no subgroups".
  const std::string connection = SpcConnection(components, spc);
  if (const std::string file = MissingSpcFile(connection); !file.empty()) {
    throw apps::Failure(apps::kExitUnreachable, "there is no SPC database at " + file);
  }
  if (const std::string file = SqliteFile(connection); !file.empty()) {
    RequireSpcTables(components, connection, file);
  }
  return apps::Doing(apps::kExitUnreachable, "cannot open the SPC database",
                     [&] { return std::make_unique<DamHost>(components, connection); });
}

}  // namespace dam
