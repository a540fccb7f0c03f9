// Where a spool forwards the subgroups it keeps: the SPC database as a session reaches it.
// The spool knows the database through this face only, so that a session may hold a spool.
#pragma once

#include <span>
#include <vector>

#include "platform/spcdb/SpcSpoolFile.h"
#include "platform/spcdb/SpcWriter.h"

namespace platform {

class SpcForwardTarget {
 public:
  virtual ~SpcForwardTarget() = default;
  // Raises what the database answers when it cannot be reached.
  virtual void Reach() = 0;
  // Writes each subgroup of `batch` under its key, all in one transaction of their own;
  // gives what was written for each, in order. Raises on a failure: then none was written.
  virtual std::vector<SpcWritten> Forward(std::span<const SpooledSubgroup> batch) = 0;
};

}  // namespace platform
