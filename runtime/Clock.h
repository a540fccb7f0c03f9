// The current local date and time, and a monotonic clock to measure time by. Production
// reads the system clocks; tests install a clock of their own for as long as a ScopedClock
// lives.
#pragma once

#include <chrono>

#include "runtime/Date.h"

namespace runtime {

class Clock {
 public:
  virtual ~Clock() = default;
  // The local wall clock: daylight saving and setting the time step it.
  virtual Date Now() const = 0;
  // Time since an arbitrary origin on a clock that nothing steps and that keeps counting
  // while the machine sleeps: what really passed between two readings.
  virtual std::chrono::nanoseconds Monotonic() const = 0;
};

// Now, today (midnight) and the monotonic reading from the installed clock.
Date Now();
Date Today();
std::chrono::nanoseconds Monotonic();

// The time from one wall-clock reading to another, to the millisecond (the wall clock's
// resolution; a date's serial holds about a microsecond), and a reading moved by a time.
// For the dates a clock reads (after 1899), whose serials count time linearly.
std::chrono::milliseconds Between(Date from, Date to);
Date Shifted(Date date, std::chrono::nanoseconds by);

class ScopedClock {
 public:
  explicit ScopedClock(const Clock& clock);
  ~ScopedClock();
  ScopedClock(const ScopedClock&) = delete;
  ScopedClock& operator=(const ScopedClock&) = delete;

 private:
  const Clock* previous_;
};

}  // namespace runtime
