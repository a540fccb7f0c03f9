// dam's side of the configuration check: the rules are the driver module's own
// (DllCheckConfiguration), so a finding says what the module that runs the text would do.
#pragma once

#include <string>
#include <vector>

#include "host/CheckFinding.h"
#include "host/Components.h"

namespace dam {

// The check of the module registered for `driverClass` (LoadRegisteredModule).
std::vector<host::CheckFinding> CheckConfiguration(host::Components& components,
                                                   const std::string& text,
                                                   const std::string& driverClass);

// "file:line: error: text" (no line number for line 0), without SQLSTATEs.
std::string FormatFinding(const std::string& file, const host::CheckFinding& finding);

}  // namespace dam
