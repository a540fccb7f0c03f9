// Checks a configuration text for what the driver would silently ignore or misread: the
// driver reads leniently (unknown keys skipped, "ten" read as 0, a unit code of 7 kept),
// so mistakes show only as a driver that collects nothing or collects wrongly. The check
// reads the text line by line by the driver's own rules and says where.
#pragma once

#include <string>
#include <vector>

#include "host/Components.h"

namespace dam {

struct CheckFinding {
  int line = 0;  // 1-based; 0 for the configuration as a whole
  bool error = false;
  std::string text;
};

// Findings in line order. `text` is the configuration text as the host hands it to the
// driver (lines joined by CR LF). Tests the data link through `components`; when the
// historian answers, asks it for every referenced tag (names bound as parameters).
// A historian that cannot be reached is a warning, never an error.
std::vector<CheckFinding> CheckConfiguration(host::Components& components, const std::string& text);

// "file:line: error: text" (no line number for line 0).
std::string FormatFinding(const std::string& file, const CheckFinding& finding);

}  // namespace dam
