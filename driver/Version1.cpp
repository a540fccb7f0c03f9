#include "driver/Version1.h"

#include "common/ErrorDisplay.h"
#include "driver/ModuleFile.h"
#include "driver/ObjectCount.h"
#include "driver/VersionInfo.h"
#include "host/SessionNumber.h"
#include "runtime/Text.h"
#include "runtime/Variant.h"

namespace driver {
Version1::Version1(host::Components& components, WindowsSource windows)
    : components_(components), windows_(std::move(windows)) {
  ObjectCount::Created();
}

Version1::~Version1() {
  ObjectCount::Released();
}

void Version1::SetParent(std::shared_ptr<host::DriverParent> parent) {
  common::ShowingErrors(components_, "Version1.IDriver_Parent",
                        [&] { parent_ = std::move(parent); });
}

host::Bool16 Version1::Initialize(std::shared_ptr<host::DriverParent> parent,
                                  const std::string& name) {
  host::Bool16 result = host::kFalse;
  common::ShowingErrors(components_, "Version1.IDriver_Initialize", [&] {
    parent_ = parent;
    hostNotify_ = std::dynamic_pointer_cast<host::HostNotify>(parent);
    if (!hostNotify_) throw runtime::Error(runtime::kTypeMismatch);
    configuration_ = std::make_shared<config::Configuration1>(components_);
    InitializeDatabaseObject();
    configuration_->SetConfigurationName(name);
    result = host::kTrue;
  });
  return result;
}

// Without an error handler of its own: a failure reaches the host.
void Version1::ShowAbout() {
  windows_().ShowAboutBox(kProductName, kProductVersion, ModuleFilePath());
}

host::Bool16 Version1::ShowSetup(host::Bool16 modal) {
  host::Bool16 result = host::kFalse;
  common::ShowingErrors(components_, "Version1.IDriver_ShowSetup", [&] {
    if (driverState_ == host::kDriverRunning) {
      components_.MessageBox("Already Running. Can't configure at this time.");
      return;
    }
    if (driverState_ == host::kDriverConfiguring && moSetup_ && moSetup_->IsLoaded()) {
      moSetup_->BringToFront();
      return;
    }
    ChangeState(host::kDriverConfiguring);
    // Held here as well: an Unload while the dialog is shown modally releases only moSetup.
    const std::shared_ptr<ui::SetupWindow> setup = windows_().CreateSetupWindow(components_);
    setupUpdate_ = setup->SetupUpdate().Subscribe(
        [this](config::Configuration1& edited, bool&) { moSetup_SetupUpdate(edited); });
    setupAborted_ = setup->SetupAborted().Subscribe([this] { moSetup_SetupAborted(); });
    moSetup_ = setup;
    // By text, so that the dialog never edits the driver's own configuration.
    setup->Configuration().SetData(Configuration().GetData());
    setup->Configuration().SetDatabase(Configuration().Database());
    if (modal) {
      result = host::ToBool16(setup->ShowModal());
    } else {
      setup->ShowModeless();
    }
  });
  return result;
}

host::Bool16 Version1::ShowActivity() {
  host::Bool16 result = host::kFalse;
  common::ShowingErrors(components_, "Version1.IDriver_ShowActivity", [&] {
    // The engine is handed over only here: a window opened before the first start never
    // gets one.
    if (!activityWindow_) {
      auto window = windows_().CreateActivityWindow(components_);
      window->SetConfiguration(configuration_);
      window->SetEngine(moEngine_.get());
      activityWindow_ = std::move(window);
    }
    activityWindow_->Show();
    result = host::kTrue;
  });
  return result;
}

host::Bool16 Version1::Load(const runtime::Variant& data) {
  host::Bool16 result = host::kFalse;
  common::ShowingErrors(components_, "Version1.IDriver_Load", [&] {
    const std::string text = runtime::ToText(data);
    // An empty text splits into no lines at all, so asking for the first is out of range.
    if (text.empty()) throw runtime::Error(runtime::kSubscriptOutOfRange);
    const std::string firstLine = runtime::Split(text, "\r\n").front();
    Configuration().SetData(
        components_.TextCodec().DecodeText(host::kConfigurationCodecKey, firstLine));
    result = host::kTrue;
  });
  return result;
}

std::string Version1::GetConfiguration() {
  std::string result;
  common::ShowingErrors(components_, "Version1.IDriver_GetConfiguration", [&] {
    result =
        components_.TextCodec().EncodeText(host::kConfigurationCodecKey, Configuration().GetData());
  });
  return result;
}

std::string Version1::Name() {
  std::string result;
  common::ShowingErrors(components_, "Version1.IDriver_Name",
                        [&] { result = Configuration().ConfigurationName(); });
  return result;
}

std::string Version1::ProductName() {
  std::string result;
  common::ShowingErrors(components_, "Version1.IDriver_ProductName",
                        [&] { result = kProductName; });
  return result;
}

host::Bool16 Version1::StartDriver() {
  host::Bool16 result = host::kFalse;
  common::ShowingErrors(components_, "Version1.IDriver_StartDriver", [&] {
    if (!Configuration().Active()) return;
    if (!moEngine_) {
      moEngine_ = std::make_unique<engine::Engine1>(components_);
      engineStarted_ = moEngine_->EngineStarted.Subscribe([this] { moEngine_EngineStarted(); });
      engineStopped_ = moEngine_->EngineStopped.Subscribe([this] { moEngine_EngineStopped(); });
    }
    result = host::ToBool16(moEngine_->StartEngine(configuration_));
  });
  return result;
}

host::Bool16 Version1::StopDriver() {
  host::Bool16 result = host::kFalse;
  common::ShowingErrors(components_, "Version1.IDriver_StopDriver", [&] {
    if (!Engine().IsRunning()) return;
    result = host::ToBool16(Engine().StopEngine());
    ChangeState(host::kDriverStopped);
  });
  return result;
}

host::Bool16 Version1::PauseDriver() {
  host::Bool16 result = host::kFalse;
  common::ShowingErrors(components_, "Version1.IDriver_PauseDriver",
                        [&] { result = host::ToBool16(ChangeState(host::kDriverPaused)); });
  return result;
}

void Version1::QueryUnload(host::Bool16& cancel, int32_t) {
  common::ShowingErrors(components_, "Version1.IDriver_QueryUnload", [&] {
    if (moSetup_ && moSetup_->IsLoaded()) {
      moSetup_->Unload();
      if (moSetup_->IsLoaded()) cancel = host::kTrue;
    }
    if (activityWindow_ && activityWindow_->IsLoaded()) {
      activityWindow_->Unload();
      if (activityWindow_->IsLoaded()) cancel = host::kTrue;
    }
    if (cancel) components_.Beep();
  });
}

void Version1::Unload() {
  common::ShowingErrors(components_, "Version1.IDriver_Unload", [&] {
    parent_.reset();
    hostNotify_.reset();
    setupUpdate_.Reset();
    setupAborted_.Reset();
    moSetup_.reset();
  });
}

runtime::Variant Version1::Property(const runtime::Variant&) {
  return {};
}

void Version1::LetProperty(const runtime::Variant&, const runtime::Variant&) {}

void Version1::SetProperty(const runtime::Variant&, std::shared_ptr<void>) {}

bool Version1::ChangeState(int32_t newState) {
  return runtime::RaisingFrom("Version1.ChangeState", [&] {
    if (newState == driverState_) return false;
    driverState_ = newState;
    if (!hostNotify_) throw runtime::Error(runtime::kObjectNotSet);
    hostNotify_->StateChanged(*this);
    return true;
  });
}

void Version1::InitializeDatabaseObject() {
  runtime::RaisingFrom("Version1.InitializeDatabaseObject", [&] {
    std::shared_ptr<host::DatabaseSession> session = components_.CreateDatabaseSession();
    configuration_->SetDatabase(session);
    session->Initialize(host::SessionNumber());
    host::DatabaseSettings& settings = session->Settings();
    if (!parent_) throw runtime::Error(runtime::kObjectNotSet);
    std::shared_ptr<host::ApplicationDatabase> application = parent_->Database();
    if (!application) throw runtime::Error(runtime::kObjectNotSet);
    std::shared_ptr<host::DatabaseSession> hostSession = ResolveDatabase(application->Session());
    settings.SetConnection(hostSession->Settings().Connection());
    session->Open(1, 0);
  });
}

std::shared_ptr<host::DatabaseSession> Version1::ResolveDatabase(
    std::shared_ptr<host::DatabaseSession> database) {
  return runtime::RaisingFrom("Version1.ResolveDatabase", [&] {
    if (!database) throw runtime::Error(runtime::kObjectNotSet);
    return database;
  });
}

void Version1::moEngine_EngineStarted() {
  common::ShowingErrors(components_, "Version1.moEngine_EngineStarted",
                        [&] { ChangeState(host::kDriverRunning); });
}

void Version1::moEngine_EngineStopped() {
  ChangeState(host::kDriverStopped);
}

void Version1::moSetup_SetupUpdate(config::Configuration1& edited) {
  common::ShowingErrors(components_, "Version1.moSetup_SetupUpdate", [&] {
    Configuration().SetData(edited.GetData());
    if (!hostNotify_) throw runtime::Error(runtime::kObjectNotSet);
    hostNotify_->ConfigurationChanged(*this);
    ChangeState(host::kDriverStopped);
  });
}

void Version1::moSetup_SetupAborted() {
  common::ShowingErrors(components_, "Version1.moSetup_SetupAborted",
                        [&] { ChangeState(host::kDriverStopped); });
}

config::Configuration1& Version1::Configuration() const {
  if (!configuration_) throw runtime::Error(runtime::kObjectNotSet);
  return *configuration_;
}

engine::Engine1& Version1::Engine() const {
  if (!moEngine_) throw runtime::Error(runtime::kObjectNotSet);
  return *moEngine_;
}

}  // namespace driver
