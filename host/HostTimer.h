// A repeating timer whose OnTimer is raised on the thread that owns the timer's user. An
// owner that knows when it next has work says so with ArmFor, so that an idle host sleeps
// instead of ticking.
#pragma once

#include <cstdint>

#include "runtime/Date.h"
#include "runtime/Event.h"

namespace host {

class HostTimer {
 public:
  virtual ~HostTimer() = default;
  // Ticks every `intervalMilliseconds` from now on, until stopped; forgets an ArmFor.
  virtual void StartTimer(int32_t intervalMilliseconds) = 0;
  // No more ticks; forgets an ArmFor.
  virtual void StopTimer() = 0;
  // The owner has nothing to do until the wall clock (runtime::Now) has passed `due`, so a
  // started timer may leave its ticks out until then. It ticks once just after `due` and at
  // its interval from there on, and within a second of the wall clock being set or changing
  // its offset (daylight saving), so that the owner sees the step and can plan again. Holds
  // until the next ArmFor, StartTimer or StopTimer; a stopped timer ignores it.
  virtual void ArmFor(runtime::Date due) = 0;
  runtime::Event<> OnTimer;
};

}  // namespace host
