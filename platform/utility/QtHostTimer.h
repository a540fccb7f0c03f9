// host::HostTimer on a QTimer. OnTimer is raised from the Qt event loop of the thread
// that created the timer, which is the thread that owns the engine. Nothing thrown by a
// handler may reach Qt's event loop: handlers catch their own errors.
#pragma once

#include <QTimer>

#include "host/HostTimer.h"

namespace platform {

class QtHostTimer : public host::HostTimer {
 public:
  QtHostTimer();
  // Restarts the timer with the new interval when it runs already.
  void StartTimer(int32_t intervalMilliseconds) override;
  void StopTimer() override;

 private:
  QTimer timer_;
};

}  // namespace platform
