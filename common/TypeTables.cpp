#include "common/TypeTables.h"

#include <array>

namespace common {
namespace {

template <size_t N>
std::string Lookup(const std::array<const char*, N>& table, int32_t code, int32_t first) {
  if (code < first || code >= first + static_cast<int32_t>(N)) return "";
  return table[code - first];
}

constexpr std::array<const char*, 9> kDescriptorTypes = {
    "Part", "Process", "Job", "Lot", "Shift", "Serial Number", "User-Defined", "Size", "Time"};

constexpr std::array<const char*, 7> kOperators = {"IS NEW", "=", ">", ">=", "<", "<=", "<>"};

constexpr std::array<const char*, 7> kEvaluationDescriptions = {
    "New Tag Value Received",     "Tag Value = Compare Value", "Tag Value > Compare Value",
    "Tag Value >= Compare Value", "Tag Value < Compare Value", "Tag Value <= Compare Value",
    "Tag Value <> Compare Value"};

}  // namespace

std::string GetDescriptorType(int32_t code) {
  return Lookup(kDescriptorTypes, code, 1);
}

std::string GetEvaluationType(int32_t code, bool withDescription) {
  std::string text = Lookup(kOperators, code, 0);
  if (withDescription) text += " (" + Lookup(kEvaluationDescriptions, code, 0) + ")";
  return text;
}

std::string GetDataLinkStatus(int32_t code) {
  const std::array<std::string, 7> states = {
      "No Connection",
      "Unable to Connect",
      std::string("Unable to access Table: ") + kTagsTable,
      std::string("Unable to access Table: ") + kRawDataTable,
      std::string("Unable to access Field in Table: ") + kTagsTable,
      std::string("Unable to access Field in Table: ") + kRawDataTable,
      "Connection Ready"};
  if (code < 0 || code >= static_cast<int32_t>(states.size())) return "";
  return states[code];
}

}  // namespace common
