#include "apps/dam/host/MissingSpcFile.h"

#include <filesystem>

#include "apps/shared/Failures.h"
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

std::unique_ptr<DamHost> OpenSpcForReading(host::Components& components, const std::string& spc) {
  // Reading never creates a database: a mistyped path is an error, not "no subgroups".
  const std::string connection = SpcConnection(components, spc);
  if (const std::string file = MissingSpcFile(connection); !file.empty()) {
    throw apps::Failure(apps::kExitUnreachable, "there is no SPC database at " + file);
  }
  return apps::Doing(apps::kExitUnreachable, "cannot open the SPC database",
                     [&] { return std::make_unique<DamHost>(components, connection); });
}

}  // namespace dam
