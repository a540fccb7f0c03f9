#include "apps/dam/output/StatusLines.h"

#include <algorithm>
#include <cstdint>

#include "apps/shared/TerminalText.h"

namespace dam {
namespace {

std::string Counts(int64_t saved, int64_t spooled, int64_t lost) {
  return " | saved " + std::to_string(saved) +
         (spooled > 0 ? " | spooled " + std::to_string(spooled) : "") +
         (lost > 0 ? " | lost " + std::to_string(lost) : "");
}

}  // namespace

std::string StatusLine(const RunningConfiguration::Status& status) {
  if (!status.unavailable.empty()) return "status unavailable: " + status.unavailable;
  return apps::Printable(status.state + Counts(status.saved, status.spooled, status.lost) +
                         " | next " + status.next + " | last error " +
                         (status.lastError.empty() ? "none" : status.lastError));
}

std::string SummaryLine(const std::vector<const RunningConfiguration::Status*>& statuses,
                        int64_t savedByGone, const std::string& lastError) {
  static const std::string kUnavailable = "status unavailable";
  std::vector<std::pair<std::string, int>> states;
  int64_t saved = savedByGone, spooled = 0, lost = 0;
  for (const RunningConfiguration::Status* one : statuses) {
    const RunningConfiguration::Status& status = *one;
    const std::string& state = status.unavailable.empty() ? status.state : kUnavailable;
    const auto counted = std::find_if(states.begin(), states.end(),
                                      [&](const auto& seen) { return seen.first == state; });
    if (counted == states.end()) {
      states.emplace_back(state, 1);
    } else {
      ++counted->second;
    }
    saved += status.saved;
    // The configurations keep their subgroups in the one spool file of the data folder, and
    // each counts all it holds.
    spooled = std::max(spooled, status.spooled);
    lost += status.lost;
  }
  std::string line = std::to_string(statuses.size()) +
                     (statuses.size() == 1 ? " configuration:" : " configurations:");
  for (size_t i = 0; i < states.size(); ++i) {
    line += (i == 0 ? " " : ", ") + std::to_string(states[i].second) + " " + states[i].first;
  }
  return apps::Printable(line + Counts(saved, spooled, lost) + " | last error " +
                         (lastError.empty() ? "none" : lastError));
}

}  // namespace dam
