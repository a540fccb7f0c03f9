// One subgroup being built for the SPC database: descriptors, then readings, then Save.
// Clear starts a new subgroup on the same object.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "runtime/Date.h"

namespace host {

class DatabaseSession;

// The descriptors that have a group and a name.
enum class DescriptorKind { Part, Process, Job, Shift, UserDefined };

// A negative size is refused.
constexpr bool IsSubgroupSize(int32_t size) {
  return size >= 0;
}

class HostSubgroup {
 public:
  virtual ~HostSubgroup() = default;
  virtual void SetFlag(bool flag) = 0;
  virtual void SetDatabase(std::shared_ptr<DatabaseSession> database) = 0;
  virtual void Clear() = 0;

  // Group first, then name. For UserDefined each name completes one more user-defined
  // descriptor with the group set before it.
  virtual void SetGroup(DescriptorKind kind, const std::string& group) = 0;
  virtual void SetName(DescriptorKind kind, const std::string& name) = 0;
  virtual void SetSize(int32_t size) = 0;
  virtual void SetTime(runtime::Date time) = 0;
  virtual void SetLot(const std::string& lot) = 0;

  // Selects the test that the next readings belong to; an unknown name is an error where
  // the database does not create it.
  virtual void LookupTestGroup(const std::string& group) = 0;
  virtual void LookupTest(const std::string& test) = 0;
  virtual void AddReading(double value, int16_t sample, int32_t reserved,
                          const std::string& serialNumber, const std::string& defect) = 0;

  // Stores the whole subgroup with all its readings, or nothing (an error).
  virtual void Save(int32_t options) = 0;
};

}  // namespace host
