#include "apps/dam/host/CollectionTimer.h"

#include <utility>

#include "runtime/Clock.h"

namespace dam {

CollectionTimer::CollectionTimer(std::unique_ptr<host::HostTimer> timer, CollectionTimes& times)
    : timer_(std::move(timer)),
      times_(times),
      ticks_(timer_->OnTimer.Subscribe([this] { Tick(); })) {}

void CollectionTimer::ArmFor(runtime::Date due) {
  armedInTick_ = true;
  times_.next = due;
  timer_->ArmFor(due);
}

void CollectionTimer::Tick() {
  const runtime::Date started = runtime::Now();
  const std::chrono::nanoseconds start = runtime::Monotonic();
  armedInTick_ = false;
  // A tick inside a tick (a box shown by a collection runs the event loop) leaves it set.
  const bool outer = std::exchange(times_.ticking, true);
  OnTimer.Raise();
  times_.ticking = outer;
  if (!armedInTick_) return;
  times_.last = started;
  times_.took = runtime::Monotonic() - start;
  ++times_.collections;
}

}  // namespace dam
