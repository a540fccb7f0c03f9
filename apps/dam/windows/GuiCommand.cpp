#include "apps/dam/Commands.h"
#include "apps/dam/host/DamApplication.h"
#include "apps/dam/windows/MainWindow.h"

namespace dam {

int GuiCommand(const GuiOptions& options) {
  const auto application = MakeApplication(true);
  MainWindow window(options.configs, options.spc, options.driverClass);
  window.show();
  return application->exec();
}

}  // namespace dam
