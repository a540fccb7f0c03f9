// The constants of Shewhart control charts for variables by the number of samples n in a
// subgroup, named as the textbooks name them: the one table every chart limit comes from.
#pragma once

#include <cstdint>

namespace platform {

struct SpcChartConstants {
  double A2, A3, c4, B3, B4, d2, D3, D4, E2;
};

// The table's row for n = 2 to 25. Above 25 the S chart's constants (A3, c4, B3, B4) follow
// from c4's definition, as tables advise past their last row, and the range constants are
// NaN; below 2 every constant is NaN.
SpcChartConstants ChartConstants(int32_t n);

}  // namespace platform
