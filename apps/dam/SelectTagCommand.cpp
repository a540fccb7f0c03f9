#include <iostream>

#include "apps/dam/Commands.h"
#include "apps/dam/ConfigFile.h"
#include "apps/dam/DamApplication.h"
#include "config/Configuration1.h"
#include "platform/components/PlatformComponents.h"
#include "ui/SelectTag.h"

namespace dam {

int SelectTagCommand(const SelectTagOptions& options) {
  std::string value = options.value;
  const auto application = MakeApplication(true);
  platform::PlatformComponents components;
  config::Configuration1 configuration(components);
  configuration.SetData(ReadConfigurationFile(options.config, false));
  if (!ui::SelectTag(components, configuration, value)) return 1;
  std::cout << value << std::endl;
  return 0;
}

}  // namespace dam
