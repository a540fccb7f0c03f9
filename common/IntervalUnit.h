// Unit codes of the subgroup and retry intervals. A configuration keeps any other code as it
// was read; the engine then cannot plan by it.
#pragma once

#include <cstdint>

namespace common {

enum IntervalUnit : int32_t {
  kSeconds = 0,
  kMinutes = 1,
  kHours = 2,
  kDays = 3,
};
inline constexpr IntervalUnit kFirstIntervalUnit = kSeconds;
inline constexpr IntervalUnit kLastIntervalUnit = kDays;

constexpr bool IsIntervalUnit(int32_t code) {
  return code >= kFirstIntervalUnit && code <= kLastIntervalUnit;
}

}  // namespace common
