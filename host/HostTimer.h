// A repeating timer whose OnTimer is raised on the thread that owns the timer's user.
#pragma once

#include <cstdint>

#include "runtime/Event.h"

namespace host {

class HostTimer {
 public:
  virtual ~HostTimer() = default;
  virtual void StartTimer(int32_t intervalMilliseconds) = 0;
  virtual void StopTimer() = 0;
  runtime::Event<> OnTimer;
};

}  // namespace host
