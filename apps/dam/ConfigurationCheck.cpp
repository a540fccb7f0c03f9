#include "apps/dam/ConfigurationCheck.h"

#include "apps/dam/DriverModule.h"
#include "platform/odbc/OdbcDiagnostics.h"

namespace dam {

std::vector<host::CheckFinding> CheckConfiguration(host::Components& components,
                                                   const std::string& text,
                                                   const std::string& driverClass) {
  return LoadRegisteredModule(driverClass)->CheckConfiguration(components, text);
}

std::string FormatFinding(const std::string& file, const host::CheckFinding& finding) {
  return file + (finding.line > 0 ? ":" + std::to_string(finding.line) : "") + ": " +
         (finding.error ? "error" : "warning") + ": " + platform::WithoutSqlStates(finding.text);
}

}  // namespace dam
