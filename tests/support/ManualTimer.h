// A host timer that fires only when the test calls Tick(): the test decides when time
// passes, nothing sleeps.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

#include "host/HostTimer.h"

namespace testsupport {

class ManualTimer : public host::HostTimer {
 public:
  void StartTimer(int32_t intervalMilliseconds) override {
    interval = intervalMilliseconds;
    running = true;
  }
  void StopTimer() override { running = false; }
  // Delivers one OnTimer, whether or not the timer runs, as a late message would.
  void Tick() { OnTimer.Raise(); }

  int32_t interval = 0;
  bool running = false;
};

// A timer factory for FakeComponents that makes manual timers and points `latest` at the
// last one it made, so that the test can tick it.
inline std::function<std::unique_ptr<host::HostTimer>()> ManualTimers(ManualTimer*& latest) {
  return [&latest] {
    auto created = std::make_unique<ManualTimer>();
    latest = created.get();
    return created;
  };
}

}  // namespace testsupport
