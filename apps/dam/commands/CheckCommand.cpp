#include <iostream>

#include "apps/dam/Commands.h"
#include "apps/dam/commands/CheckFindings.h"
#include "apps/dam/host/ConfigFile.h"
#include "apps/dam/host/ConfigurationPaths.h"
#include "apps/dam/host/DriverHandle.h"
#include "apps/shared/ExitCodes.h"
#include "apps/shared/Failures.h"
#include "apps/shared/TerminalText.h"
#include "platform/odbc/ConnectionSecrets.h"
#include "runtime/Error.h"

namespace dam {

int CheckCommand(const CheckOptions& options) {
  DriverHandle handle;
  handle.OpenModule(options.driverClass);
  bool unreadable = false, errors = false, warnings = false;
  for (const std::string& file : ConfigurationFiles(options.configs)) {
    std::vector<host::CheckFinding> findings;
    try {
      findings = handle.Check(ReadConfigurationFile(file, false));
    } catch (const apps::Failure& e) {
      findings = {{0, true, e.what()}};
      unreadable = true;
    } catch (const runtime::Error& e) {
      findings = {{0, true, e.Description()}};
    }
    for (const host::CheckFinding& finding : findings) {
      std::cout << apps::Printable(platform::MaskConnectionSecrets(FormatFinding(file, finding)))
                << '\n';
      (finding.error ? errors : warnings) = true;
    }
  }
  std::cout << std::flush;
  if (unreadable) return apps::kExitNoFile;
  if (errors) return apps::kExitInvalidConfiguration;
  return warnings ? apps::kExitFailure : apps::kExitOk;
}

}  // namespace dam
