// The resolved values of descriptor and test items: one entry per 1-based sample index.
// Writing grows the list to the index; reading outside it finds nothing.
#pragma once

#include <cstdint>
#include <vector>

#include "runtime/Error.h"

namespace config {

// The entry at `index`, growing the list with empty entries up to it; below 1 is error 9.
template <typename Entry>
Entry& GrownTo(std::vector<Entry>& list, int32_t index) {
  if (index < 1) throw runtime::Error(runtime::kSubscriptOutOfRange);
  if (static_cast<size_t>(index) > list.size()) list.resize(index);
  return list[index - 1];
}

// The entry at `index`, or nullptr outside the list.
template <typename Entry>
const Entry* ExistingAt(const std::vector<Entry>& list, int32_t index) {
  return index >= 1 && static_cast<size_t>(index) <= list.size() ? &list[index - 1] : nullptr;
}

}  // namespace config
