// Shewhart control charts of one characteristic over a window of subgroups, for the command
// line, the windows and the checks of saved subgroups alike: X-bar and R for subgroups of 2
// to 10 samples, X-bar and S above 10, individuals and moving range (of 2) for 1 sample.
//
// The chart's kind follows the most common sample count n. Centre lines and limits come
// from the window's own data, or from a basis fixed beforehand (a baseline window's, or
// values the user gives): the process mean and the standard deviation of single values.
// When the sample count varies, each subgroup gets limits by its own count from the same
// basis, whose deviation is the average of range / d2 or s / c4 over the subgroups: with
// one count throughout this is R-bar / d2 or s-bar / c4 and the limits are the textbook
// A2 R-bar, D3 R-bar, D4 R-bar, A3 s-bar, B3 s-bar, B4 s-bar and E2 MR-bar.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/spcdb/SpcRunRules.h"
#include "platform/spcdb/SpcSubgroupId.h"
#include "runtime/Date.h"

namespace platform {

enum class SpcChartKind { XbarR, XbarS, IndividualsMovingRange };

// "xbar-r", "xbar-s", "i-mr".
const char* ChartKindName(SpcChartKind kind);
// What the upper chart shows ("mean", "individual") and the lower ("range", "standard
// deviation", "moving range").
const char* ChartMeanName(SpcChartKind kind);
const char* ChartSpreadName(SpcChartKind kind);

// A figure of a chart as people read it: up to six significant digits; "-" for NaN.
std::string ChartFigure(double value);

// One subgroup's samples of the characteristic.
struct SpcChartSubgroup {
  SpcSubgroupId id = 0;
  runtime::Date time;
  // The samples that hold a measured value, in sample order.
  std::vector<double> values;
  // Readings that record a defect instead of a value, and values that are no finite number
  // (an infinity another writer stored): not part of the statistics.
  int32_t leftOut = 0, notFinite = 0;
};

// NaN where the window cannot tell (a deviation from one sample).
struct SpcChartLine {
  double center, ucl, lcl;
};

struct SpcChartBasis {
  double mean;
  // The standard deviation of single values within a subgroup.
  double sigma;
};

struct SpcChartPoint {
  SpcSubgroupId id;
  runtime::Date time;
  int32_t n;
  double mean;
  // NaN without one: a subgroup of one sample, an individual without one before it.
  double spread;
  SpcChartLine meanLimits, spreadLimits;
  // The rules the point breaks on the upper and the lower chart.
  SpcRules rules = 0, spreadRules = 0;
};

struct SpcChart {
  SpcChartKind kind;
  // The most common sample count (the larger one on a tie).
  int32_t n;
  SpcChartBasis basis;
  // The lines for subgroups of n samples.
  SpcChartLine mean, spread;
  // Subgroups with at least one value; those without any give no point.
  std::vector<SpcChartPoint> points;
  int32_t leftOut = 0, notFinite = 0;
};

struct SpcChartOptions {
  // Judged on the upper chart; rule 1 also on the lower.
  SpcRules rules = kDefaultRules;
  // Instead of the window's own basis.
  std::optional<SpcChartBasis> fixed{};
};

// The chart of `window`, oldest subgroup first. An empty window gives an X-bar and R chart
// of no points.
SpcChart ComputeChart(const std::vector<SpcChartSubgroup>& window,
                      const SpcChartOptions& options = {});

}  // namespace platform
