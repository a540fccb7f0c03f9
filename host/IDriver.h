// The interface through which the host drives a driver, and the host objects a driver
// talks back to.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "host/Bool16.h"
#include "runtime/Variant.h"

namespace host {

class DatabaseSession;
class IDriver;

// The host application's database object.
class ApplicationDatabase {
 public:
  virtual ~ApplicationDatabase() = default;
  virtual std::shared_ptr<DatabaseSession> Session() = 0;
};

// The host object that owns a driver (its Data Acquisition Manager).
class DriverParent {
 public:
  virtual ~DriverParent() = default;
  virtual std::shared_ptr<ApplicationDatabase> Database() = 0;
};

// The same parent seen through its notification interface.
class HostNotify {
 public:
  virtual ~HostNotify() = default;
  virtual void StateChanged(IDriver& driver) = 0;
  virtual void ConfigurationChanged(IDriver& driver) = 0;
};

class IDriver {
 public:
  virtual ~IDriver() = default;
  virtual std::shared_ptr<DriverParent> Parent() = 0;
  virtual void SetParent(std::shared_ptr<DriverParent> parent) = 0;
  virtual Bool16 Initialize(std::shared_ptr<DriverParent> parent, const std::string& name) = 0;
  // Shows no failure of its own: an error is raised to the host.
  virtual void ShowAbout() = 0;
  virtual Bool16 ShowSetup(Bool16 modal) = 0;
  virtual Bool16 ShowActivity() = 0;
  virtual Bool16 Load(const runtime::Variant& data) = 0;
  virtual std::string GetConfiguration() = 0;
  virtual std::string Name() = 0;
  virtual std::string ProductName() = 0;
  virtual Bool16 StartDriver() = 0;
  virtual Bool16 StopDriver() = 0;
  virtual Bool16 PauseDriver() = 0;
  virtual int32_t State() = 0;
  virtual void QueryUnload(Bool16& cancel, int32_t mode) = 0;
  virtual void Unload() = 0;
  virtual runtime::Variant Property(const runtime::Variant& name) = 0;
  virtual void LetProperty(const runtime::Variant& name, const runtime::Variant& value) = 0;
  virtual void SetProperty(const runtime::Variant& name, std::shared_ptr<void> object) = 0;
};

}  // namespace host
