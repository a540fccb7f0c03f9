// The driver state codes (IDriver::State). A driver sets only these four; 1 and 2 belong to
// the host's own list and never come from a driver.
#pragma once

#include <cstdint>

namespace host {

enum DriverState : int32_t {
  kDriverStopped = 0,
  kDriverRunning = 3,
  // Its configuration dialog is open.
  kDriverConfiguring = 4,
  // Reported only: the engine goes on collecting.
  kDriverPaused = 5,
};

}  // namespace host
