#include "apps/dam/host/DriverModule.h"

#include <dlfcn.h>

#include "apps/dam/host/InstalledModules.h"
#include "host/DriverRegistry.h"
#include "runtime/Error.h"
#include "runtime/TrustedFile.h"

namespace dam {
namespace {

// Loading a module runs its code as this user: no other user may be able to replace it.
void RefuseReplaceableModule(const std::string& path) {
  const std::string why = runtime::WhyOthersCouldChange(path);
  if (!why.empty()) {
    throw runtime::Error(runtime::kPathFileAccessError,
                         "Refusing to load the driver module " + path + ": " + why +
                             ", so another user could replace the module");
  }
}

}  // namespace

DriverModule::DriverModule(const std::string& path) : path_(path) {
  RefuseReplaceableModule(path);
  handle_ = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle_ == nullptr) {
    throw runtime::Error(runtime::kFileNotFound,
                         "Cannot load the driver module " + path + ": " + dlerror());
  }
  try {
    getClassObject_ =
        reinterpret_cast<host::DllGetClassObjectFunction>(Export("DllGetClassObject"));
    registerServer_ =
        reinterpret_cast<host::DllRegisterServerFunction>(Export("DllRegisterServer"));
    unregisterServer_ =
        reinterpret_cast<host::DllUnregisterServerFunction>(Export("DllUnregisterServer"));
    canUnloadNow_ = reinterpret_cast<host::DllCanUnloadNowFunction>(Export("DllCanUnloadNow"));
    checkConfiguration_ =
        reinterpret_cast<host::DllCheckConfigurationFunction>(Export("DllCheckConfiguration"));
  } catch (...) {
    dlclose(handle_);
    throw;
  }
}

DriverModule::~DriverModule() {
  // A module whose objects are still alive stays loaded: their code lives in it.
  if (canUnloadNow_()) dlclose(handle_);
}

void* DriverModule::Export(const char* name) const {
  void* symbol = dlsym(handle_, name);
  if (symbol == nullptr) {
    throw runtime::Error(runtime::kCannotCreateObject,
                         path_ + " is not a driver module: it does not export " + name);
  }
  return symbol;
}

std::vector<host::CheckFinding> DriverModule::CheckConfiguration(host::Components& components,
                                                                 const std::string& text) const {
  std::vector<host::CheckFinding> findings;
  checkConfiguration_(components, text, findings);
  return findings;
}

host::ClassFactory& DriverModule::ClassObject(const std::string& className) const {
  host::ClassFactory* factory = getClassObject_(className.c_str());
  if (factory == nullptr) {
    throw runtime::Error(runtime::kCannotCreateObject,
                         "The module " + path_ + " has no class " + className);
  }
  return *factory;
}

std::unique_ptr<DriverModule> LoadRegisteredModule(const std::string& className) {
  for (const host::RegisteredDriver& entry : host::ReadDriverRegistry()) {
    if (entry.className == className) return std::make_unique<DriverModule>(entry.modulePath);
  }
  if (std::optional<std::string> installed = InstalledModule(className)) {
    return std::make_unique<DriverModule>(*installed);
  }
  const std::string folder = InstalledModuleFolder();
  throw runtime::Error(
      runtime::kCannotCreateObject,
      "No driver module is registered for " + className + " in " + host::DriverRegistryPath() +
          (folder.empty() ? "" : " nor installed in " + folder) + " (run: dam register MODULE)");
}

}  // namespace dam
