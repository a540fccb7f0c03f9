#include "runtime/Clock.h"

#include <chrono>
#include <cmath>
#include <ctime>

#include <time.h>  // clock_gettime, CLOCK_BOOTTIME

namespace runtime {
namespace {

class SystemClock : public Clock {
 public:
  Date Now() const override {
    const auto now = std::chrono::system_clock::now();
    const auto ms =
        std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count();
    const std::time_t seconds = static_cast<std::time_t>(ms / 1000);
    // localtime_r alone keeps the zone read first: a zone changed on the running host
    // (timedatectl, a tzdata update, TZ) would stamp subgroups in the old one until restart.
    tzset();
    std::tm local{};
    localtime_r(&seconds, &local);
    const Date whole = MakeDate({local.tm_year + 1900, local.tm_mon + 1, local.tm_mday,
                                 local.tm_hour, local.tm_min, local.tm_sec});
    return Date{whole.serial + static_cast<double>(ms % 1000) / 86400000.0};
  }

  // CLOCK_MONOTONIC stops while the machine is suspended; collections missed meanwhile
  // are missed all the same.
  std::chrono::nanoseconds Monotonic() const override {
    timespec now{};
    clock_gettime(CLOCK_BOOTTIME, &now);
    return std::chrono::seconds(now.tv_sec) + std::chrono::nanoseconds(now.tv_nsec);
  }
};

constexpr double kMillisecondsPerDay = 86400e3;
constexpr double kNanosecondsPerDay = 86400e9;

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

std::chrono::nanoseconds Monotonic() {
  return installed->Monotonic();
}

std::chrono::milliseconds Between(Date from, Date to) {
  return std::chrono::milliseconds(std::llround((to.serial - from.serial) * kMillisecondsPerDay));
}

Date Shifted(Date date, std::chrono::nanoseconds by) {
  return Date{date.serial + static_cast<double>(by.count()) / kNanosecondsPerDay};
}

ScopedClock::ScopedClock(const Clock& clock) : previous_(installed) {
  installed = &clock;
}

ScopedClock::~ScopedClock() {
  installed = previous_;
}

}  // namespace runtime
