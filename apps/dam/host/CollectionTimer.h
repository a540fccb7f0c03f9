// A host timer that tells the host when its driver collects. The engine collects within a
// tick of its timer and plans its next collection before the tick ends (ArmFor), so a tick
// during which the timer was armed again is a collection: it started with the tick and took
// as long as the tick. The driver is seen only through the components the host gave it.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>

#include "host/HostTimer.h"
#include "runtime/Date.h"
#include "runtime/Event.h"

namespace dam {

struct CollectionTimes {
  // The wall clock when the last collection started, and how long it took.
  std::optional<runtime::Date> last;
  std::optional<std::chrono::nanoseconds> took;
  // What the timer was last armed for: the collection the driver plans next.
  std::optional<runtime::Date> next;
  int64_t collections = 0;
  // True while a tick runs: whatever the driver does then is a collection, if anything.
  bool ticking = false;
};

class CollectionTimer : public host::HostTimer {
 public:
  // Forwards to `timer`; `times` outlives this timer and is written on its thread.
  CollectionTimer(std::unique_ptr<host::HostTimer> timer, CollectionTimes& times);

  void StartTimer(int32_t intervalMilliseconds) override {
    timer_->StartTimer(intervalMilliseconds);
  }
  void StopTimer() override { timer_->StopTimer(); }
  void ArmFor(runtime::Date due) override;

 private:
  void Tick();

  std::unique_ptr<host::HostTimer> timer_;
  CollectionTimes& times_;
  bool armedInTick_ = false;
  runtime::Subscription ticks_;
};

}  // namespace dam
