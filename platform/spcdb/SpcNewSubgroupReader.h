// The subgroups saved in the SPC database after a given one, read as they come, by
// identifier: each subgroup is given once, in identifier order, and none is skipped. A writer
// may commit a lower identifier after a higher one (PostgreSQL hands identifiers out before
// the commit, and several hosts save at once), so an identifier missing below newer ones is
// waited for before anything above it is given; `holeWait` after a newer one was first seen it
// is taken for a save that was rolled back and never comes. Gaps seen together end together,
// however many there are: a reader behind a thousand unused identifiers waits once. A
// database that no longer holds the last subgroup given is another one, read from its first.
#pragma once

#include <chrono>
#include <cstdint>
#include <deque>
#include <vector>

#include "platform/spcdb/SpcSession.h"
#include "platform/spcdb/SpcSubgroupData.h"
#include "platform/spcdb/SpcSubgroupId.h"

namespace platform {

class SpcNewSubgroupReader {
 public:
  using Clock = std::chrono::steady_clock;

  // Gives what is saved after the subgroup `after`.
  SpcNewSubgroupReader(SpcSession& session, SpcSubgroupId after,
                       std::chrono::milliseconds holeWait = std::chrono::seconds(10));

  // The subgroups saved since the last call that can be given now, oldest first. Fails
  // with the database's error; the next call tries again from where this one started.
  std::vector<SpcSubgroupData> Poll(Clock::time_point now);

  // The identifier of the last subgroup given; lower than before once the database was
  // found replaced.
  SpcSubgroupId Last() const { return last_; }

 private:
  SpcSession& session_;
  SpcSubgroupId last_;
  std::chrono::milliseconds holeWait_;
  // When each newest identifier above last_ was first seen: one missing below `newest` has
  // been missing since `at`.
  struct Seen {
    SpcSubgroupId newest;
    Clock::time_point at;
  };
  std::deque<Seen> seen_;
};

}  // namespace platform
