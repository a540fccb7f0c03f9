#include <filesystem>
#include <iostream>
#include <memory>

#include "apps/dam/host/ConfigFile.h"
#include "apps/dam/host/DamHost.h"
#include "apps/dam/host/DriverHandle.h"
#include "apps/dam/windows/WindowsApplication.h"
#include "apps/dam/windows/WindowsCommands.h"

namespace dam {

int SetupCommand(const SetupOptions& options) {
  const std::string& file = options.config;
  // Qt allows one application a process; a caller that already runs one keeps it.
  std::unique_ptr<QCoreApplication> application;
  if (QCoreApplication::instance() == nullptr) application = MakeWindowsApplication();
  DriverHandle handle;
  handle.Components().SetInteractive();
  WarnIfSettingsShowPasswords(handle.Components());
  handle.OpenModule(options.driverClass);
  // A new configuration starts from the driver's defaults, named after its file.
  handle.Create(options.spc, std::filesystem::path(file).stem().string());
  if (std::filesystem::exists(file)) handle.Load(ReadConfigurationFile(file, false));
  if (!handle.Driver().ShowSetup(host::kTrue)) return 1;
  WriteConfigurationFile(file, handle.Text());
  std::cout << "Saved " << file << std::endl;
  return 0;
}

}  // namespace dam
