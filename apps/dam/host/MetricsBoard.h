// What `dam run` tells a monitoring system about its drivers: whoever runs a driver publishes
// a snapshot of it here, from the driver's own thread, after each look at it; the metrics
// server reads the board from its own thread. Snapshots are per configuration, so that many
// drivers can share one board.
#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>

#include "runtime/Date.h"

namespace dam {

struct ConfigurationMetrics {
  // RunStatus::StateName of the driver's state.
  std::string state;
  int64_t saved = 0;
  // Collection errors since the start, by their description.
  std::map<std::string, int64_t> errors;
  std::optional<runtime::Date> lastCollection, nextCollection;
  std::optional<double> lastCollectionSeconds;
  bool historianReachable = false;
  bool spcReachable = false;
  // How late a collection may be before the driver counts as stuck.
  double retrySeconds = 0;
};

// The answer of /healthz: healthy, or the reasons it is not, one a line.
struct Health {
  bool healthy;
  std::string reasons;
};

class MetricsBoard {
 public:
  void Publish(const std::string& configuration, const ConfigurationMetrics& metrics);
  // A configuration that no longer runs in this process.
  void Remove(const std::string& configuration);
  // Subgroups waiting in the spool; the spool is the process's, not a configuration's.
  void PublishSpool(int64_t depth);

  // Prometheus text exposition format (version 0.0.4).
  std::string Render() const;
  // Healthy while every configuration's driver is running and none has a collection planned
  // more than its retry period before `now`; nothing published is not healthy.
  Health Check(runtime::Date now) const;

 private:
  mutable std::mutex mutex_;
  std::map<std::string, ConfigurationMetrics> configurations_;
  int64_t spooled_ = 0;
};

}  // namespace dam
