// Control charts of saved readings: centre lines and limits against figures worked out by
// hand from the textbook formulas and constants, each run rule on a series that breaks it
// exactly once, and the window of one test's samples as the database gives it.

#include <cmath>

#include "platform/spcdb/SpcChart.h"
#include "platform/spcdb/SpcChartConstants.h"
#include "platform/spcdb/SpcChartReader.h"
#include "platform/spcdb/SpcLink.h"
#include "tests/platform/spcdb/SpcFixture.h"

namespace spcdbtest {
namespace {

using platform::Rule;
using platform::SpcChartKind;
using platform::SpcChartLine;
using platform::SpcChartSubgroup;

using Samples = std::vector<std::vector<double>>;

std::vector<SpcChartSubgroup> Window(const Samples& samples) {
  std::vector<SpcChartSubgroup> window;
  for (const auto& values : samples) {
    window.push_back({static_cast<int32_t>(window.size() + 1), {}, values, 0, 0});
  }
  return window;
}

void ExpectLine(const SpcChartLine& line, const SpcChartLine& expected) {
  EXPECT_NEAR(line.center, expected.center, 1e-6);
  EXPECT_NEAR(line.ucl, expected.ucl, 1e-6);
  EXPECT_NEAR(line.lcl, expected.lcl, 1e-6);
}

const Samples kFives = {
    {10, 12, 11, 13, 9}, {11, 11, 14, 10, 9}, {12, 13, 11, 12, 12}, {9, 10, 10, 11, 10}};

TEST(SpcChart, LinesAreTheTextbookFiguresForEachSampleCount) {
  // Worked by hand: means, ranges, s from the deviations, then the table's A2, A3, B3, B4,
  // D3, D4, E2; a varying count puts sigma at the average of R / d2(n).
  using enum SpcChartKind;
  const Samples ones = {{10}, {12}, {11}, {15}, {12}};
  const Samples twelves = {{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12},
                           {2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22, 24}};
  const Samples mixed = {
      {10, 12, 11, 13, 9}, {11, 11, 14, 10, 9}, {12, 14, 14}, {9, 10, 10, 11, 10}};
  const platform::SpcChartBasis firstTwo{11, 4.5 / 2.326};
  const struct {
    const char* name;
    SpcChartKind kind;
    int n;
    SpcChartLine mean, spread;
    Samples samples;
    std::optional<platform::SpcChartBasis> fixed = {};
  } cases[] = {
      // X = 11, R = 3.25: 11 +- 0.577 * 3.25, 2.114 * 3.25.
      {"n 5", XbarR, 5, {11, 12.87525, 9.12475}, {3.25, 6.8705, 0}, kFives},
      // X = 5.75, R = 1.5: 5.75 +- 1.880 * 1.5, 3.267 * 1.5.
      {"n 2", XbarR, 2, {5.75, 8.57, 2.93}, {1.5, 4.9005, 0}, {{5, 7}, {6, 6}, {8, 5}, {4, 5}}},
      // X = 12, MR = (2 + 1 + 4 + 3) / 4 = 2.5: 12 +- 2.66 * 2.5, 3.267 * 2.5.
      {"n 1", IndividualsMovingRange, 1, {12, 18.65, 5.35}, {2.5, 8.1675, 0}, ones},
      // 1..12 and 2, 4, ..24: s = sqrt(143 / 11) = 3.605551 and twice that; s = 5.408327:
      // 9.75 +- 0.886 * 5.408327, 1.646 and 0.354 * 5.408327.
      {"n 12", XbarS, 12, {9.75, 14.541778, 4.958222}, {5.408327, 8.902106, 1.914548}, twelves},
      // 200 values / 18; sigma = (4 / 2.326 + 5 / 2.326 + 2 / 1.693 + 2 / 2.326) / 4 =
      // 1.477621: +- 0.577 * 2.326 * sigma, R 2.326 * sigma and 2.114 times that.
      {"n 5, 5, 3, 5", XbarR, 5, {11.111111, 13.094229, 9.127993}, {3.436946, 7.265704, 0}, mixed},
      // The first two subgroups as the baseline: 11 +- 0.577 * 4.5, 2.114 * 4.5.
      {"n 5 on a baseline", XbarR, 5, {11, 13.5965, 8.4035}, {4.5, 9.513, 0}, kFives, firstTwo},
      // A sensor stuck at one value: every point on its centre line, none a rounding off it.
      {"n 5 stuck", XbarR, 5, {0.1, 0.1, 0.1}, {0, 0, 0}, Samples(25, std::vector(5, 0.1))},
      {"n 1 stuck", IndividualsMovingRange, 1, {0.1, 0.1, 0.1}, {0, 0, 0}, Samples(25, {0.1})},
      {"n 12 stuck", XbarS, 12, {0.7, 0.7, 0.7}, {0, 0, 0}, Samples(25, std::vector(12, 0.7))},
      {"n 5 stuck at 1e307",
       XbarR,
       5,
       {1e307, 1e307, 1e307},
       {0, 0, 0},
       Samples(30, std::vector(5, 1e307))},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const platform::SpcChart chart = platform::ComputeChart(Window(c.samples), {.fixed = c.fixed});
    EXPECT_EQ(chart.kind, c.kind);
    EXPECT_EQ(chart.n, c.n);
    ExpectLine(chart.mean, c.mean);
    ExpectLine(chart.spread, c.spread);
    ASSERT_EQ(chart.points.size(), c.samples.size());
    for (const auto& point : chart.points) {
      EXPECT_EQ(point.rules | point.spreadRules, 0) << point.id;
      if (point.n == c.n) ExpectLine(point.meanLimits, c.mean);
    }
  }
  const auto baseline = platform::ComputeChart(Window({kFives[0], kFives[1]})).basis;
  EXPECT_EQ(baseline.mean, firstTwo.mean);
  EXPECT_NEAR(baseline.sigma, firstTwo.sigma, 1e-12);

  // The subgroup of three keeps its own, wider, limits: 2.559150 by 1.023 * 1.693 * sigma,
  // so 13.333 is no break though above the limit of five samples.
  const auto three = platform::ComputeChart(Window(mixed)).points[2];
  EXPECT_NEAR(three.mean, 13.333333, 1e-6);
  EXPECT_EQ(three.spread, 2);
  ExpectLine(three.meanLimits, {11.111111, 13.670260, 8.551962});
  ExpectLine(three.spreadLimits, {2.501612, 6.439150, 0});
  // On an X-bar S chart a subgroup of two still has its s: sqrt(2) for 1 and 3.
  EXPECT_NEAR(platform::ComputeChart(Window({twelves[0], twelves[1], {1, 3}})).points[2].spread,
              std::sqrt(2.0), 1e-12);
  // Squares of 1e300 overflow and those of 1e-300 vanish; s is 0.852803e300 for twelve of 0,
  // 1e300, 2e300 and sqrt(13) e-300 for 0 to 11 e-300 all the same.
  std::vector<double> huge, tiny;
  for (int i = 0; i < 12; ++i) {
    huge.push_back(1e300 * (i % 3));
    tiny.push_back(1e-300 * i);
  }
  const auto hugeChart = platform::ComputeChart(Window({huge, huge}));
  EXPECT_NEAR(hugeChart.mean.center / 1e300, 1, 1e-12);
  EXPECT_NEAR(hugeChart.points[0].spread / 1e300, 0.852802865422, 1e-12);
  const auto tinyChart = platform::ComputeChart(Window({tiny, tiny}));
  EXPECT_NEAR(tinyChart.mean.center / 1e-300, 5.5, 1e-12);
  EXPECT_NEAR(tinyChart.points[0].spread / 1e-300, std::sqrt(13.0), 1e-12);
  const auto individuals = platform::ComputeChart(Window(ones));
  EXPECT_TRUE(std::isnan(individuals.points[0].spread)) << "no moving range before the second";
  EXPECT_EQ(individuals.points[3].spread, 4);
}

TEST(SpcChart, TheTableHoldsTogetherAsTheConstantsAreDefined) {
  for (int n = 2; n <= 26; ++n) {
    SCOPED_TRACE(n);
    const auto c = platform::ChartConstants(n);
    EXPECT_NEAR(c.A3, 3 / (c.c4 * std::sqrt(n)), 0.002);
    EXPECT_NEAR(c.B4, 1 + 3 * std::sqrt(1 - c.c4 * c.c4) / c.c4, 0.002);
    EXPECT_NEAR(c.B3, std::max(0.0, 2 - c.B4), 0.002);
    if (n > 25) break;
    EXPECT_NEAR(c.A2, 3 / (c.d2 * std::sqrt(n)), 0.001);
    EXPECT_NEAR(c.E2, 3 / c.d2, 0.001);
    if (n >= 7) {
      EXPECT_NEAR(c.D3 + c.D4, 2, 0.002);
    }
  }
  EXPECT_TRUE(std::isnan(platform::ChartConstants(1).d2));
  EXPECT_TRUE(std::isnan(platform::ChartConstants(26).d2));
}

// Individuals on a mean of 0 and sigma of 1 (limits +-2.66 * 1.128): each series breaks its
// rule at one point and nothing else, and breaks nothing with that rule off.
TEST(SpcChart, EachRuleBreaksOnceOnItsSeriesAndOnlyWhenOn) {
  const struct {
    int rule;
    std::vector<double> series;
    size_t at;
  } cases[] = {
      {1, {0.5, -0.5, 3.5, 0.5}, 2},
      // Never flat, never alternating for 14 points: rule 4 stays quiet.
      {2, {-1.2, -0.6, 0.1, 0.4, -0.1, 0.5, 0.2, 0.6, 0.3, 0.7, 0.2, 0.5, 0.3, 0.6, -0.4}, 13},
      {3, {0.1, -0.2, -0.1, 0.0, 0.3, 0.5, 0.8, 0.2}, 6},
      {4, {0.5, -0.5, 0.5, -0.5, 0.5, -0.5, 0.5, -0.5, 0.5, -0.5, 0.5, -0.5, 0.5, -0.5}, 13},
      {5, {0.3, 1.8, 0.2, 2.5, 0.5, 2.4, 0.2}, 5},
      {6, {-0.3, 1.5, 1.2, 0.4, 1.8, 1.3, -0.2}, 5},
      {7,
       {0.5, 0.5, -0.5, -0.5, 0.5, 0.5, -0.5, -0.5, 0.5, 0.5, -0.5, -0.5, 0.5, 0.5, -0.5, 1.5},
       14},
      {8, {0.2, 1.5, -1.5, 1.5, -1.5, 1.5, -1.5, 1.5, -1.5, 0.1}, 8},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.rule);
    std::vector<std::vector<double>> samples;
    for (double value : c.series) samples.push_back({value});
    for (const platform::SpcRules enabled :
         {platform::kAllRules, platform::SpcRules(platform::kAllRules & ~Rule(c.rule))}) {
      const auto chart = platform::ComputeChart(
          Window(samples), {.rules = enabled, .fixed = platform::SpcChartBasis{0, 1}});
      for (size_t i = 0; i < chart.points.size(); ++i) {
        const bool broken = i == c.at && (enabled & Rule(c.rule));
        EXPECT_EQ(chart.points[i].rules, broken ? Rule(c.rule) : 0) << i;
        // The jump of 4 is beyond the moving range's 3.267 * 1.128.
        EXPECT_EQ(chart.points[i].spreadRules, c.rule == 1 && broken ? Rule(1) : 0) << i;
      }
    }
  }
  EXPECT_EQ(platform::ParseRules("4,1,8"), Rule(1) | Rule(4) | Rule(8));
  for (const char* wrong : {"", "0", "9", "1,,2", "1,", "one", "1 ,2"})
    EXPECT_FALSE(platform::ParseRules(wrong)) << wrong;
}

// One test's samples: the latest subgroups that hold it, up to one or not, or those of a time
// span, of one configuration or of all; a defect code leaves its reading out and counts it.
// The subgroups' identifiers are past 32 bits.
TEST_P(SpcDatabaseTest, ChartWindowReadsOneTestsSamplesByCountOrTime) {
  auto line1 = OpenSession(), line2 = OpenSession();
  line1->SetConfigurationName("Line 1");
  line2->SetConfigurationName("Line 2");
  StartSubgroupIdsPast32Bits(database_->ConnectionString());
  // Subgroup i has the identifier kPlaceholderSubgroupId + i.
  std::vector<platform::SpcSubgroupId> ids{kPlaceholderSubgroupId};
  for (int i = 1; i <= 6; ++i) {
    platform::SpcSubgroupData subgroup = SampleSubgroup(i);
    if (i == 4)
      subgroup.readings = {
          {"Dimensions", "Width", 1, 0.1 + 0.2, "", ""},
          {"Dimensions", "Width", 2, std::numeric_limits<double>::max(), "", "D3"}};
    if (i == 5) subgroup.readings = {{"Visual", "Scratches", 1, 0, "", "D17"}};
    ids.push_back(SaveSubgroup(i % 2 ? line1 : line2, subgroup));
    EXPECT_EQ(ids.back(), kPlaceholderSubgroupId + i);
  }
  // Another writer stored an infinity: read, and left out of the chart.
  line2->Use([&](platform::SpcLink& link) {
    link.Connection().Execute(
        std::string("UPDATE readings SET value = ") +
            (GetParam() == Backend::SQLite ? "9e999" : "'Infinity'") +
            " WHERE subgroup_id = CAST(? AS BIGINT) AND sample = 2 AND value = 10.5",
        std::vector<runtime::Variant>{platform::SubgroupIdParameter(ids[6])});
  });
  const std::vector<platform::SpcSubgroupData> stored = platform::ReadSubgroups(*line1, 1);
  ASSERT_EQ(stored.size(), 1u);
  EXPECT_TRUE(std::any_of(stored[0].readings.begin(), stored[0].readings.end(),
                          [](const platform::SpcReading& r) { return std::isinf(r.value); }));
  // SQLite keeps text that is no number as it is: no value, not 0.
  line2->Use([&](platform::SpcLink& link) {
    link.Connection().Execute(std::string("UPDATE readings SET value = ") +
                                  (GetParam() == Backend::SQLite ? "'NaN'" : "'NaN'::float8") +
                                  " WHERE subgroup_id = CAST(? AS BIGINT) AND sample = 2",
                              std::vector<runtime::Variant>{platform::SubgroupIdParameter(ids[2])});
  });
  const std::vector<platform::SpcSubgroupData> second = platform::ReadSubgroups(*line1, 5);
  ASSERT_EQ(second.size(), 5u);
  EXPECT_EQ(second[0].id, ids[2]);
  EXPECT_TRUE(std::any_of(second[0].readings.begin(), second[0].readings.end(),
                          [](const platform::SpcReading& r) { return std::isnan(r.value); }));
  const auto width = platform::FindChartTest(*line1, "DIMENSIONS", "width");
  ASSERT_TRUE(width);
  EXPECT_EQ(width->group + "/" + width->name, "Dimensions/Width");
  EXPECT_FALSE(platform::FindChartTest(*line1, "Visual", "Width")) << "another group's";
  EXPECT_FALSE(platform::FindChartTest(*line1, "Dimensions", "Depth"));

  // SampleSubgroup(i) is saved at 10:00:0i with Width 10.25 + i and 10.5. Every bit of a
  // value comes back; the largest double, left out, reads too.
  const auto at = [](int second) { return runtime::MakeDate({2024, 3, 1, 10, 0, second}); };
  const struct {
    platform::SpcChartWindow window;
    std::string read;  // id: values, +defects, ~values of no finite number
  } cases[] = {
      {{.last = 3}, "3: 13.25 10.5 | 4: 0.30000000000000004 +1 | 6: 16.25 ~1"},
      {{.last = 3, .configuration = "Line 1"}, "1: 11.25 10.5 | 3: 13.25 10.5"},
      {{.last = 2, .upTo = ids[4]}, "3: 13.25 10.5 | 4: 0.30000000000000004 +1"},
      {{.from = at(2), .to = at(4)}, "2: 12.25 ~1 | 3: 13.25 10.5 | 4: 0.30000000000000004 +1"},
      {{.from = at(4)}, "4: 0.30000000000000004 +1 | 6: 16.25 ~1"},
      {{.to = at(3), .configuration = "Line 2"}, "2: 12.25 ~1"},
  };
  for (const auto& c : cases) {
    std::string read;
    for (const SpcChartSubgroup& s : platform::ReadChartWindow(*line1, width->id, c.window)) {
      read += (read.empty() ? "" : " | ") + std::to_string(s.id - kPlaceholderSubgroupId) + ":";
      for (double v : s.values) read += " " + runtime::ExactNumberText(v);
      if (s.leftOut) read += " +" + std::to_string(s.leftOut);
      if (s.notFinite) read += " ~" + std::to_string(s.notFinite);
    }
    EXPECT_EQ(read, c.read);
  }
}

}  // namespace
}  // namespace spcdbtest
