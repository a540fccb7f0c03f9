#include "apps/dam/host/DriverHandle.h"

#include <filesystem>
#include <optional>
#include <utility>

#include "apps/dam/host/MissingSpcFile.h"
#include "apps/shared/Failures.h"
#include "host/ComponentsWrapper.h"
#include "host/HostTextCodec.h"
#include "runtime/Text.h"
#include "runtime/Variant.h"

namespace dam {

// The platform's components, handing the data link test of the reading on to the module's
// check and the driver's Load while the handle starts, with timers that time collections;
// for a user who waits (SetUserWaits), window connections outside a collection.
class DriverHandle::StartComponents : public host::ComponentsWrapper {
 public:
  StartComponents(host::Components& target, CollectionTimes& times)
      : ComponentsWrapper(target), times_(times) {}

  std::unique_ptr<host::HostTimer> CreateTimer() override {
    return std::make_unique<CollectionTimer>(Target().CreateTimer(), times_);
  }

  std::unique_ptr<host::Connection> CreateConnection() override {
    if (userWaits_ && !times_.ticking) return Target().CreateWindowConnection();
    return Target().CreateConnection();
  }
  void SetUserWaits() { userWaits_ = true; }

  std::optional<host::DataLinkTest> SharedDataLinkTest(const std::string& link) override {
    if (shared_ && shared_->first == link) return shared_->second;
    return std::nullopt;
  }
  void Share(const std::string& link, host::DataLinkTest test) {
    shared_.emplace(link, std::move(test));
  }
  void StopSharing() { shared_.reset(); }

 private:
  CollectionTimes& times_;
  bool userWaits_ = false;
  std::optional<std::pair<std::string, host::DataLinkTest>> shared_;
};

DriverHandle::DriverHandle()
    : components_(std::make_unique<StartComponents>(platform_, collections_)),
      reading_(*components_) {}

DriverHandle::~DriverHandle() {
  Unload();
}

void DriverHandle::Read(const std::string& text) {
  reading_.SetData(text);
  // A blank link is not tested, so there is nothing to share.
  if (!runtime::TrimSpaces(reading_.DataLink()).empty()) {
    components_->Share(reading_.DataLink(), {reading_.DataLinkState(), reading_.DataLinkError()});
  }
}

void DriverHandle::DropLinkTest() {
  components_->StopSharing();
}

void DriverHandle::SetUserWaits() {
  components_->SetUserWaits();
}

std::string DriverHandle::NameFor(const std::string& file) const {
  const std::string& name = reading_.ConfigurationName();
  return name.empty() ? std::filesystem::path(file).stem().string() : name;
}

void DriverHandle::OpenModule(const std::string& driverClass) {
  module_ = LoadRegisteredModule(driverClass);
  driverClass_ = driverClass;
}

std::vector<host::CheckFinding> DriverHandle::Check(const std::string& text) {
  return module_->CheckConfiguration(*components_, text);
}

void DriverHandle::Create(const std::string& spc, const std::string& name) {
  platform_.SetConfigurationName(name);
  const std::string connection = SpcConnection(*components_, spc);
  host_ = apps::Doing(apps::kExitUnreachable, "cannot open the SPC database",
                      [&] { return std::make_shared<DamHost>(*components_, connection); });
  driver_ = module_->ClassObject(driverClass_).CreateInstance(*components_);
  if (!driver_->Initialize(host_, name)) {
    throw apps::Failure(apps::kExitFailure, "the driver could not be initialised");
  }
}

void DriverHandle::Load(const std::string& text) {
  const std::string encoded =
      components_->TextCodec().EncodeText(host::kConfigurationCodecKey, text);
  const bool loaded = driver_->Load(runtime::Variant(encoded));
  // From here on a test is a new one: the start or reload is over.
  components_->StopSharing();
  if (!loaded)
    throw apps::Failure(apps::kExitFailure, "the driver could not load the configuration");
}

std::string DriverHandle::Text() {
  const std::string encoded = driver_->GetConfiguration();
  // The driver gives nothing when it fails: that is no configuration to write anywhere.
  if (encoded.empty()) {
    throw apps::Failure(apps::kExitFailure, "the driver could not give its configuration");
  }
  return components_->TextCodec().DecodeText(host::kConfigurationCodecKey, encoded);
}

bool DriverHandle::QueryUnload() {
  host::Bool16 cancel = host::kFalse;
  driver_->QueryUnload(cancel, 0);
  unloadAsked_ = !cancel;
  return !cancel;
}

void DriverHandle::Unload() {
  if (!driver_) return;
  if (!unloadAsked_) QueryUnload();
  driver_->Unload();
  driver_.reset();
}

}  // namespace dam
