#include <iostream>
#include <memory>

#include "apps/dam/host/ConfigFile.h"
#include "apps/dam/host/DamHost.h"
#include "apps/dam/host/DriverHandle.h"
#include "apps/dam/windows/WindowsApplication.h"
#include "apps/dam/windows/WindowsCommands.h"
#include "ui/SelectTag.h"

namespace dam {

int SelectTagCommand(const SelectTagOptions& options) {
  std::string value = options.value;
  // Qt allows one application a process; a caller that already runs one keeps it.
  std::unique_ptr<QCoreApplication> application;
  if (QCoreApplication::instance() == nullptr) application = MakeWindowsApplication();
  DriverHandle handle;
  handle.SetUserWaits();
  ReadHostSettings(handle.Components());
  handle.Read(ReadConfigurationFile(options.config, false));
  if (!ui::SelectTag(handle.Components(), handle.Reading(), value)) return 1;
  std::cout << value << std::endl;
  return 0;
}

}  // namespace dam
