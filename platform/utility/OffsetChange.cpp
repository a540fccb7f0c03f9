#include "platform/utility/OffsetChange.h"

#include <algorithm>

namespace platform {
namespace {

constexpr std::time_t kDay = 24 * 60 * 60;

}  // namespace

long LocalOffset(std::time_t time) {
  std::tm local{};
  localtime_r(&time, &local);
  return local.tm_gmtoff;
}

// Time zones change their offset at most once a day: the offsets a day before and a day
// after are the only candidates.
long WallClockOffset(std::time_t wall) {
  const long before = LocalOffset(wall - kDay);
  if (LocalOffset(wall - before) == before) return before;
  const long after = LocalOffset(wall + kDay);
  return LocalOffset(wall - after) == after ? after : before;
}

std::optional<std::time_t> NextOffsetChange(std::time_t from, std::time_t until) {
  const long offset = LocalOffset(from);
  // A day at a time up to the first day that ends in another offset, then halves within it.
  std::time_t before = from;
  std::time_t after = from;
  while (after < until && LocalOffset(after) == offset) {
    before = after;
    after = std::min(after + kDay, until);
  }
  if (LocalOffset(after) == offset) return std::nullopt;
  while (after - before > 1) {
    const std::time_t middle = before + (after - before) / 2;
    (LocalOffset(middle) == offset ? before : after) = middle;
  }
  return after;
}

}  // namespace platform
