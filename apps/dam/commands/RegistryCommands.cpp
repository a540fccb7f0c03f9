#include <filesystem>
#include <iostream>

#include "apps/dam/Commands.h"
#include "apps/dam/host/DriverModule.h"
#include "apps/dam/host/InstalledModules.h"
#include "apps/shared/Failures.h"
#include "host/DriverRegistry.h"

namespace dam {
namespace {

int WithModule(const std::string& path, int (DriverModule::*action)() const) {
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error)) {
    throw apps::Failure(apps::kExitNoFile, "there is no driver module file " + path);
  }
  DriverModule module(std::filesystem::absolute(path).string());
  if ((module.*action)() != 0) return 1;
  return 0;
}

}  // namespace

int RegisterCommand(const std::string& module) {
  int status = WithModule(module, &DriverModule::RegisterServer);
  if (status == 0)
    std::cout << "registered " << module << " in " << host::DriverRegistryPath() << '\n';
  return status;
}

int UnregisterCommand(const std::string& module) {
  const size_t registered = host::ReadDriverRegistry().size();
  int status = WithModule(module, &DriverModule::UnregisterServer);
  if (status != 0) return status;
  if (host::ReadDriverRegistry().size() == registered) {
    std::cout << module << " was not registered in " << host::DriverRegistryPath() << '\n';
  } else {
    std::cout << "unregistered " << module << '\n';
  }
  return status;
}

int DriversCommand() {
  const auto drivers = host::ReadDriverRegistry();
  if (drivers.empty())
    std::cout << "no drivers registered in " << host::DriverRegistryPath() << '\n';
  for (const auto& driver : drivers) {
    std::cout << driver.className << '\t' << driver.modulePath
              << (std::filesystem::exists(driver.modulePath) ? "" : "\t(missing)") << '\n';
  }
  // Installed modules serve the classes the registry does not name.
  for (const std::string& module : InstalledModules()) {
    std::cout << std::filesystem::path(module).stem().string() << ".*\t" << module
              << "\t(installed)\n";
  }
  return 0;
}

}  // namespace dam
