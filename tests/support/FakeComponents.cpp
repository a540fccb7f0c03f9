#include "tests/support/FakeComponents.h"

#include "platform/odbc/OdbcConnection.h"
#include "platform/utility/ProfileFile.h"
#include "runtime/Error.h"

namespace testsupport {
namespace {

class RecordingError : public host::HostError {
 public:
  explicit RecordingError(std::vector<ShownError>& shown) : shown_(shown) {}
  void Show(const std::string& module, const std::string& source, const std::string& description,
            int32_t number, const std::string& location) override {
    shown_.push_back({module, source, description, number, location});
  }

 private:
  std::vector<ShownError>& shown_;
};

template <typename Result, typename... Args>
Result CreateWith(const std::function<Result(Args...)>& factory, Args... args) {
  if (!factory) throw runtime::Error(429, "ActiveX component can't create object");
  return factory(args...);
}

}  // namespace

TempFileSystem::TempFileSystem(const TempFolder& root)
    : log_(root.Subfolder("log")),
      settings_(root.Subfolder("settings")),
      components_(root.Subfolder("components")),
      data_(root.Subfolder("data")) {}

std::string TempFileSystem::JoinPath(const std::string& folder, const std::string& fileName) const {
  return folder + "/" + fileName;
}

FakeComponents::FakeComponents() : fileSystem_(root_) {}

std::unique_ptr<host::Connection> FakeComponents::CreateConnection() {
  ++connectionsCreated;
  return std::make_unique<platform::OdbcConnection>();
}

std::unique_ptr<host::HostTimer> FakeComponents::CreateTimer() {
  return CreateWith(timerFactory);
}

std::unique_ptr<host::HostError> FakeComponents::CreateError() {
  return std::make_unique<RecordingError>(shownErrors);
}

std::unique_ptr<host::SettingsFile> FakeComponents::OpenSettingsFile(const std::string& path) {
  return std::make_unique<platform::ProfileFile>(path);
}

std::shared_ptr<host::DatabaseSession> FakeComponents::CreateDatabaseSession() {
  return CreateWith(databaseSessionFactory);
}

std::unique_ptr<host::HostRecord> FakeComponents::CreateRecord(host::RecordKind kind) {
  return CreateWith(recordFactory, kind);
}

std::unique_ptr<host::HostSubgroup> FakeComponents::CreateSubgroup() {
  return CreateWith(subgroupFactory);
}

std::unique_ptr<host::SelectionDialog> FakeComponents::CreateSelectionDialog(
    host::SelectionKind kind) {
  return CreateWith(selectionDialogFactory, kind);
}

std::unique_ptr<host::DataLinkDialog> FakeComponents::CreateDataLinkDialog() {
  return CreateWith(dataLinkDialogFactory);
}

}  // namespace testsupport
