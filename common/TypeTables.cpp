#include "common/TypeTables.h"

#include <array>
#include <tuple>

#include "common/DataLinkState.h"
#include "common/DescriptorType.h"
#include "common/Evaluation.h"
#include "common/IntervalUnit.h"

namespace common {
namespace {

constexpr size_t CodeCount(int32_t first, int32_t last) {
  return static_cast<size_t>(last - first + 1);
}

// One text per code from `first` on.
template <typename Text, size_t N>
std::string Lookup(const std::array<Text, N>& table, int32_t code, int32_t first) {
  if (code < first || code - first >= static_cast<int32_t>(N)) return "";
  return table[code - first];
}

constexpr std::array<const char*, 9> kDescriptorTypes = {
    "Part", "Process", "Job", "Lot", "Shift", "Serial Number", "User-Defined", "Size", "Time"};
static_assert(kDescriptorTypes.size() == CodeCount(kFirstDescriptorType, kLastDescriptorType));

constexpr std::array<const char*, 7> kOperators = {"IS NEW", "=", ">", ">=", "<", "<=", "<>"};
static_assert(kOperators.size() == CodeCount(kFirstEvaluation, kLastEvaluation));

constexpr std::array<const char*, 7> kEvaluationDescriptions = {
    "New Tag Value Received",     "Tag Value = Compare Value", "Tag Value > Compare Value",
    "Tag Value >= Compare Value", "Tag Value < Compare Value", "Tag Value <= Compare Value",
    "Tag Value <> Compare Value"};
static_assert(kEvaluationDescriptions.size() == kOperators.size());

constexpr std::array<const char*, 4> kUnitNames = {"Seconds", "Minutes", "Hours", "Days"};
static_assert(kUnitNames.size() == CodeCount(kFirstIntervalUnit, kLastIntervalUnit));

}  // namespace

std::string GetDescriptorType(int32_t code) {
  return Lookup(kDescriptorTypes, code, kFirstDescriptorType);
}

std::string GetEvaluationType(int32_t code, bool withDescription) {
  std::string text = Lookup(kOperators, code, kFirstEvaluation);
  if (withDescription) {
    text += " (" + Lookup(kEvaluationDescriptions, code, kFirstEvaluation) + ")";
  }
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
  static_assert(std::tuple_size_v<decltype(states)> ==
                CodeCount(kFirstDataLinkState, kLastDataLinkState));
  return Lookup(states, code, kFirstDataLinkState);
}

std::string GetUnitName(int32_t code) {
  return Lookup(kUnitNames, code, kFirstIntervalUnit);
}

}  // namespace common
