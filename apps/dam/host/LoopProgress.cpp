#include "apps/dam/host/LoopProgress.h"

#include <algorithm>

namespace dam {
namespace {

thread_local LoopProgress::Loop* marked = nullptr;

}  // namespace

void LoopProgress::Loop::Enter(Clock::time_point now) {
  last_ = now.time_since_epoch().count();
  waiting_ = false;
  ++depth_;
}

void LoopProgress::Loop::Leave(Clock::time_point now) {
  last_ = now.time_since_epoch().count();
  --depth_;
}

LoopProgress::Clock::duration LoopProgress::Loop::Busy(Clock::time_point now) const {
  if (depth_ == 0 || waiting_) return {};
  return now - Clock::time_point(Clock::duration(last_.load()));
}

LoopProgress::InEvent::InEvent() : loop_(marked) {
  if (loop_) loop_->Enter(Clock::now());
}

// A watch that ended inside the event took its loop with it.
LoopProgress::InEvent::~InEvent() {
  if (loop_ && loop_ == marked) loop_->Leave(Clock::now());
}

std::shared_ptr<LoopProgress::Loop> LoopProgress::Watch() {
  auto loop = std::make_shared<Loop>();
  std::lock_guard lock(mutex_);
  loops_.push_back(loop);
  return loop;
}

void LoopProgress::MarkOnThisThread(Loop* loop) {
  marked = loop;
}

std::optional<LoopProgress::Clock::duration> LoopProgress::Stuck(Clock::time_point now) {
  std::lock_guard lock(mutex_);
  std::erase_if(loops_, [](const std::weak_ptr<Loop>& loop) { return loop.expired(); });
  Clock::duration longest{};
  for (const std::weak_ptr<Loop>& watched : loops_) {
    if (const std::shared_ptr<Loop> loop = watched.lock()) {
      longest = std::max(longest, loop->Busy(now));
    }
  }
  if (longest > allowedStall_) return longest;
  return std::nullopt;
}

}  // namespace dam
