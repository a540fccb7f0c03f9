#include "apps/dam/DriverModule.h"

#include <dlfcn.h>

#include "host/DriverRegistry.h"
#include "runtime/Error.h"

namespace dam {
namespace {

constexpr int32_t kCannotCreateObject = 429;

}  // namespace

DriverModule::DriverModule(const std::string& path) : path_(path) {
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
    throw runtime::Error(kCannotCreateObject,
                         path_ + " is not a driver module: it does not export " + name);
  }
  return symbol;
}

host::ClassFactory& DriverModule::ClassObject(const std::string& className) const {
  host::ClassFactory* factory = getClassObject_(className.c_str());
  if (factory == nullptr) {
    throw runtime::Error(kCannotCreateObject, "The module " + path_ + " has no class " + className);
  }
  return *factory;
}

std::unique_ptr<DriverModule> LoadRegisteredModule(const std::string& className) {
  for (const host::RegisteredDriver& entry : host::ReadDriverRegistry()) {
    if (entry.className == className) return std::make_unique<DriverModule>(entry.modulePath);
  }
  throw runtime::Error(kCannotCreateObject, "No driver module is registered for " + className +
                                                " in " + host::DriverRegistryPath() +
                                                " (run: dam register MODULE)");
}

}  // namespace dam
