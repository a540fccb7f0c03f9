// `dam subgroups --follow --ndjson`: the newest subgroups, then every subgroup as it is
// saved, one compact JSON object per line, until SIGINT or SIGTERM.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <ostream>
#include <string>

#include "apps/dam/host/DamHost.h"
#include "apps/dam/host/StopSignals.h"
#include "host/Components.h"
#include "platform/spcdb/SpcSession.h"

namespace dam {

// SIGINT and SIGTERM end the follow, also while it waits between looks or inside a query.
// Make it before anything starts a thread, as StopSignals.
class FollowStop {
 public:
  FollowStop();
  // Waits up to `time`; true once a stop was asked for.
  bool WaitFor(std::chrono::milliseconds time);
  bool Requested() const { return signals_.Requested(); }
  void EndAsSignalled() const { signals_.EndAsSignalled(); }

 private:
  std::mutex mutex_;
  std::condition_variable asked_;
  bool stop_ = false;
  StopSignals signals_;
};

// `last` for following every subgroup the database holds, from its first.
inline constexpr int32_t kEverySubgroup = -1;

// Writes the last `last` subgroups, then each one saved after them, looking every
// `interval`; each line is flushed as written. A database that does not answer is said
// once on `errors` and asked again at the next look, and so is an SQLite file of
// `connection` that is no longer there. Gives the exit status: 0 when stopped, 1 when `out`
// cannot be written; other database errors are raised.
int WriteSubgroupsAsSaved(platform::SpcSession& session, const std::string& connection,
                          int32_t last, std::ostream& out, std::ostream& errors, FollowStop& stop,
                          std::chrono::milliseconds interval = std::chrono::milliseconds(500));

// The host's session on the SPC database at `connection`, once it is there and answers:
// an SQLite file that does not exist yet, or a database that does not answer, is said once
// on `errors` and looked for again every `interval`, as tail -F waits for a file, and so is
// its coming. Nullptr when a stop comes first; other failures as OpenSpcForReading.
std::unique_ptr<DamHost> WaitForSpc(
    host::Components& components, const std::string& connection, std::ostream& errors,
    FollowStop& stop, std::chrono::milliseconds interval = std::chrono::milliseconds(500));

}  // namespace dam
