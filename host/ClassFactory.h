// What a driver module's DllGetClassObject hands out, the factory of one driver class, and
// the signatures of the module's exports.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/CheckFinding.h"
#include "host/IDriver.h"

namespace host {

class Components;

class ClassFactory {
 public:
  virtual ~ClassFactory() = default;
  // `components` outlives the driver.
  virtual std::shared_ptr<IDriver> CreateInstance(Components& components) = 0;
};

// The exports of a driver module, by name, for the host's dlsym.
using DllGetClassObjectFunction = ClassFactory* (*)(const char* className);
using DllRegisterServerFunction = int (*)();
using DllUnregisterServerFunction = int (*)();
using DllCanUnloadNowFunction = bool (*)();
// DllCheckConfiguration: the findings, in line order, of the module's own reading of `text`, a
// configuration text as the host hands it to Load before encoding (lines joined by CR LF).
// Tests the data link through `components`.
using DllCheckConfigurationFunction = void (*)(Components& components, const std::string& text,
                                               std::vector<CheckFinding>& findings);

}  // namespace host
