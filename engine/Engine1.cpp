#include "engine/Engine1.h"

#include "runtime/Clock.h"
#include "runtime/Error.h"

namespace engine {
namespace {

constexpr int32_t kTimerInterval = 100;

// Clears the re-entrancy flag however the collection ends.
class CollectingFlag {
 public:
  explicit CollectingFlag(bool& flag) : flag_(flag) { flag_ = true; }
  ~CollectingFlag() { flag_ = false; }
  CollectingFlag(const CollectingFlag&) = delete;
  CollectingFlag& operator=(const CollectingFlag&) = delete;

 private:
  bool& flag_;
};

}  // namespace

Engine1::Engine1(host::Components& components) : components_(components) {}

Engine1::~Engine1() = default;

config::Configuration1& Engine1::Configuration() const {
  if (!configuration_) throw runtime::Error(runtime::kObjectNotSet);
  return *configuration_;
}

bool Engine1::StartEngine(std::shared_ptr<config::Configuration1> configuration) {
  return Trapped("StartEngine", [&] {
    status_ = Status{};
    configuration_ = std::move(configuration);
    SetNextSubgroupPeriod();
    status_.isRunning = true;
    EngineStarted.Raise();
    if (!moTimer_) {
      moTimer_ = components_.CreateTimer();
      if (!moTimer_) throw runtime::Error(runtime::kObjectNotSet);
      timerSubscription_ = moTimer_->OnTimer.Subscribe([this] {
        // Nothing may escape into the host's event loop. What gets here is a failure of the
        // log itself, after the status record already took the error.
        try {
          moTimer_OnTimer();
        } catch (...) {
        }
      });
    }
    moTimer_->StartTimer(kTimerInterval);
    return true;
  });
}

bool Engine1::StopEngine() {
  return Trapped("StopEngine", [&] {
    // An engine that never started has no timer to stop.
    if (moTimer_) moTimer_->StopTimer();
    status_.isRunning = false;
    EngineStopped.Raise();
    return true;
  });
}

void Engine1::moTimer_OnTimer() {
  if (collecting_) return;
  Trapped("moTimer_OnTimer", [&] {
    if (status_.nextCollectionTime < runtime::Now()) {
      CollectingFlag flag(collecting_);
      if (CollectSample()) {
        SetNextSubgroupPeriod();
      } else {
        SetNextRetryPeriod();
      }
    }
  });
}

bool Engine1::CollectSample() {
  return Trapped("CollectSample", [&] {
    Configuration();  // a collection without a configuration fails here, not in a step
    std::unique_ptr<host::Recordset> rs;
    return GetRecordset(rs) && ProcessRecordSet(std::move(rs)) && ResolveCondition() &&
           ResolveDescriptors() && ResolveTests() && ConditionsSatisfied() && SaveSubgroup();
  });
}

bool Engine1::SetNextSubgroupPeriod() {
  return Trapped("SetNextSubgroupPeriod", [&] {
    const config::Configuration1& configuration = Configuration();
    return SetNextPeriod(configuration.SubgroupUnit(), configuration.SubgroupInterval());
  });
}

bool Engine1::SetNextRetryPeriod() {
  return Trapped("SetNextRetryPeriod", [&] {
    const config::Configuration1& configuration = Configuration();
    return SetNextPeriod(configuration.RetryUnit(), configuration.RetryInterval());
  });
}

// Both schedules lie on the grid anchored at SyncTime; only the spacing differs.
bool Engine1::SetNextPeriod(int32_t unit, int32_t interval) {
  host::HostDateMath& dateMath = components_.DateMath();
  const runtime::Date base = dateMath.SerialToDate(Configuration().SyncTime());
  status_.nextCollectionTime = dateMath.NextPeriodTime(base, runtime::Now(), unit, interval);
  CollectionTimeSet.Raise();
  return true;
}

}  // namespace engine
