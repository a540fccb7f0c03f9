#include "engine/Engine1.h"

#include "runtime/Clock.h"
#include "runtime/Error.h"

namespace engine {
namespace {

constexpr int32_t kTimerInterval = 100;
constexpr double kSecondsPerDay = 86400;

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
    previousCollection_.reset();
    lastTick_.reset();
    configuration_ = std::move(configuration);
    SetNextSubgroupPeriod();
    status_.isRunning = true;
    EngineStarted.Raise();
    if (!moTimer_) {
      moTimer_ = components_.CreateTimer();
      if (!moTimer_) throw runtime::Error(runtime::kObjectNotSet);
      timerSubscription_ = moTimer_->OnTimer.Subscribe([this] {
        // Nothing may escape into the host's event loop. What gets here failed while an
        // error was being recorded (a handler of CollectionError), so it is shown instead.
        try {
          moTimer_OnTimer();
        } catch (...) {
          const runtime::Error error = runtime::ToError(std::current_exception());
          ShowError(error, error.NumberAndDescription(), "moTimer_OnTimer");
        }
      });
    }
    moTimer_->StartTimer(kTimerInterval);
    return true;
  });
}

bool Engine1::StopEngine() {
  return Trapped("StopEngine", [&] {
    // An engine that never started has no timer to stop: that is an error of the caller.
    if (!moTimer_) throw runtime::Error(runtime::kObjectNotSet);
    moTimer_->StopTimer();
    status_.isRunning = false;
    EngineStopped.Raise();
    return true;
  });
}

void Engine1::moTimer_OnTimer() {
  if (collecting_) return;
  Trapped("moTimer_OnTimer", [&] {
    const runtime::Date start = runtime::Now();
    ReplanAfterClockStep(start);
    if (status_.nextCollectionTime < start) {
      CollectingFlag flag(collecting_);
      RecordLateStart(start);
      if (CollectSample()) {
        SetNextSubgroupPeriod();
      } else {
        SetNextRetryPeriod();
      }
      previousCollection_ = {start, runtime::Now()};
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

void Engine1::ReplanAfterClockStep(runtime::Date now) {
  const bool steppedBack =
      lastTick_ && (lastTick_->serial - now.serial) * kSecondsPerDay * 1000 > kTimerInterval;
  lastTick_ = now;
  if (!steppedBack) return;
  if (retryPlanned_) {
    SetNextRetryPeriod();
  } else {
    SetNextSubgroupPeriod();
  }
}

// A subgroup schedule that cannot be planned falls back to the retry schedule.
bool Engine1::SetNextSubgroupPeriod() {
  retryPlanned_ = false;
  const bool planned = Trapped("SetNextSubgroupPeriod", [&] {
    const config::Configuration1& configuration = Configuration();
    return UnitIsValid("Subgroup", configuration.SubgroupUnit(),
                       "The next collection is planned by the retry settings.") &&
           SetNextPeriod(configuration.SubgroupUnit(), configuration.SubgroupInterval());
  });
  return planned || SetNextRetryPeriod();
}

bool Engine1::SetNextRetryPeriod() {
  retryPlanned_ = true;
  const bool planned = Trapped("SetNextRetryPeriod", [&] {
    const config::Configuration1& configuration = Configuration();
    return UnitIsValid("Retry", configuration.RetryUnit(), FallbackText()) &&
           SetNextPeriod(configuration.RetryUnit(), configuration.RetryInterval());
  });
  if (!planned) SetFallbackPeriod();
  return planned;
}

// Both schedules lie on the grid anchored at SyncTime; only the spacing differs.
bool Engine1::SetNextPeriod(int32_t unit, int32_t interval) {
  host::HostDateMath& dateMath = components_.DateMath();
  const runtime::Date base = dateMath.SerialToDate(Configuration().SyncTime());
  status_.nextCollectionTime = dateMath.NextPeriodTime(base, runtime::Now(), unit, interval);
  CollectionTimeSet.Raise();
  return true;
}

// Never "at once": a schedule that cannot be planned must not collect on every tick.
void Engine1::SetFallbackPeriod() {
  Trapped("SetNextRetryPeriod", [&] {
    status_.nextCollectionTime =
        runtime::Date{runtime::Now().serial + kFallbackSeconds / kSecondsPerDay};
    CollectionTimeSet.Raise();
  });
}

bool Engine1::UnitIsValid(const char* schedule, int32_t unit, const std::string& consequence) {
  if (unit >= kFirstUnit && unit <= kLastUnit) return true;
  LogError("Invalid Schedule",
           std::string(schedule) + " unit " + std::to_string(unit) +
               " is not one of 0 (Seconds), 1 (Minutes), 2 (Hours), 3 (Days)",
           consequence);
  return false;
}

std::string Engine1::FallbackText() {
  return "The next attempt is planned " + std::to_string(kFallbackSeconds) + " seconds from now.";
}

}  // namespace engine
