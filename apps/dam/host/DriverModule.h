// A driver module loaded into the host: the shared library and its exports. Each driver a
// host runs side by side loads the module through an object of its own: the loader counts
// the loads, so unloading one leaves the module in place for the others, and a module whose
// objects are still alive (DllCanUnloadNow, counted across threads) is never unloaded.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/ClassFactory.h"

namespace dam {

class DriverModule {
 public:
  // Loads the module; a file that is not a driver module is an error naming it. A module
  // that another user could replace is refused (error 75 naming the file or folder): the
  // file and every folder above it must be owned by this user or root and not writable by
  // group or others, except a sticky folder of root's such as /tmp.
  explicit DriverModule(const std::string& path);
  ~DriverModule();
  DriverModule(const DriverModule&) = delete;
  DriverModule& operator=(const DriverModule&) = delete;

  // The factory of `className`, or an error when the module has no such class.
  host::ClassFactory& ClassObject(const std::string& className) const;
  int RegisterServer() const { return registerServer_(); }
  int UnregisterServer() const { return unregisterServer_(); }
  bool CanUnloadNow() const { return canUnloadNow_(); }
  // What the module's own reader would ignore, misread or stop at in `text`.
  std::vector<host::CheckFinding> CheckConfiguration(host::Components& components,
                                                     const std::string& text) const;

 private:
  void* Export(const char* name) const;

  std::string path_;
  void* handle_ = nullptr;
  host::DllGetClassObjectFunction getClassObject_ = nullptr;
  host::DllRegisterServerFunction registerServer_ = nullptr;
  host::DllUnregisterServerFunction unregisterServer_ = nullptr;
  host::DllCanUnloadNowFunction canUnloadNow_ = nullptr;
  host::DllCheckConfigurationFunction checkConfiguration_ = nullptr;
};

// The module registered for `className`, else the one installed with dam for it
// (InstalledModules.h), loaded; an error when there is neither.
std::unique_ptr<DriverModule> LoadRegisteredModule(const std::string& className);

}  // namespace dam
