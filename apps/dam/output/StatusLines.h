// The status lines of `dam run`: one per configuration, and one for a run of several.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "apps/dam/host/RunningConfiguration.h"

namespace dam {

// "running | saved 3 | spooled 2 | lost 1 | next 2026-11-25 10:00:00 | last error none";
// spooled and lost only when there are any.
std::string StatusLine(const RunningConfiguration::Status& status);

// "3 configurations: 2 running, 1 stopped | saved 45 | spooled 2 | last error line2: ...":
// the states counted in the order first seen, the counts summed (the spool, which they
// share, counted once) with `savedByGone`, what those a reload stopped saved, so that the
// run's count never goes back, and `lastError` (the
// newest error of any configuration, with its name), "none" when there was none.
std::string SummaryLine(const std::vector<const RunningConfiguration::Status*>& statuses,
                        int64_t savedByGone, const std::string& lastError);

}  // namespace dam
