// A subgroup as it is saved into the SPC database and read back from it.
#pragma once

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "runtime/Date.h"

namespace platform {

// A record named within a group: a part and its part group, a user-defined descriptor
// and its descriptor group.
struct SpcName {
  std::string group;
  std::string name;
  friend bool operator==(const SpcName&, const SpcName&) = default;
};

struct SpcReading {
  std::string testGroup;
  std::string test;
  int32_t sample = 0;
  double value = 0;
  std::string serialNumber;
  std::string defect;
  friend bool operator==(const SpcReading&, const SpcReading&) = default;
};

struct SpcSubgroupData {
  // Given by the database when saved.
  int32_t id = 0;
  runtime::Date time;
  int32_t size = 0;
  int32_t sessionNumber = 0;
  // The name of the configuration that collected it; none for subgroups saved before the
  // database kept it, or by a host that did not say.
  std::optional<std::string> configuration;
  std::optional<SpcName> part, process, job, shift;
  std::optional<std::string> lot;
  // User-defined descriptors, in the order they were set.
  std::vector<SpcName> descriptors;
  // In the order they were added; a deque, so that tens of thousands of readings grow
  // without being copied and without one block twice their size.
  std::deque<SpcReading> readings;
  friend bool operator==(const SpcSubgroupData&, const SpcSubgroupData&) = default;
};

}  // namespace platform
