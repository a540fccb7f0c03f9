// Durations typed on the command line: "30", "30s", "5m", "2h", "1d".
#pragma once

#include <chrono>
#include <optional>
#include <string_view>

namespace apps {

// Whole or fractional numbers with an optional unit; nothing else (negative included).
std::optional<std::chrono::milliseconds> ParseDuration(std::string_view text);

}  // namespace apps
