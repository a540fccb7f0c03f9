#include "apps/dam/host/LoopProgress.h"

#include <algorithm>
#include <utility>

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

std::shared_ptr<LoopProgress::Loop> LoopProgress::Watch(
    std::function<void(Clock::duration)> stuck, std::function<void(Clock::duration)> answering) {
  auto loop = std::make_shared<Loop>();
  loop->stuck_ = std::move(stuck);
  loop->answering_ = std::move(answering);
  std::lock_guard lock(mutex_);
  loops_.push_back(loop);
  return loop;
}

void LoopProgress::Unwatch(const Loop* loop) {
  std::lock_guard lock(mutex_);
  std::erase_if(loops_, [loop](const std::weak_ptr<Loop>& watched) {
    return watched.expired() || watched.lock().get() == loop;
  });
}

void LoopProgress::CameRound(Loop& loop, Clock::time_point now) {
  // A look that computed the loop's business before this mark still tells it stuck first.
  loop.last_ = now.time_since_epoch().count();
  if (!loop.stalled_) return;
  std::lock_guard lock(mutex_);
  if (loop.stalledSince_) Answered(loop, now);
}

void LoopProgress::Answered(Loop& loop, Clock::time_point now) {
  loop.stalled_ = false;
  const Clock::duration took = now - *std::exchange(loop.stalledSince_, std::nullopt);
  if (loop.answering_) loop.answering_(took);
}

void LoopProgress::MarkOnThisThread(Loop* loop) {
  marked = loop;
}

std::optional<LoopProgress::Clock::duration> LoopProgress::Stuck(Clock::time_point now) {
  std::lock_guard lock(mutex_);
  std::erase_if(loops_, [](const std::weak_ptr<Loop>& loop) { return loop.expired(); });
  Clock::duration longest{};
  for (const std::weak_ptr<Loop>& watched : loops_) {
    const std::shared_ptr<Loop> loop = watched.lock();
    if (!loop) continue;
    const Clock::duration busy = loop->Busy(now);
    if (!loop->stuck_) {
      longest = std::max(longest, busy);
      continue;
    }
    const bool stuck = busy > allowedStall_;
    if (stuck && !loop->stalledSince_) {
      loop->stalledSince_ = now - busy;
      loop->stalled_ = true;
      loop->stuck_(busy);
    } else if (!stuck && loop->stalledSince_) {
      Answered(*loop, now);
    }
  }
  if (longest > allowedStall_) return longest;
  return std::nullopt;
}

}  // namespace dam
