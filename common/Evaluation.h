// Evaluation codes of a condition (ConditionItem.Evaluation): IS NEW asks whether every tag
// the first value names has a new value; the others compare the first value with the second.
#pragma once

#include <cstdint>

namespace common {

enum Evaluation : int32_t {
  kIsNew = 0,
  kEqual = 1,
  kGreater = 2,
  kGreaterOrEqual = 3,
  kLess = 4,
  kLessOrEqual = 5,
  kNotEqual = 6,
};
inline constexpr Evaluation kFirstEvaluation = kIsNew;
inline constexpr Evaluation kLastEvaluation = kNotEqual;

constexpr bool IsEvaluation(int32_t code) {
  return code >= kFirstEvaluation && code <= kLastEvaluation;
}

}  // namespace common
