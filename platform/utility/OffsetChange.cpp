#include "platform/utility/OffsetChange.h"

#include <algorithm>

namespace platform {
namespace {

constexpr std::time_t kDay = 24 * 60 * 60;

long Offset(std::time_t time) {
  std::tm local{};
  localtime_r(&time, &local);
  return local.tm_gmtoff;
}

}  // namespace

std::optional<std::time_t> NextOffsetChange(std::time_t from, std::time_t until) {
  const long offset = Offset(from);
  // A day at a time up to the first day that ends in another offset, then halves within it.
  std::time_t before = from;
  std::time_t after = from;
  while (after < until && Offset(after) == offset) {
    before = after;
    after = std::min(after + kDay, until);
  }
  if (Offset(after) == offset) return std::nullopt;
  while (after - before > 1) {
    const std::time_t middle = before + (after - before) / 2;
    (Offset(middle) == offset ? before : after) = middle;
  }
  return after;
}

}  // namespace platform
