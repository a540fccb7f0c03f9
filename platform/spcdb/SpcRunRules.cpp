#include "platform/spcdb/SpcRunRules.h"

#include <charconv>

namespace platform {
namespace {

// +1 above the centre line, -1 below, 0 on it or no number.
int Side(const SpcRulePoint& p) {
  return p.value > p.center ? 1 : p.value < p.center ? -1 : 0;
}

// Beyond `sigmas` on the side `side` (0: either side).
bool Beyond(const SpcRulePoint& p, double sigmas, int side = 0) {
  const bool above = p.value > p.center + sigmas * (p.ucl - p.center) / 3;
  const bool below = p.value < p.center - sigmas * (p.center - p.lcl) / 3;
  return side > 0 ? above : side < 0 ? below : above || below;
}

bool WithinOneSigma(const SpcRulePoint& p) {
  return p.value < p.center + (p.ucl - p.center) / 3 && p.value > p.center - (p.center - p.lcl) / 3;
}

// The `count` points ending at `index`, or an empty span before there are that many.
std::span<const SpcRulePoint> Last(std::span<const SpcRulePoint> points, size_t index,
                                   size_t count) {
  if (index + 1 < count) return {};
  return points.subspan(index + 1 - count, count);
}

template <typename Test>
bool All(std::span<const SpcRulePoint> run, const Test& test) {
  if (run.empty()) return false;
  for (const SpcRulePoint& p : run) {
    if (!test(p)) return false;
  }
  return true;
}

// At least `needed` of the last `count` points beyond `sigmas` on the side of the last one,
// which is beyond itself.
bool MostBeyond(std::span<const SpcRulePoint> run, size_t needed, double sigmas) {
  if (run.empty()) return false;
  const int side = Side(run.back());
  if (side == 0 || !Beyond(run.back(), sigmas, side)) return false;
  size_t beyond = 0;
  for (const SpcRulePoint& p : run) beyond += Beyond(p, sigmas, side);
  return beyond >= needed;
}

// Every step of the run rising, or every one falling.
bool Trend(std::span<const SpcRulePoint> run) {
  if (run.empty()) return false;
  bool rising = true, falling = true;
  for (size_t i = 1; i < run.size(); ++i) {
    rising = rising && run[i].value > run[i - 1].value;
    falling = falling && run[i].value < run[i - 1].value;
  }
  return rising || falling;
}

// Every step of the run going the other way than the one before it.
bool Alternating(std::span<const SpcRulePoint> run) {
  if (run.empty()) return false;
  int previous = 0;
  for (size_t i = 1; i < run.size(); ++i) {
    const int step = run[i].value > run[i - 1].value ? 1 : run[i].value < run[i - 1].value ? -1 : 0;
    if (step == 0 || step == previous) return false;
    previous = step;
  }
  return true;
}

}  // namespace

std::vector<int> RuleNumbers(SpcRules rules) {
  std::vector<int> numbers;
  for (int rule = 1; rule <= 8; ++rule) {
    if (rules & Rule(rule)) numbers.push_back(rule);
  }
  return numbers;
}

std::optional<SpcRules> ParseRules(std::string_view text) {
  SpcRules rules = 0;
  while (true) {
    const size_t comma = text.find(',');
    const std::string_view item = text.substr(0, comma);
    int rule = 0;
    const auto [end, error] = std::from_chars(item.data(), item.data() + item.size(), rule);
    if (item.empty() || error != std::errc() || end != item.data() + item.size() || rule < 1 ||
        rule > 8) {
      return std::nullopt;
    }
    rules |= Rule(rule);
    if (comma == std::string_view::npos) return rules;
    text.remove_prefix(comma + 1);
  }
}

std::string RulesText(SpcRules rules) {
  std::string text;
  for (int rule : RuleNumbers(rules)) text += (text.empty() ? "" : ",") + std::to_string(rule);
  return text;
}

SpcRules RulesBrokenAt(std::span<const SpcRulePoint> points, size_t index, SpcRules enabled) {
  const SpcRulePoint& point = points[index];
  const auto sameSide = [](std::span<const SpcRulePoint> run) {
    const int side = run.empty() ? 0 : Side(run.back());
    return side != 0 && All(run, [&](const SpcRulePoint& p) { return Side(p) == side; });
  };
  const bool broken[] = {
      point.value > point.ucl || point.value < point.lcl,
      sameSide(Last(points, index, 9)),
      Trend(Last(points, index, 6)),
      Alternating(Last(points, index, 14)),
      MostBeyond(Last(points, index, 3), 2, 2),
      MostBeyond(Last(points, index, 5), 4, 1),
      All(Last(points, index, 15), WithinOneSigma),
      All(
          Last(points, index, 8), [](const SpcRulePoint& p) { return Beyond(p, 1); }),
  };
  SpcRules rules = 0;
  for (int rule = 1; rule <= 8; ++rule) {
    if ((enabled & Rule(rule)) && broken[rule - 1]) rules |= Rule(rule);
  }
  return rules;
}

}  // namespace platform
