// The driver object the host creates: it owns the configuration and the engine, keeps the
// driver state and reports every change of it to the host.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "config/Configuration1.h"
#include "driver/WindowsLibrary.h"
#include "engine/Engine1.h"
#include "host/Components.h"
#include "host/DriverState.h"
#include "host/IDriver.h"
#include "ui/Windows.h"

namespace driver {

class Version1 : public host::IDriver, public std::enable_shared_from_this<Version1> {
 public:
  // `windows` is asked for the windows when the first one is shown.
  Version1(host::Components& components, WindowsSource windows);
  ~Version1() override;

  std::shared_ptr<host::DriverParent> Parent() override { return parent_; }
  void SetParent(std::shared_ptr<host::DriverParent> parent) override;
  host::Bool16 Initialize(std::shared_ptr<host::DriverParent> parent,
                          const std::string& name) override;
  void ShowAbout() override;
  host::Bool16 ShowSetup(host::Bool16 modal) override;
  host::Bool16 ShowActivity() override;
  host::Bool16 Load(const runtime::Variant& data) override;
  std::string GetConfiguration() override;
  std::string Name() override;
  std::string ProductName() override;
  host::Bool16 StartDriver() override;
  host::Bool16 StopDriver() override;
  host::Bool16 PauseDriver() override;
  int32_t State() override { return driverState_; }
  void QueryUnload(host::Bool16& cancel, int32_t mode) override;
  void Unload() override;
  runtime::Variant Property(const runtime::Variant& name) override;
  void LetProperty(const runtime::Variant& name, const runtime::Variant& value) override;
  void SetProperty(const runtime::Variant& name, std::shared_ptr<void> object) override;

 private:
  bool ChangeState(int32_t newState);
  void InitializeDatabaseObject();
  std::shared_ptr<host::DatabaseSession> ResolveDatabase(
      std::shared_ptr<host::DatabaseSession> database);
  void moEngine_EngineStarted();
  void moEngine_EngineStopped();
  void moSetup_SetupUpdate(config::Configuration1& edited);
  void moSetup_SetupAborted();

  // The configuration and engine as the procedures use them: absent is error 91.
  config::Configuration1& Configuration() const;
  engine::Engine1& Engine() const;

  host::Components& components_;
  WindowsSource windows_;
  std::shared_ptr<host::DriverParent> parent_;
  std::shared_ptr<host::HostNotify> hostNotify_;
  std::shared_ptr<config::Configuration1> configuration_;
  int32_t driverState_ = host::kDriverStopped;
  std::unique_ptr<engine::Engine1> moEngine_;
  runtime::Subscription engineStarted_;
  runtime::Subscription engineStopped_;
  // After the engine, so that the window lets go of the engine's events first.
  std::unique_ptr<ui::ActivityWindow> activityWindow_;
  std::shared_ptr<ui::SetupWindow> moSetup_;
  runtime::Subscription setupUpdate_;
  runtime::Subscription setupAborted_;
};

}  // namespace driver
