#include <filesystem>
#include <iostream>
#include <memory>

#include "apps/dam/Commands.h"
#include "apps/dam/ConfigFile.h"
#include "apps/dam/DamApplication.h"
#include "apps/dam/DamHost.h"
#include "apps/dam/DriverModule.h"
#include "apps/shared/Failures.h"
#include "platform/components/PlatformComponents.h"
#include "runtime/Error.h"

namespace dam {

int SetupCommand(const SetupOptions& options) {
  const std::string& file = options.config;
  const std::string& driverClass = options.driverClass;
  // Qt allows one application a process; a caller that already runs one keeps it.
  std::unique_ptr<QCoreApplication> application;
  if (QCoreApplication::instance() == nullptr) application = MakeApplication(true);
  platform::PlatformComponents components;
  WarnIfSettingsShowPasswords(components);
  const std::unique_ptr<DriverModule> module = LoadRegisteredModule(driverClass);
  auto host = apps::Doing(apps::kExitUnreachable, "cannot open the SPC database", [&] {
    return std::make_shared<DamHost>(components, SpcConnection(components, options.spc));
  });
  const std::shared_ptr<host::IDriver> driver =
      module->ClassObject(driverClass).CreateInstance(components);
  // A new configuration starts from the driver's defaults, named after its file.
  if (!driver->Initialize(host, std::filesystem::path(file).stem().string())) {
    throw runtime::Error(runtime::kInvalidProcedureCall, "the driver could not be initialized");
  }
  if (std::filesystem::exists(file)) {
    const std::string text = ReadConfigurationFile(file, false);
    if (!driver->Load(runtime::Variant(
            components.TextCodec().EncodeText(host::kConfigurationCodecKey, text)))) {
      throw runtime::Error(runtime::kInvalidProcedureCall,
                           "the driver could not load the configuration " + file);
    }
  }
  const bool confirmed = driver->ShowSetup(host::kTrue);
  int status = 1;
  if (confirmed) {
    WriteConfigurationFile(file, components.TextCodec().DecodeText(host::kConfigurationCodecKey,
                                                                   driver->GetConfiguration()));
    std::cout << "Saved " << file << std::endl;
    status = 0;
  }
  host::Bool16 cancel = host::kFalse;
  driver->QueryUnload(cancel, 0);
  driver->Unload();
  return status;
}

}  // namespace dam
