// host::HostTimer on the Qt event loop of the thread that created it, which is the thread
// that owns the engine. It ticks at its interval on a QTimer; armed for a time, it sleeps
// instead, on a Linux timerfd set for that wall-clock time, which the kernel also wakes at
// once when the clock is set (TFD_TIMER_CANCEL_ON_SET); it wakes too where the local
// offset changes. Either wake ticks and sleeps again until the time, or ticks at the
// interval once it has passed. Nothing thrown by a handler may reach Qt's event loop:
// handlers catch their own errors.
#pragma once

#include <QSocketNotifier>
#include <QTimer>
#include <cstdint>
#include <memory>
#include <optional>

#include "host/HostTimer.h"
#include "runtime/Date.h"

namespace platform {

class QtHostTimer : public host::HostTimer {
 public:
  QtHostTimer();
  ~QtHostTimer() override;
  QtHostTimer(const QtHostTimer&) = delete;
  QtHostTimer& operator=(const QtHostTimer&) = delete;

  // Restarts the timer with the new interval when it runs already.
  void StartTimer(int32_t intervalMilliseconds) override;
  void StopTimer() override;
  void ArmFor(runtime::Date due) override;

 private:
  // Sleeps until just after `due_`, a day at most, or the next change of the local offset,
  // whichever comes first; ticks at the interval once `due_` has passed, or when the timerfd
  // cannot be set.
  void Sleep();
  // The timerfd expired, or the clock was set.
  void Wake();
  void Disarm();

  QTimer ticks_;
  int32_t interval_ = 0;
  bool started_ = false;
  std::optional<runtime::Date> due_;
  int wakeFd_ = -1;
  std::unique_ptr<QSocketNotifier> wake_;
};

}  // namespace platform
