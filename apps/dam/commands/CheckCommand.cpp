#include <iostream>
#include <map>

#include "apps/dam/Commands.h"
#include "apps/dam/commands/CheckFindings.h"
#include "apps/dam/host/ConfigFile.h"
#include "apps/dam/host/ConfigurationName.h"
#include "apps/dam/host/ConfigurationPaths.h"
#include "apps/dam/host/DamHost.h"
#include "apps/dam/host/DriverHandle.h"
#include "apps/shared/ExitCodes.h"
#include "apps/shared/Failures.h"
#include "apps/shared/TerminalText.h"
#include "platform/odbc/ConnectionSecrets.h"
#include "runtime/Error.h"

namespace dam {

int CheckCommand(const CheckOptions& options) {
  DriverHandle handle;
  ReadHostSettings(handle.Components());
  handle.OpenModule(options.driverClass);
  bool unreadable = false, errors = false, warnings = false;
  const ConfigurationFileList list = ConfigurationFiles(options.configs);
  for (const ConfigurationFileList::Again& again : list.again) {
    std::cout << FormatFinding(again.path, {0, false,
                                            "the same file as " + again.first +
                                                "; it is checked and runs once"})
              << '\n';
    warnings = true;
  }
  for (const ConfigurationFileList::PassedOver& over : list.passedOver) {
    std::cout << FormatFinding(over.folder, {0, false, PassedOverText(over)}) << '\n';
    warnings = true;
  }
  // By name, the file that has it first.
  std::map<std::string, std::string> names;
  const std::vector<ConfigurationRead> reads = ReadConfigurationFiles(list.files);
  for (size_t i = 0; i < list.files.size(); ++i) {
    const std::string& file = list.files[i];
    std::vector<host::CheckFinding> findings;
    try {
      if (reads[i].failure) std::rethrow_exception(reads[i].failure);
      const std::string& text = reads[i].text;
      findings = handle.Check(text);
      const std::string name = ConfigurationNameIn(file, text);
      const auto [first, added] = names.emplace(name, file);
      if (!added) findings.push_back({0, true, SameNameText(name, first->second)});
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
