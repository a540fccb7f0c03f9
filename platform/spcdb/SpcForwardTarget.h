// Where a spool forwards the subgroups it keeps: the SPC database as a session reaches it.
// The spool knows the database through this face only, so that a session may hold a spool.
#pragma once

#include <string>

#include "platform/spcdb/SpcSubgroupData.h"
#include "platform/spcdb/SpcWriter.h"

namespace platform {

class SpcForwardTarget {
 public:
  virtual ~SpcForwardTarget() = default;
  // Raises what the database answers when it cannot be reached.
  virtual void Reach() = 0;
  // Writes `subgroup` under `key` in one transaction of its own; raises on a failure.
  virtual SpcWritten Forward(const SpcSubgroupData& subgroup, const std::string& key) = 0;
};

}  // namespace platform
