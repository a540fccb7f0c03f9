// A subgroup as it is saved into the SPC database and read back from it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/spcdb/SpcReadings.h"
#include "platform/spcdb/SpcSubgroupId.h"
#include "runtime/Date.h"

namespace platform {

// A record named within a group: a part and its part group, a user-defined descriptor
// and its descriptor group.
struct SpcName {
  std::string group;
  std::string name;
  friend bool operator==(const SpcName&, const SpcName&) = default;
};

struct SpcSubgroupData {
  // Given by the database when saved.
  SpcSubgroupId id = 0;
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
  // In the order they were added.
  SpcReadings readings;
  friend bool operator==(const SpcSubgroupData&, const SpcSubgroupData&) = default;
};

}  // namespace platform
