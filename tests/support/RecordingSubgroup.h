// A host subgroup that writes every call as one line of text into a shared list, so a
// test compares what reached the host with a literal. A call can be made to fail.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "host/HostSubgroup.h"

namespace testsupport {

struct SubgroupCalls {
  std::vector<std::string> lines;
  // Called with each line before it is recorded; throw from it to fail that call.
  std::function<void(const std::string&)> check;
  // The lines from the last Clear on: what the last subgroup received.
  std::vector<std::string> SinceClear() const;
};

class RecordingSubgroup : public host::HostSubgroup {
 public:
  explicit RecordingSubgroup(std::shared_ptr<SubgroupCalls> calls) : calls_(std::move(calls)) {}

  void SetFlag(bool flag) override;
  void SetDatabase(std::shared_ptr<host::DatabaseSession> database) override;
  void Clear() override;
  void SetGroup(host::DescriptorKind kind, const std::string& group) override;
  void SetName(host::DescriptorKind kind, const std::string& name) override;
  void SetSize(int32_t size) override;
  void SetTime(runtime::Date time) override;
  void SetLot(const std::string& lot) override;
  void LookupTestGroup(const std::string& group) override;
  void LookupTest(const std::string& test) override;
  void AddReading(double value, int16_t sample, int32_t reserved, const std::string& serialNumber,
                  const std::string& defect) override;
  void Save(int32_t options) override;

 private:
  void Record(const std::string& line);

  std::shared_ptr<SubgroupCalls> calls_;
};

}  // namespace testsupport
