#include <filesystem>
#include <iostream>
#include <memory>
#include <optional>

#include "apps/dam/host/ConfigFile.h"
#include "apps/dam/host/DamHost.h"
#include "apps/dam/host/DriverHandle.h"
#include "apps/dam/windows/SaveEdited.h"
#include "apps/dam/windows/WindowsApplication.h"
#include "apps/dam/windows/WindowsCommands.h"
#include "apps/shared/Failures.h"

namespace dam {

int SetupCommand(const SetupOptions& options) {
  const std::string& file = options.config;
  // Qt allows one application a process; a caller that already runs one keeps it.
  std::unique_ptr<QCoreApplication> application;
  if (QCoreApplication::instance() == nullptr) application = MakeWindowsApplication();
  DriverHandle handle;
  handle.SetUserWaits();
  ReadHostSettings(handle.Components());
  handle.OpenModule(options.driverClass);
  // A new configuration starts from the driver's defaults, named after its file.
  handle.Create(options.spc, std::filesystem::path(file).stem().string());
  std::optional<std::string> read;
  if (std::filesystem::exists(file)) {
    read = ReadConfigurationFile(file, false);
    handle.Load(*read);
  }
  // A save that fails shows the dialog again with the user's text, until saved or given up.
  std::string failure;
  while (handle.Driver().ShowSetup(host::kTrue)) {
    switch (SaveEdited(file, handle.Text(), read, failure)) {
      case SaveOutcome::kSaved:
        std::cout << "Saved " << file << std::endl;
        return 0;
      case SaveOutcome::kKeptAside:
        throw apps::Failure(apps::kExitNoFile, failure);
      case SaveOutcome::kFailed:
        break;
    }
  }
  if (!failure.empty()) throw apps::Failure(apps::kExitNoFile, "not saved: " + failure);
  return 1;
}

}  // namespace dam
