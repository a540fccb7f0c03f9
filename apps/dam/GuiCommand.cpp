#include <QApplication>
#include <iostream>

#include "apps/dam/Commands.h"
#include "apps/dam/MainWindow.h"

namespace dam {

int GuiCommand(const Arguments& args) {
  std::vector<std::string> files;
  std::string spc;
  std::string driverClass = "oxaGEPDAD6.Version1";
  for (size_t i = 0; i < args.size(); ++i) {
    if (args[i] == "--spc" && i + 1 < args.size()) {
      spc = args[++i];
    } else if (args[i] == "--driver" && i + 1 < args.size()) {
      driverClass = args[++i];
    } else if (args[i].starts_with("--")) {
      std::cerr << "usage: dam gui [CONFIG...] [--spc CONNECTION] [--driver CLASS]\n";
      return 2;
    } else {
      files.push_back(args[i]);
    }
  }
  int argc = 1;
  char name[] = "dam";
  char* argv[] = {name, nullptr};
  QApplication application(argc, argv);
  MainWindow window(files, spc, driverClass);
  window.show();
  return application.exec();
}

}  // namespace dam
