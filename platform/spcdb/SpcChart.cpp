#include "platform/spcdb/SpcChart.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <map>

#include "platform/spcdb/SpcChartConstants.h"

namespace platform {
namespace {

constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
constexpr SpcChartLine kNoLine{kNone, kNone, kNone};

// One subgroup's statistics, before the chart's lines are known.
struct Summary {
  const SpcChartSubgroup* subgroup;
  int32_t n;
  double mean, spread;
};

// Summed as deviations from the first value, so that equal values (a sensor stuck at 0.1)
// give exactly that value: a plain sum of 0.1s divided by their count does not, and every
// point would then lie off a centre line that has no width. Deviations whose sum passes the
// largest double are summed divided first.
double Mean(const std::vector<double>& values) {
  const double first = values.front();
  const auto n = static_cast<double>(values.size());
  double deviations = 0;
  for (double v : values) deviations += v - first;
  if (std::isfinite(deviations)) return first + deviations / n;
  double mean = 0;
  for (double v : values) mean += v / n;
  return mean;
}

double Range(const std::vector<double>& values) {
  const auto [low, high] = std::minmax_element(values.begin(), values.end());
  return *high - *low;
}

// Deviations are squared as fractions of the largest, so that the squares of 1e300 do not
// overflow nor those of 1e-300 vanish.
double StandardDeviation(const std::vector<double>& values, double mean) {
  double largest = 0;
  for (double v : values) largest = std::max(largest, std::fabs(v - mean));
  if (largest == 0 || !std::isfinite(largest)) return largest;
  double squares = 0;
  for (double v : values) {
    const double scaled = (v - mean) / largest;
    squares += scaled * scaled;
  }
  return largest * std::sqrt(squares / static_cast<double>(values.size() - 1));
}

SpcChartKind KindFor(int32_t n) {
  if (n <= 1) return SpcChartKind::IndividualsMovingRange;
  return n <= 10 ? SpcChartKind::XbarR : SpcChartKind::XbarS;
}

int32_t MostCommonCount(const std::vector<Summary>& summaries) {
  std::map<int32_t, int32_t> counts;
  for (const Summary& s : summaries) ++counts[s.n];
  int32_t n = 0, most = 0;
  for (const auto& [count, times] : counts) {
    if (times >= most) n = count, most = times;
  }
  return n;
}

// The spread a subgroup shows on an X-bar chart of `kind`; NaN where that chart shows none.
double SpreadOf(SpcChartKind kind, const std::vector<double>& values, double mean) {
  const auto n = static_cast<int32_t>(values.size());
  if (kind == SpcChartKind::XbarR && n >= 2 && n <= 25) return Range(values);
  if (kind == SpcChartKind::XbarS && n >= 2) return StandardDeviation(values, mean);
  return kNone;
}

// Spread = factor * sigma on average, for a subgroup of `n` samples: d2 for ranges (and
// for the moving range, a range of two), c4 for standard deviations.
double SpreadFactor(SpcChartKind kind, int32_t n) {
  const SpcChartConstants c = ChartConstants(kind == SpcChartKind::IndividualsMovingRange ? 2 : n);
  return kind == SpcChartKind::XbarS ? c.c4 : c.d2;
}

SpcChartLine MeanLine(SpcChartKind kind, int32_t n, const SpcChartBasis& basis) {
  // Written with the table's factors, so that a chart of one sample count has exactly the
  // textbook's A2 R-bar, A3 s-bar or E2 MR-bar.
  double half = 3 * basis.sigma / std::sqrt(n);
  if (kind == SpcChartKind::XbarR && n >= 2 && n <= 25) {
    half = ChartConstants(n).A2 * ChartConstants(n).d2 * basis.sigma;
  } else if (kind == SpcChartKind::XbarS && n >= 2) {
    half = ChartConstants(n).A3 * ChartConstants(n).c4 * basis.sigma;
  } else if (kind == SpcChartKind::IndividualsMovingRange && n == 1) {
    half = ChartConstants(2).E2 * ChartConstants(2).d2 * basis.sigma;
  }
  return {basis.mean, basis.mean + half, basis.mean - half};
}

SpcChartLine SpreadLine(SpcChartKind kind, int32_t n, const SpcChartBasis& basis) {
  if (kind == SpcChartKind::IndividualsMovingRange) n = 2;
  const SpcChartConstants c = ChartConstants(n);
  const double center = SpreadFactor(kind, n) * basis.sigma;
  if (kind == SpcChartKind::XbarS) return {center, c.B4 * center, c.B3 * center};
  return {center, c.D4 * center, c.D3 * center};
}

SpcChartBasis OwnBasis(SpcChartKind kind, const std::vector<Summary>& summaries) {
  std::vector<double> values, deviations;
  for (const Summary& s : summaries) {
    values.insert(values.end(), s.subgroup->values.begin(), s.subgroup->values.end());
    if (!std::isnan(s.spread)) deviations.push_back(s.spread / SpreadFactor(kind, s.n));
  }
  return {values.empty() ? kNone : Mean(values), deviations.empty() ? kNone : Mean(deviations)};
}

void JudgeRules(SpcChart& chart, SpcRules rules) {
  std::vector<SpcRulePoint> means, spreads;
  for (const SpcChartPoint& p : chart.points) {
    means.push_back({p.mean, p.meanLimits.center, p.meanLimits.ucl, p.meanLimits.lcl});
    spreads.push_back({p.spread, p.spreadLimits.center, p.spreadLimits.ucl, p.spreadLimits.lcl});
  }
  for (size_t i = 0; i < chart.points.size(); ++i) {
    chart.points[i].rules = RulesBrokenAt(means, i, rules);
    chart.points[i].spreadRules = RulesBrokenAt(spreads, i, rules & Rule(1));
  }
}

}  // namespace

std::string ChartFigure(double value) {
  if (std::isnan(value)) return "-";
  char text[32];
  const auto end =
      std::to_chars(text, text + sizeof text, value, std::chars_format::general, 6).ptr;
  return std::string(text, end);
}

const char* ChartKindName(SpcChartKind kind) {
  switch (kind) {
    case SpcChartKind::XbarR:
      return "xbar-r";
    case SpcChartKind::XbarS:
      return "xbar-s";
    case SpcChartKind::IndividualsMovingRange:
      return "i-mr";
  }
  return "";
}

const char* ChartMeanName(SpcChartKind kind) {
  return kind == SpcChartKind::IndividualsMovingRange ? "individual" : "mean";
}

const char* ChartSpreadName(SpcChartKind kind) {
  switch (kind) {
    case SpcChartKind::XbarR:
      return "range";
    case SpcChartKind::XbarS:
      return "standard deviation";
    case SpcChartKind::IndividualsMovingRange:
      return "moving range";
  }
  return "";
}

SpcChart ComputeChart(const std::vector<SpcChartSubgroup>& window, const SpcChartOptions& options) {
  SpcChart chart{SpcChartKind::XbarR, 0, {kNone, kNone}, kNoLine, kNoLine, {}, 0, 0};
  std::vector<Summary> summaries;
  for (const SpcChartSubgroup& subgroup : window) {
    chart.leftOut += subgroup.leftOut;
    chart.notFinite += subgroup.notFinite;
    if (subgroup.values.empty()) continue;
    summaries.push_back(
        {&subgroup, static_cast<int32_t>(subgroup.values.size()), Mean(subgroup.values), kNone});
  }
  chart.n = MostCommonCount(summaries);
  chart.kind = KindFor(chart.n);
  for (size_t i = 0; i < summaries.size(); ++i) {
    Summary& s = summaries[i];
    if (chart.kind != SpcChartKind::IndividualsMovingRange) {
      s.spread = SpreadOf(chart.kind, s.subgroup->values, s.mean);
    } else if (i > 0 && s.n == 1 && summaries[i - 1].n == 1) {
      s.spread = std::fabs(s.mean - summaries[i - 1].mean);
    }
  }
  chart.basis = options.fixed.value_or(OwnBasis(chart.kind, summaries));
  if (chart.n > 0) {
    chart.mean = MeanLine(chart.kind, chart.n, chart.basis);
    chart.spread = SpreadLine(chart.kind, chart.n, chart.basis);
  }
  for (const Summary& s : summaries) {
    const bool spread = !std::isnan(s.spread);
    chart.points.push_back({s.subgroup->id, s.subgroup->time, s.n, s.mean, s.spread,
                            MeanLine(chart.kind, s.n, chart.basis),
                            spread ? SpreadLine(chart.kind, s.n, chart.basis) : kNoLine});
  }
  JudgeRules(chart, options.rules);
  return chart;
}

}  // namespace platform
