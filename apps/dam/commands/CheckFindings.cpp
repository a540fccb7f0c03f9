#include "apps/dam/commands/CheckFindings.h"

#include "platform/odbc/OdbcDiagnostics.h"

namespace dam {

std::string FormatFinding(const std::string& file, const host::CheckFinding& finding) {
  return file + (finding.line > 0 ? ":" + std::to_string(finding.line) : "") + ": " +
         (finding.error ? "error" : "warning") + ": " + platform::WithoutSqlStates(finding.text);
}

}  // namespace dam
