#include "apps/dam/host/LoopProgress.h"

#include <algorithm>

namespace dam {

std::shared_ptr<LoopProgress::Heartbeat> LoopProgress::Watch(Clock::time_point now) {
  auto heartbeat = std::make_shared<Heartbeat>(now);
  std::lock_guard lock(mutex_);
  heartbeats_.push_back(heartbeat);
  return heartbeat;
}

std::optional<LoopProgress::Clock::duration> LoopProgress::Stuck(Clock::time_point now) {
  std::lock_guard lock(mutex_);
  std::erase_if(heartbeats_, [](const std::weak_ptr<Heartbeat>& h) { return h.expired(); });
  Clock::duration longest{};
  for (const std::weak_ptr<Heartbeat>& watched : heartbeats_) {
    if (const std::shared_ptr<Heartbeat> heartbeat = watched.lock()) {
      longest = std::max(longest, now - heartbeat->Last());
    }
  }
  if (longest > allowedStall_) return longest;
  return std::nullopt;
}

}  // namespace dam
