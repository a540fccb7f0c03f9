// Reading the samples of one characteristic for its control chart: the readings of one
// test over a window of subgroups, read only, every value bound.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/spcdb/SpcChart.h"
#include "platform/spcdb/SpcSession.h"
#include "platform/spcdb/SpcSubgroupId.h"
#include "runtime/Date.h"

namespace platform {

struct SpcChartTest {
  int32_t id;
  // As the database spells them.
  std::string group, name;
};

// The test `name` of the test group `group`, both found without regard to case; nullopt
// when the database has no such test, or has it in another group.
std::optional<SpcChartTest> FindChartTest(SpcSession& session, const std::string& group,
                                          const std::string& name);

struct SpcChartWindow {
  // The latest subgroups that hold the test, up to the subgroup `upTo` when given (the
  // window a subgroup was judged in as it arrived)...
  int32_t last = 25;
  std::optional<SpcSubgroupId> upTo{};
  // ... or, when either is given, those whose subgroup time is from `from` and up to `to`.
  std::optional<runtime::Date> from{}, to{};
  // Only the subgroups this configuration saved; "" for all.
  std::string configuration{};
};

// The subgroups of `window` that hold readings of the test `testId`, in the order they were
// saved. A reading with a defect code records a defect, not a measured value: it is counted
// in leftOut; a value that is no finite number in notFinite.
std::vector<SpcChartSubgroup> ReadChartWindow(SpcSession& session, int32_t testId,
                                              const SpcChartWindow& window);

}  // namespace platform
