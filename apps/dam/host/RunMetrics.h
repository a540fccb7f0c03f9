// The snapshot of one running configuration for the MetricsBoard, from what its host sees:
// the status (RunStatus), the collections its timer saw (CollectionTimes) and the spool.
// Made and used on the driver's thread, one per configuration.
#pragma once

#include <cstdint>

#include "apps/dam/host/CollectionTimer.h"
#include "apps/dam/host/MetricsBoard.h"
#include "apps/dam/host/RunStatus.h"
#include "config/Configuration1.h"

namespace dam {

class RunMetrics {
 public:
  // `configuration` is the host's reading, whose data link test tells whether the historian
  // answered before the first collection.
  explicit RunMetrics(const config::Configuration1& configuration);

  // After RunStatus read the new errors: the snapshot for `state` (RunStatus::StateName).
  // The historian counts as reachable after a collection that logged no failure to reach
  // it; the SPC database while nothing waits in the spool.
  ConfigurationMetrics Take(const std::string& state, const RunStatus& status,
                            const CollectionTimes& collections, int64_t spooled);

 private:
  const config::Configuration1& configuration_;
  bool historianReachable_;
  int64_t collectionsSeen_ = 0;
  int64_t historianErrorsSeen_ = 0;
};

}  // namespace dam
