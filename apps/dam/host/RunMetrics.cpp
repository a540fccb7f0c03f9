#include "apps/dam/host/RunMetrics.h"

#include "common/DataLinkState.h"
#include "common/IntervalUnit.h"

namespace dam {
namespace {

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
  const int64_t historianErrors = status.HistorianErrors();
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
