#include "tests/support/RecordingSubgroup.h"

#include <algorithm>

#include "runtime/Conversions.h"

namespace testsupport {
namespace {

const char* KindName(host::DescriptorKind kind) {
  switch (kind) {
    case host::DescriptorKind::Part:
      return "Part";
    case host::DescriptorKind::Process:
      return "Process";
    case host::DescriptorKind::Job:
      return "Job";
    case host::DescriptorKind::Shift:
      return "Shift";
    case host::DescriptorKind::UserDefined:
      return "UserDefined";
  }
  return "?";
}

}  // namespace

std::vector<std::string> SubgroupCalls::SinceClear() const {
  const auto clear = std::find(lines.rbegin(), lines.rend(), "Clear");
  return {clear.base(), lines.end()};
}

void RecordingSubgroup::Record(const std::string& line) {
  if (calls_->check) calls_->check(line);
  calls_->lines.push_back(line);
}

void RecordingSubgroup::SetFlag(bool flag) {
  Record(std::string("SetFlag ") + (flag ? "true" : "false"));
}

void RecordingSubgroup::SetDatabase(std::shared_ptr<host::DatabaseSession> database) {
  Record(database ? "SetDatabase" : "SetDatabase none");
}

void RecordingSubgroup::Clear() {
  Record("Clear");
}

void RecordingSubgroup::SetGroup(host::DescriptorKind kind, const std::string& group) {
  Record(std::string("SetGroup ") + KindName(kind) + " " + group);
}

void RecordingSubgroup::SetName(host::DescriptorKind kind, const std::string& name) {
  Record(std::string("SetName ") + KindName(kind) + " " + name);
}

void RecordingSubgroup::SetSize(int32_t size) {
  Record("SetSize " + std::to_string(size));
}

void RecordingSubgroup::SetTime(runtime::Date time) {
  Record("SetTime " + runtime::FormatGeneralDate(time));
}

void RecordingSubgroup::SetLot(const std::string& lot) {
  Record("SetLot " + lot);
}

void RecordingSubgroup::LookupTestGroup(const std::string& group) {
  Record("LookupTestGroup " + group);
}

void RecordingSubgroup::LookupTest(const std::string& test) {
  Record("LookupTest " + test);
}

void RecordingSubgroup::AddReading(double value, int16_t sample, int32_t reserved,
                                   const std::string& serialNumber, const std::string& defect) {
  Record("AddReading " + runtime::NumberToText(value) + " " + std::to_string(sample) + " " +
         std::to_string(reserved) + " [" + serialNumber + "] [" + defect + "]");
}

void RecordingSubgroup::Save(int32_t options) {
  Record("Save " + std::to_string(options));
}

}  // namespace testsupport
