// The eight Nelson run rules, which tell a process out of control from the pattern of its
// chart's points: 1 one point beyond 3 sigma; 2 nine in a row on one side of the centre
// line; 3 six in a row steadily rising or falling; 4 fourteen in a row alternating up and
// down; 5 two of three beyond 2 sigma on one side; 6 four of five beyond 1 sigma on one
// side; 7 fifteen in a row within 1 sigma; 8 eight in a row beyond 1 sigma, either side.
// A rule is broken at the point that completes its pattern, judged with the points before it
// only, so a new subgroup can be judged as it arrives.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace platform {

// A set of rules: bit r - 1 stands for rule r.
using SpcRules = uint16_t;
inline constexpr SpcRules kDefaultRules = 0x0f;  // 1 to 4
inline constexpr SpcRules kAllRules = 0xff;

inline constexpr SpcRules Rule(int number) {
  return static_cast<SpcRules>(1u << (number - 1));
}
std::vector<int> RuleNumbers(SpcRules rules);
// "1,2,3,4" (numbers 1 to 8, in any order, commas between); nullopt for anything else.
std::optional<SpcRules> ParseRules(std::string_view text);
// "1,2,3,4"; "" for none.
std::string RulesText(SpcRules rules);

// A point of a chart with the lines it is judged by; sigma is a third of the distance from
// the centre line to the limit on the point's side. A value that is no number breaks every
// pattern it is part of.
struct SpcRulePoint {
  double value, center, ucl, lcl;
};

// The rules of `enabled` that points[index] breaks.
SpcRules RulesBrokenAt(std::span<const SpcRulePoint> points, size_t index, SpcRules enabled);

}  // namespace platform
