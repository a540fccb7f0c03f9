#include <cstdint>
#include <string>

#include "engine/Engine1.h"
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

}  // namespace

// The schedule does not catch missed collections up; this line is where they show. An
// invalid subgroup unit has no period to count by and is reported by the planning.
void Engine1::RecordLateStart(runtime::Date start) {
  Trapped("RecordLateStart", [&] {
    if (!configuration_) return;
    const config::Configuration1& configuration = *configuration_;
    const int32_t unit = configuration.SubgroupUnit();
    const int32_t interval = configuration.SubgroupInterval();
    if (unit < kFirstUnit || unit > kLastUnit) return;
    const runtime::Date planned = status_.nextCollectionTime;
    host::HostDateMath& dateMath = components_.DateMath();
    const runtime::Date base = dateMath.SerialToDate(configuration.SyncTime());
    const runtime::Date first = dateMath.NextPeriodTime(base, planned, unit, interval);
    const int64_t period =
        runtime::DateDiffSeconds(first, dateMath.NextPeriodTime(base, first, unit, interval));
    const int64_t late = runtime::DateDiffSeconds(planned, start);
    if (period <= 0 || late <= period) return;

    const int64_t missed = late / period;
    std::string previous;
    if (!previousCollection_) {
      previous = "no collection ran before it since the engine started.";
    } else {
      const int64_t took =
          runtime::DateDiffSeconds(previousCollection_->start, previousCollection_->end);
      previous = took > period ? "the previous collection itself ran long: " + Duration(took) +
                                     ", more than one subgroup period."
                               : "the previous collection took " + Duration(took) + ".";
    }
    LogError("Collection Started Late",
             std::to_string(missed) + (missed == 1 ? " collection time" : " collection times") +
                 " missed: the collection planned for " + runtime::FormatGeneralDate(planned) +
                 " started " + Duration(late) + " late (subgroup period " + Duration(period) + ")",
             "No timer tick came in time (the host was blocked or suspended, or its clock "
             "stepped forward); " +
                 previous);
  });
}

}  // namespace engine
