#include "runtime/Clock.h"

#include <chrono>
#include <cmath>
#include <ctime>

namespace runtime {
namespace {

class SystemClock : public Clock {
 public:
  Date Now() const override {
    const auto now = std::chrono::system_clock::now();
    const auto ms =
        std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count();
    const std::time_t seconds = static_cast<std::time_t>(ms / 1000);
    std::tm local{};
    localtime_r(&seconds, &local);
    const Date whole = MakeDate({local.tm_year + 1900, local.tm_mon + 1, local.tm_mday,
                                 local.tm_hour, local.tm_min, local.tm_sec});
    return Date{whole.serial + static_cast<double>(ms % 1000) / 86400000.0};
  }
};

const SystemClock system_clock;
// The system runs on one thread; tests swap the clock around a test body.
const Clock* installed = &system_clock;

}  // namespace

Date Now() {
  return installed->Now();
}

// Truncation keeps the day of negative serials too: their fraction counts forward.
Date Today() {
  return Date{std::trunc(Now().serial)};
}

ScopedClock::ScopedClock(const Clock& clock) : previous_(installed) {
  installed = &clock;
}

ScopedClock::~ScopedClock() {
  installed = previous_;
}

}  // namespace runtime
