#include <QApplication>

#include "apps/dam/Commands.h"
#include "apps/dam/MainWindow.h"

namespace dam {

int GuiCommand(const GuiOptions& options) {
  int argc = 1;
  char name[] = "dam";
  char* argv[] = {name, nullptr};
  QApplication application(argc, argv);
  MainWindow window(options.configs, options.spc, options.driverClass);
  window.show();
  return application.exec();
}

}  // namespace dam
