#include "apps/dam/DriverModule.h"

#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <system_error>

#include "apps/dam/InstalledModules.h"
#include "host/DriverRegistry.h"
#include "runtime/Error.h"

namespace dam {
namespace {

std::string Mode(mode_t mode) {
  char text[8];
  std::snprintf(text, sizeof text, "%04o", static_cast<unsigned>(mode & 07777));
  return text;
}

// Why another user could replace what `path` names, or empty. A folder others may write
// to is safe when it is root's and sticky, as /tmp: they cannot replace its entries then.
std::string Unsafe(const std::filesystem::path& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return {};
  if (status.st_uid != geteuid() && status.st_uid != 0) {
    return path.string() + " is owned by user " + std::to_string(status.st_uid) +
           ", neither this user nor root";
  }
  const bool othersWrite = (status.st_mode & (S_IWGRP | S_IWOTH)) != 0;
  const bool stickyRootFolder =
      S_ISDIR(status.st_mode) && (status.st_mode & S_ISVTX) != 0 && status.st_uid == 0;
  if (othersWrite && !stickyRootFolder) {
    return path.string() + " is writable by its group or by others (mode " + Mode(status.st_mode) +
           ")";
  }
  return {};
}

// Loading a module runs its code as this user: the module file and every folder above it
// must be safe from other users (the rule sshd's StrictModes applies to key files). Both
// the path as given and the file it resolves to are checked, as either can be swapped.
void RefuseReplaceableModule(const std::string& path) {
  std::error_code error;
  std::filesystem::path real = std::filesystem::canonical(path, error);
  if (error) return;  // dlopen reports a missing file
  for (const std::filesystem::path& file :
       {std::filesystem::absolute(path).lexically_normal(), real}) {
    for (std::filesystem::path at = file;; at = at.parent_path()) {
      std::string why = Unsafe(at);
      if (!why.empty()) {
        throw runtime::Error(runtime::kPathFileAccessError,
                             "Refusing to load the driver module " + path + ": " + why +
                                 ", so another user could replace the module");
      }
      if (!at.has_relative_path()) break;
    }
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
