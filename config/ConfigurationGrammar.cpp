#include "config/ConfigurationGrammar.h"

#include <array>
#include <cmath>

#include "runtime/Conversions.h"
#include "runtime/Text.h"

namespace config {
namespace {

constexpr std::array<std::string_view, 11> kKeys = {
    "NAME",          "ACTIVE",    "DATALINK",   "SYNCTIME", "SUBGROUPINTERVAL", "SUBGROUPUNIT",
    "RETRYINTERVAL", "RETRYUNIT", "DESCRIPTOR", "TEST",     "CONDITION"};
static_assert(kKeys.size() == static_cast<size_t>(ConfigurationKey::Condition) + 1);

}  // namespace

std::string_view KeyText(ConfigurationKey key) {
  return kKeys[static_cast<size_t>(key)];
}

std::optional<ConfigurationKey> FindKey(std::string_view text) {
  for (size_t i = 0; i < kKeys.size(); ++i) {
    if (runtime::EqualsNoCase(kKeys[i], text)) return static_cast<ConfigurationKey>(i);
  }
  return std::nullopt;
}

std::vector<std::string> ConfigurationLines(std::string_view text) {
  const std::string_view trimmed = runtime::TrimSpaces(text);
  if (trimmed.empty()) return {};
  return runtime::Split(trimmed, kLineBreak);
}

KeyAndValue SplitLine(std::string_view line) {
  const size_t equals = line.find('=');
  if (equals == std::string_view::npos) return {line, std::nullopt};
  return {line.substr(0, equals), line.substr(equals + 1)};
}

int32_t ReadNumber(std::string_view value) {
  return runtime::RoundToLong(runtime::LeadingNumber(value));
}

int32_t ReadSerial(std::string_view value) {
  const double number = runtime::LeadingNumber(value);
  if (number >= 2147483648.0 && number < 4294967295.5) {
    return static_cast<int32_t>(static_cast<uint32_t>(std::nearbyint(number)));
  }
  return runtime::RoundToLong(number);
}

}  // namespace config
