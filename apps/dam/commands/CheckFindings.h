// How dam prints what a configuration check finds (DriverHandle::Check).
#pragma once

#include <string>

#include "host/CheckFinding.h"

namespace dam {

// "file:line: error: text" (no line number for line 0), without SQLSTATEs.
std::string FormatFinding(const std::string& file, const host::CheckFinding& finding);

}  // namespace dam
