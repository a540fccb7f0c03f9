#include "apps/dam/host/RunMetrics.h"

#include "common/DataLinkState.h"
#include "common/IntervalUnit.h"

namespace dam {
namespace {

// The engine's errors when the historian could not be reached or queried.
int64_t HistorianErrors(const std::map<std::string, int64_t>& counts) {
  int64_t errors = 0;
  for (const char* description : {"Unable to Access Database", "Unable to get record set"}) {
    if (const auto found = counts.find(description); found != counts.end()) {
      errors += found->second;
    }
  }
  return errors;
}

// The engine falls back to a minute when the retry settings cannot be planned by.
double RetrySeconds(const config::Configuration1& configuration) {
  constexpr double kUnitSeconds[] = {1, 60, 3600, 86400};
  if (!common::IsIntervalUnit(configuration.RetryUnit()) || configuration.RetryInterval() <= 0) {
    return 60;
  }
  return kUnitSeconds[configuration.RetryUnit()] * configuration.RetryInterval();
}

}  // namespace

RunMetrics::RunMetrics(const config::Configuration1& configuration)
    : configuration_(configuration),
      historianReachable_(configuration.DataLinkState() == common::kConnectionReady) {}

ConfigurationMetrics RunMetrics::Take(const std::string& state, const RunStatus& status,
                                      const CollectionTimes& collections, int64_t spooled) {
  const int64_t historianErrors = HistorianErrors(status.ErrorCounts());
  if (collections.collections != collectionsSeen_) {
    historianReachable_ = historianErrors == historianErrorsSeen_;
    collectionsSeen_ = collections.collections;
    historianErrorsSeen_ = historianErrors;
  }
  ConfigurationMetrics metrics;
  metrics.state = state;
  metrics.saved = status.SavedSubgroups();
  metrics.errors = status.ErrorCounts();
  metrics.lastCollection = collections.last;
  if (collections.took) {
    metrics.lastCollectionSeconds = std::chrono::duration<double>(*collections.took).count();
  }
  metrics.nextCollection = collections.next;
  metrics.historianReachable = historianReachable_;
  metrics.spcReachable = spooled == 0;
  metrics.retrySeconds = RetrySeconds(configuration_);
  return metrics;
}

}  // namespace dam
