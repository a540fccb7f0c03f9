// The module's exports: the four of a component server, and the check of configuration
// texts by this module's own reader. The class factory creates Version1; registration writes
// the module's own path into the host's driver registry.
#include <cstring>
#include <iostream>

#include "config/ConfigurationCheck.h"
#include "driver/ModuleFile.h"
#include "driver/ObjectCount.h"
#include "driver/Version1.h"
#include "driver/WindowsLibrary.h"
#include "host/ClassFactory.h"
#include "host/DriverRegistry.h"

namespace {

constexpr char kClassName[] = "oxaGEPDAD6.Version1";

class Version1Factory : public host::ClassFactory {
 public:
  std::shared_ptr<host::IDriver> CreateInstance(host::Components& components) override {
    return std::make_shared<driver::Version1>(components, driver::LoadWindowsLibrary);
  }
};

// Registration reports failures as a non-zero result, with the reason on stderr.
int Registering(const char* action, auto&& body) {
  try {
    body();
    return 0;
  } catch (const std::exception& e) {
    std::cerr << kClassName << ": " << action << " failed: " << e.what() << '\n';
    return 1;
  }
}

}  // namespace

extern "C" {

host::ClassFactory* DllGetClassObject(const char* className) {
  static Version1Factory factory;
  return className != nullptr && std::strcmp(className, kClassName) == 0 ? &factory : nullptr;
}

int DllRegisterServer() {
  return Registering("registration", [] {
    host::RegisterDriver({kClassName, driver::ModuleFilePath()});
  });
}

int DllUnregisterServer() {
  return Registering("unregistration", [] { host::UnregisterDriver(kClassName); });
}

bool DllCanUnloadNow() {
  return driver::ObjectCount::None();
}

void DllCheckConfiguration(host::Components& components, const std::string& text,
                           std::vector<host::CheckFinding>& findings) {
  findings = config::CheckConfiguration(components, text);
}
}
