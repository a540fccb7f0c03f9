// A clock the test sets and moves; installed for as long as the object lives. Its wall
// clock and its monotonic clock move together unless the test steps the wall clock.
#pragma once

#include <algorithm>
#include <chrono>

#include "runtime/Clock.h"

namespace testsupport {

class TestClock : public runtime::Clock {
 public:
  explicit TestClock(runtime::Date now) : now_(now), scope_(*this) {}
  runtime::Date Now() const override { return now_; }
  std::chrono::nanoseconds Monotonic() const override { return monotonic_; }
  // Time passes until the wall clock reads `now`. An earlier `now` steps the wall clock
  // back, and no time passes.
  void Set(runtime::Date now) {
    Step(now, std::max(runtime::Between(now_, now), std::chrono::milliseconds::zero()));
  }
  // The wall clock is set to `now` (daylight saving, an NTP step) while `passed` goes by.
  void Step(runtime::Date now, std::chrono::nanoseconds passed) {
    now_ = now;
    monotonic_ += passed;
  }

 private:
  runtime::Date now_;
  std::chrono::nanoseconds monotonic_{};
  runtime::ScopedClock scope_;
};

}  // namespace testsupport
