#include "engine/Engine1.h"

#include <utility>

#include "common/IntervalUnit.h"
#include "common/TypeTables.h"
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
    lastLook_ = Look();
    previousTook_.reset();
    passedWhileCollecting_.reset();
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
    moTimer_->ArmFor(status_.nextCollectionTime);
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
    const Moment start = Look();
    ReplanAfterClockStep(start);
    if (status_.nextCollectionTime < start.wall) {
      CollectingFlag flag(collecting_);
      RecordLateStart(start);
      if (CollectSample()) {
        SetNextSubgroupPeriod();
      } else {
        SetNextRetryPeriod();
      }
      RecordCollectionEnd(start);
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

Engine1::Moment Engine1::Look() {
  return {runtime::Now(), runtime::Monotonic()};
}

// A step forward needs nothing: the planned time has passed, and one collection follows.
void Engine1::ReplanAfterClockStep(const Moment& now) {
  const std::optional<Moment> last = std::exchange(lastLook_, now);
  if (!last) return;
  // How far the wall clock moved beyond the time that really passed.
  const std::chrono::nanoseconds stepped =
      runtime::Between(last->wall, now.wall) - (now.monotonic - last->monotonic);
  if (stepped >= -std::chrono::milliseconds(kTimerInterval)) return;
  // The last look as the stepped clock reads it: the step came after it, so the grid
  // points after it are those at or after the step.
  const runtime::Date after = runtime::Shifted(last->wall, stepped);
  if (retryPlanned_) {
    SetNextRetryPeriod(after);
  } else {
    SetNextSubgroupPeriod(after);
  }
}

// A subgroup schedule that cannot be planned falls back to the retry schedule.
bool Engine1::SetNextSubgroupPeriod(runtime::Date after) {
  retryPlanned_ = false;
  const bool planned = Trapped("SetNextSubgroupPeriod", [&] {
    const config::Configuration1& configuration = Configuration();
    return UnitIsValid("Subgroup", configuration.SubgroupUnit(),
                       "The next collection is planned by the retry settings.") &&
           SetNextPeriod(configuration.SubgroupUnit(), configuration.SubgroupInterval(), after);
  });
  return planned || SetNextRetryPeriod(after);
}

bool Engine1::SetNextRetryPeriod(runtime::Date after) {
  retryPlanned_ = true;
  const bool planned = Trapped("SetNextRetryPeriod", [&] {
    const config::Configuration1& configuration = Configuration();
    return UnitIsValid("Retry", configuration.RetryUnit(), FallbackText()) &&
           SetNextPeriod(configuration.RetryUnit(), configuration.RetryInterval(), after);
  });
  if (!planned) SetFallbackPeriod();
  return planned;
}

// Both schedules lie on the grid anchored at SyncTime; only the spacing differs.
bool Engine1::SetNextPeriod(int32_t unit, int32_t interval, runtime::Date after) {
  host::HostDateMath& dateMath = components_.DateMath();
  const runtime::Date base = dateMath.SerialToDate(Configuration().SyncTime());
  PlanCollection(dateMath.NextPeriodTime(base, after, unit, interval));
  return true;
}

// Never "at once": a schedule that cannot be planned must not collect on every tick.
void Engine1::SetFallbackPeriod() {
  Trapped("SetNextRetryPeriod",
          [&] { PlanCollection(runtime::Shifted(runtime::Now(), kFallback)); });
}

void Engine1::PlanCollection(runtime::Date next) {
  const Moment now = Look();
  status_.nextCollectionTime = next;
  nextDue_ = now.monotonic + runtime::Between(now.wall, next);
  // The ticks before then would find nothing to do: the timer may sleep through them.
  if (moTimer_) moTimer_->ArmFor(next);
  CollectionTimeSet.Raise();
}

bool Engine1::UnitIsValid(const char* schedule, int32_t unit, const std::string& consequence) {
  if (common::IsIntervalUnit(unit)) return true;
  std::string units;
  for (int32_t code = common::kFirstIntervalUnit; code <= common::kLastIntervalUnit; ++code) {
    units +=
        (units.empty() ? "" : ", ") + std::to_string(code) + " (" + common::GetUnitName(code) + ")";
  }
  LogError("Invalid Schedule",
           std::string(schedule) + " unit " + std::to_string(unit) + " is not one of " + units,
           consequence);
  return false;
}

std::string Engine1::FallbackText() {
  return "The next attempt is planned " + std::to_string(kFallback.count()) + " seconds from now.";
}

}  // namespace engine
