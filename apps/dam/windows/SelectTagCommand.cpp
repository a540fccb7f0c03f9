#include <iostream>

#include "apps/dam/host/ConfigFile.h"
#include "apps/dam/host/DriverHandle.h"
#include "apps/dam/windows/WindowsApplication.h"
#include "apps/dam/windows/WindowsCommands.h"
#include "ui/SelectTag.h"

namespace dam {

int SelectTagCommand(const SelectTagOptions& options) {
  std::string value = options.value;
  const auto application = MakeWindowsApplication();
  DriverHandle handle;
  handle.Read(ReadConfigurationFile(options.config, false));
  if (!ui::SelectTag(handle.Components(), handle.Reading(), value)) return 1;
  std::cout << value << std::endl;
  return 0;
}

}  // namespace dam
