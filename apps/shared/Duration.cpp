#include "apps/shared/Duration.h"

#include <charconv>
#include <cmath>
#include <string>

namespace apps {

std::optional<std::chrono::milliseconds> ParseDuration(std::string_view text) {
  double scale = 1000.0;
  if (!text.empty()) {
    switch (text.back()) {
      case 's':
        scale = 1000.0;
        text.remove_suffix(1);
        break;
      case 'm':
        scale = 60'000.0;
        text.remove_suffix(1);
        break;
      case 'h':
        scale = 3'600'000.0;
        text.remove_suffix(1);
        break;
      case 'd':
        scale = 86'400'000.0;
        text.remove_suffix(1);
        break;
    }
  }
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (text.empty() || error != std::errc() || end != text.data() + text.size() || value < 0 ||
      !std::isfinite(value) || value * scale > 1e15) {
    return std::nullopt;
  }
  return std::chrono::milliseconds(static_cast<int64_t>(std::llround(value * scale)));
}

}  // namespace apps
