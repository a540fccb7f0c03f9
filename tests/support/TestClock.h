// A clock the test sets and moves; installed for as long as the object lives.
#pragma once

#include "runtime/Clock.h"

namespace testsupport {

class TestClock : public runtime::Clock {
 public:
  explicit TestClock(runtime::Date now) : now_(now), scope_(*this) {}
  runtime::Date Now() const override { return now_; }
  void Set(runtime::Date now) { now_ = now; }

 private:
  runtime::Date now_;
  runtime::ScopedClock scope_;
};

}  // namespace testsupport
