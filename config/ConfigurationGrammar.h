// The configuration text: lines "KEY=value" joined by CR LF, with the keys below. The reader
// (Configuration1::SetData), the writer (GetData) and the check (ConfigurationCheck.h) all go
// by this grammar; an item's value is its line body of tab-separated fields (ItemFields.h).
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace config {

// In the order the writer writes them.
enum class ConfigurationKey {
  Name,
  Active,
  DataLink,
  SyncTime,
  SubgroupInterval,
  SubgroupUnit,
  RetryInterval,
  RetryUnit,
  Descriptor,
  Test,
  Condition,
};

// "NAME", "ACTIVE", ... as the writer writes them.
std::string_view KeyText(ConfigurationKey key);
// The key `text` names without regard to case; nothing for any other text ("NAME " with
// its blank included: keys are not trimmed).
std::optional<ConfigurationKey> FindKey(std::string_view text);

inline constexpr std::string_view kLineBreak = "\r\n";

// The lines of `text` without its surrounding spaces; none for a text of spaces only.
std::vector<std::string> ConfigurationLines(std::string_view text);

// A line split at its first "=": the key as written, and the value (nothing without "=").
struct KeyAndValue {
  std::string_view key;
  std::optional<std::string_view> value;
};
KeyAndValue SplitLine(std::string_view line);

// The leading number of a numeric value, rounded half to even; error 6 beyond 32 bits.
int32_t ReadNumber(std::string_view value);
// SYNCTIME: as ReadNumber, but 2147483648 to 4294967295 are the serials past 2038 that the
// writer writes unsigned.
int32_t ReadSerial(std::string_view value);

}  // namespace config
