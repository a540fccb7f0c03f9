// The current local date and time. Production reads the system clock; tests install a
// clock of their own for as long as a ScopedClock lives.
#pragma once

#include "runtime/Date.h"

namespace runtime {

class Clock {
 public:
  virtual ~Clock() = default;
  virtual Date Now() const = 0;
};

// Now and today (midnight) from the installed clock.
Date Now();
Date Today();

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
