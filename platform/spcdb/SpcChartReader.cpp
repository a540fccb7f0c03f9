#include "platform/spcdb/SpcChartReader.h"

#include <cmath>

#include "runtime/Text.h"
#include "runtime/Variant.h"

namespace platform {
namespace {

constexpr char kFindTest[] =
    "SELECT t.id, g.name AS group_name, t.name FROM tests t"
    " JOIN test_groups g ON g.id = t.group_id WHERE t.name_key = ? AND g.name_key = ?";
std::string ReadingsQuery(const SpcDialect& dialect) {
  return "SELECT r.subgroup_id, s.subgroup_time, " + dialect.ExactDouble("r.value") +
         " AS value, r.defect_code FROM readings r"
         " JOIN subgroups s ON s.id = r.subgroup_id WHERE r.test_id = ?";
}
constexpr char kLatest[] =
    " AND r.subgroup_id IN (SELECT DISTINCT l.subgroup_id FROM readings l"
    " JOIN subgroups ls ON ls.id = l.subgroup_id WHERE l.test_id = ?";
constexpr char kLatestOfConfiguration[] = " AND ls.configuration_name = ?";
constexpr char kLatestUpTo[] = " AND l.subgroup_id <= CAST(? AS BIGINT)";
constexpr char kLatestEnd[] = " ORDER BY l.subgroup_id DESC LIMIT ?)";
constexpr char kFrom[] = " AND s.subgroup_time >= ?";
constexpr char kTo[] = " AND s.subgroup_time <= ?";
constexpr char kOfConfiguration[] = " AND s.configuration_name = ?";
constexpr char kOrder[] = " ORDER BY r.subgroup_id, r.sample";

}  // namespace

std::optional<SpcChartTest> FindChartTest(SpcSession& session, const std::string& group,
                                          const std::string& name) {
  std::optional<SpcChartTest> test;
  session.Use([&](SpcLink& link) {
    auto rows = link.Connection().Execute(
        kFindTest,
        std::vector<runtime::Variant>{runtime::FoldCase(name), runtime::FoldCase(group)});
    if (rows->Eof()) return;
    test =
        SpcChartTest{runtime::ToLong(rows->Field("id")), runtime::ToText(rows->Field("group_name")),
                     runtime::ToText(rows->Field("name"))};
  });
  return test;
}

std::vector<SpcChartSubgroup> ReadChartWindow(SpcSession& session, int32_t testId,
                                              const SpcChartWindow& window) {
  std::string filter;
  std::vector<runtime::Variant> parameters{testId};
  const bool configuration = !window.configuration.empty();
  if (window.from || window.to) {
    for (const auto& [bound, condition] :
         {std::pair(window.from, kFrom), std::pair(window.to, kTo)}) {
      if (!bound) continue;
      filter += condition;
      parameters.emplace_back(*bound);
    }
  } else {
    filter += std::string(kLatest) + (configuration ? kLatestOfConfiguration : "") +
              (window.upTo ? kLatestUpTo : "") + kLatestEnd;
    parameters.emplace_back(testId);
    if (configuration) parameters.emplace_back(window.configuration);
    if (window.upTo) parameters.push_back(SubgroupIdParameter(*window.upTo));
    parameters.emplace_back(window.last);
  }
  if (configuration) {
    filter += kOfConfiguration;
    parameters.emplace_back(window.configuration);
  }
  filter += kOrder;

  std::vector<SpcChartSubgroup> subgroups;
  session.Use([&](SpcLink& link) {
    subgroups.clear();
    const std::string sql = ReadingsQuery(link.Dialect()) + filter;
    for (auto rows = link.Connection().Execute(sql, parameters); !rows->Eof(); rows->MoveNext()) {
      const SpcSubgroupId id = SubgroupIdOf(rows->Field("subgroup_id"));
      if (subgroups.empty() || subgroups.back().id != id) {
        subgroups.push_back({id, runtime::ToDate(rows->Field("subgroup_time")), {}, 0, 0});
      }
      SpcChartSubgroup& subgroup = subgroups.back();
      const double value = SpcDialect::StoredDouble(rows->Field("value"));
      if (!runtime::ToText(rows->Field("defect_code")).empty()) {
        ++subgroup.leftOut;
      } else if (!std::isfinite(value)) {
        ++subgroup.notFinite;
      } else {
        subgroup.values.push_back(value);
      }
    }
  });
  return subgroups;
}

}  // namespace platform
