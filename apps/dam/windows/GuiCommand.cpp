#include "apps/dam/windows/MainWindow.h"
#include "apps/dam/windows/WindowsApplication.h"
#include "apps/dam/windows/WindowsCommands.h"

namespace dam {

int GuiCommand(const GuiOptions& options) {
  const auto application = MakeWindowsApplication();
  MainWindow window(options.configs, options.spc, options.driverClass);
  window.show();
  return application->exec();
}

}  // namespace dam
