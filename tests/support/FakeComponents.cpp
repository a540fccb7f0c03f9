#include "tests/support/FakeComponents.h"

#include <cmath>

#include "platform/odbc/OdbcConnection.h"
#include "platform/utility/ProfileFile.h"
#include "runtime/Error.h"
#include "runtime/Variant.h"

namespace testsupport {
namespace {

constexpr double kSecondsPerDay = 86400.0;

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

runtime::Date FakeDateMath::SerialToDate(int32_t serial) const {
  return runtime::SerialTimeToDate(serial);
}

int32_t FakeDateMath::DateToSerial(runtime::Date date) const {
  return runtime::DateToSerialTime(date);
}

runtime::Date FakeDateMath::NextPeriodTime(runtime::Date base, runtime::Date now, int32_t unit,
                                           int32_t interval) const {
  static constexpr int64_t kUnitSeconds[] = {1, 60, 3600, 86400};
  if (unit < 0 || unit > 3 || interval < 1) throw runtime::Error(runtime::kInvalidProcedureCall);
  const double step = static_cast<double>(kUnitSeconds[unit] * interval);
  // The tolerance, far below a second, absorbs the rounding of dates kept as day fractions.
  const double elapsed = (now.serial - base.serial) * kSecondsPerDay;
  const double k = std::floor(elapsed / step + 1e-9) + 1;
  return runtime::Date{base.serial + k * step / kSecondsPerDay};
}

bool FakeComparer::CompareValues(const runtime::Variant& value1, int32_t evaluation,
                                 const runtime::Variant& value2) const {
  int order;
  if (runtime::IsNumeric(value1) && runtime::IsNumeric(value2)) {
    const double a = runtime::ToDouble(value1), b = runtime::ToDouble(value2);
    order = a < b ? -1 : (a > b ? 1 : 0);
  } else {
    order = runtime::ToText(value1).compare(runtime::ToText(value2));
  }
  switch (evaluation) {
    case 1:
      return order == 0;
    case 2:
      return order > 0;
    case 3:
      return order >= 0;
    case 4:
      return order < 0;
    case 5:
      return order <= 0;
    case 6:
      return order != 0;
    default:
      return false;
  }
}

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

}  // namespace testsupport
