#include <chrono>
#include <cstdint>
#include <string>

#include "common/IntervalUnit.h"
#include "engine/Engine1.h"
#include "runtime/Clock.h"
#include "runtime/Date.h"

namespace engine {
namespace {

// "1 h 2 min 30 s", "15 min 0 s", "45 s".
std::string Duration(int64_t seconds) {
  const int64_t hours = seconds / 3600;
  const int64_t minutes = seconds / 60 % 60;
  std::string text;
  if (hours > 0) text = std::to_string(hours) + " h ";
  if (hours > 0 || minutes > 0) text += std::to_string(minutes) + " min ";
  return text + std::to_string(seconds % 60) + " s";
}

int64_t Seconds(std::chrono::nanoseconds time) {
  return std::chrono::floor<std::chrono::seconds>(time).count();
}

}  // namespace

// The schedule does not catch missed collections up; this line is where they show. The
// monotonic clock measures how late a start is, so a clock set forward (the spring night,
// an NTP step) misses nothing. An invalid subgroup unit has no period to count by and is
// reported by the planning.
void Engine1::RecordLateStart(const Moment& start) {
  Trapped("RecordLateStart", [&] {
    if (!configuration_) return;
    const config::Configuration1& configuration = *configuration_;
    const int32_t unit = configuration.SubgroupUnit();
    const int32_t interval = configuration.SubgroupInterval();
    if (!common::IsIntervalUnit(unit)) return;
    const Moment due =
        passedWhileCollecting_.value_or(Moment{status_.nextCollectionTime, nextDue_});
    host::HostDateMath& dateMath = components_.DateMath();
    const runtime::Date base = dateMath.SerialToDate(configuration.SyncTime());
    const runtime::Date first = dateMath.NextPeriodTime(base, due.wall, unit, interval);
    const int64_t period =
        runtime::DateDiffSeconds(first, dateMath.NextPeriodTime(base, first, unit, interval));
    if (period <= 0) return;
    const std::chrono::nanoseconds lateBy = start.monotonic - due.monotonic;
    // Counted before rounding: a start 1.4 periods late has missed one collection time.
    const int64_t missed = lateBy / std::chrono::seconds(period);
    if (missed < 1) return;
    const int64_t late = Seconds(lateBy);
    const bool blocked = Seconds(start.monotonic - nextDue_) > period;
    const std::string noTick = "timer tick came in time (the host was blocked or suspended)";
    std::string why;
    if (passedWhileCollecting_) {
      why = "The previous collection itself ran long: " + Duration(Seconds(*previousTook_)) +
            ", past the collection times that fell due meanwhile" +
            (blocked ? "; then no " + noTick + "." : ".");
    } else {
      why =
          "No " + noTick + "; " +
          (previousTook_ ? "the previous collection took " + Duration(Seconds(*previousTook_)) + "."
                         : "no collection ran before it since the engine started.");
    }
    LogError("Collection Started Late",
             std::to_string(missed) + (missed == 1 ? " collection time" : " collection times") +
                 " missed: the collection planned for " + runtime::FormatGeneralDate(due.wall) +
                 " started " + Duration(late) + " late (subgroup period " + Duration(period) + ")",
             why);
  });
}

// Collection times that pass while a collection runs are not collected: the next start
// counts them as missed, from the first of them on.
void Engine1::RecordCollectionEnd(const Moment& start) {
  const Moment end = Look();
  lastLook_ = end;
  previousTook_ = end.monotonic - start.monotonic;
  passedWhileCollecting_.reset();
  Trapped("RecordCollectionEnd", [&] {
    if (!configuration_) return;
    const config::Configuration1& configuration = *configuration_;
    const int32_t unit = retryPlanned_ ? configuration.RetryUnit() : configuration.SubgroupUnit();
    const int32_t interval =
        retryPlanned_ ? configuration.RetryInterval() : configuration.SubgroupInterval();
    if (!common::IsIntervalUnit(unit)) return;
    host::HostDateMath& dateMath = components_.DateMath();
    const runtime::Date base = dateMath.SerialToDate(configuration.SyncTime());
    const runtime::Date first = dateMath.NextPeriodTime(base, start.wall, unit, interval);
    // Compared on the monotonic clock: the wall clock may have stepped meanwhile.
    const std::chrono::nanoseconds firstDue = start.monotonic + runtime::Between(start.wall, first);
    if (first != status_.nextCollectionTime && firstDue < nextDue_) {
      passedWhileCollecting_ = Moment{first, firstDue};
    }
  });
}

}  // namespace engine
