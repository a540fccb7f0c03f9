// What a driver module's DllGetClassObject hands out: the factory of one driver class.
#pragma once

#include <memory>

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

}  // namespace host
