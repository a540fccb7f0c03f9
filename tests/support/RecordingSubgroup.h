// A host subgroup that writes every call as one line of text into a list the test owns, so
// a test compares what reached the host with a literal.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/HostSubgroup.h"
#include "runtime/Conversions.h"
#include "runtime/Date.h"

namespace testsupport {

class RecordingSubgroup : public host::HostSubgroup {
 public:
  explicit RecordingSubgroup(std::vector<std::string>& calls) : calls_(calls) {}

  void SetFlag(bool flag) override { Add("SetFlag ", flag ? "true" : "false"); }
  void SetDatabase(std::shared_ptr<host::DatabaseSession> database) override {
    Add("SetDatabase", database ? "" : " none");
  }
  void Clear() override { Add("Clear", ""); }
  void SetGroup(host::DescriptorKind kind, const std::string& group) override {
    Add("SetGroup ", Kind(kind) + group);
  }
  void SetName(host::DescriptorKind kind, const std::string& name) override {
    Add("SetName ", Kind(kind) + name);
  }
  void SetSize(int32_t size) override { Add("SetSize ", std::to_string(size)); }
  void SetTime(runtime::Date time) override { Add("SetTime ", runtime::FormatGeneralDate(time)); }
  void SetLot(const std::string& lot) override { Add("SetLot ", lot); }
  void LookupTestGroup(const std::string& group) override { Add("LookupTestGroup ", group); }
  void LookupTest(const std::string& test) override { Add("LookupTest ", test); }
  void AddReading(double value, int16_t sample, int32_t reserved, const std::string& serialNumber,
                  const std::string& defect) override {
    Add("AddReading ", runtime::ExactNumberText(value) + " " + std::to_string(sample) + " " +
                           std::to_string(reserved) + " [" + serialNumber + "] [" + defect + "]");
  }
  void Save(int32_t options) override { Add("Save ", std::to_string(options)); }

 private:
  void Add(const char* call, const std::string& arguments) { calls_.push_back(call + arguments); }
  static std::string Kind(host::DescriptorKind kind) {
    const char* names[] = {"Part ", "Process ", "Job ", "Shift ", "UserDefined "};
    return names[static_cast<int>(kind)];
  }

  std::vector<std::string>& calls_;
};

}  // namespace testsupport
