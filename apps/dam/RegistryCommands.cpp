#include <filesystem>
#include <iostream>

#include "apps/dam/Commands.h"
#include "apps/dam/DriverModule.h"
#include "apps/dam/InstalledModules.h"
#include "host/DriverRegistry.h"

namespace dam {
namespace {

int WithModule(const Arguments& args, const char* usage, int (DriverModule::*action)() const) {
  if (args.size() != 1) {
    std::cerr << "usage: " << usage << '\n';
    return 2;
  }
  DriverModule module(std::filesystem::absolute(args[0]).string());
  if ((module.*action)() != 0) return 1;
  return 0;
}

}  // namespace

int RegisterCommand(const Arguments& args) {
  int status = WithModule(args, "dam register MODULE", &DriverModule::RegisterServer);
  if (status == 0)
    std::cout << "registered " << args[0] << " in " << host::DriverRegistryPath() << '\n';
  return status;
}

int UnregisterCommand(const Arguments& args) {
  int status = WithModule(args, "dam unregister MODULE", &DriverModule::UnregisterServer);
  if (status == 0) std::cout << "unregistered " << args[0] << '\n';
  return status;
}

int DriversCommand(const Arguments& args) {
  if (!args.empty()) {
    std::cerr << "usage: dam drivers\n";
    return 2;
  }
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
