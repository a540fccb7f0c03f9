#include <QApplication>
#include <iostream>

#include "apps/dam/Commands.h"
#include "apps/dam/ConfigFile.h"
#include "config/Configuration1.h"
#include "platform/components/PlatformComponents.h"
#include "ui/SelectTag.h"

namespace dam {

int SelectTagCommand(const Arguments& args) {
  std::string file;
  std::string value;
  for (size_t i = 0; i < args.size(); ++i) {
    if (args[i] == "--value" && i + 1 < args.size()) {
      value = args[++i];
    } else if (file.empty() && !args[i].starts_with("--")) {
      file = args[i];
    } else {
      file.clear();
      break;
    }
  }
  if (file.empty()) {
    std::cerr << "usage: dam select-tag CONFIG [--value TEXT]\n";
    return 2;
  }
  int argc = 1;
  char name[] = "dam";
  char* argv[] = {name, nullptr};
  QApplication application(argc, argv);
  platform::PlatformComponents components;
  config::Configuration1 configuration(components);
  configuration.SetData(ReadConfigurationFile(file, false));
  if (!ui::SelectTag(components, configuration, value)) return 1;
  std::cout << value << std::endl;
  return 0;
}

}  // namespace dam
