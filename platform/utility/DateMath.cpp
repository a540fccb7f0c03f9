#include "platform/utility/DateMath.h"

#include <algorithm>
#include <cstdlib>
#include <iterator>

#include "common/IntervalUnit.h"
#include "runtime/Error.h"

namespace platform {
namespace {

constexpr int64_t kSecondsPerDay = 86400;
// By interval unit code.
constexpr int64_t kUnitSeconds[] = {1, 60, 3600, kSecondsPerDay};
static_assert(std::size(kUnitSeconds) == common::kLastIntervalUnit + 1u);

int64_t FloorDiv(int64_t a, int64_t b) {
  return a / b - ((a % b != 0) && ((a < 0) != (b < 0)));
}

// Whole seconds since day 0 (1899-12-30 00:00), rounded down.
int64_t SecondsOf(runtime::Date date) {
  return runtime::DateDiffSeconds(runtime::Date{}, date);
}

runtime::Date DateOf(int64_t seconds) {
  const int64_t days = FloorDiv(seconds, kSecondsPerDay);
  if (days < -1000000 || days > 3000000) throw runtime::Error(runtime::kOverflow);
  return runtime::MakeDate({1899, 12, 30 + static_cast<int>(days), 0, 0,
                            static_cast<int>(seconds - days * kSecondsPerDay)});
}

}  // namespace

runtime::Date DateMath::SerialToDate(int32_t serial) const {
  return runtime::SerialTimeToDate(serial);
}

int32_t DateMath::DateToSerial(runtime::Date date) const {
  return runtime::DateToSerialTime(date);
}

runtime::Date DateMath::NextPeriodTime(runtime::Date base, runtime::Date now, int32_t unit,
                                       int32_t interval) const {
  if (!common::IsIntervalUnit(unit)) throw runtime::Error(runtime::kInvalidProcedureCall);
  const int64_t step = kUnitSeconds[unit] * std::max<int64_t>(std::llabs(interval), 1);
  const int64_t first = SecondsOf(base);
  // With whole-second grid points, k x step lies strictly after now exactly when it lies
  // after now's whole second.
  const int64_t k = FloorDiv(SecondsOf(now) - first, step) + 1;
  return DateOf(first + k * step);
}

}  // namespace platform
