// A host timer that fires only when the test calls Tick(): the test decides when time
// passes, nothing sleeps.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "host/HostTimer.h"
#include "runtime/Date.h"

namespace testsupport {

class ManualTimer : public host::HostTimer {
 public:
  void StartTimer(int32_t intervalMilliseconds) override {
    interval = intervalMilliseconds;
    running = true;
    armedFor.reset();
  }
  void StopTimer() override {
    running = false;
    armedFor.reset();
  }
  void ArmFor(runtime::Date due) override {
    if (running) armedFor = due;
  }
  // Delivers one OnTimer, whether or not the timer runs, as a late message would.
  void Tick() { OnTimer.Raise(); }

  int32_t interval = 0;
  bool running = false;
  std::optional<runtime::Date> armedFor;
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
