#include "platform/utility/QtHostTimer.h"

namespace platform {

QtHostTimer::QtHostTimer() {
  // A precise timer keeps the 100 ms collection check from drifting towards 95 ms or
  // 105 ms under Qt's default coarse timers.
  timer_.setTimerType(Qt::PreciseTimer);
  QObject::connect(&timer_, &QTimer::timeout, &timer_, [this] { OnTimer.Raise(); });
}

void QtHostTimer::StartTimer(int32_t intervalMilliseconds) {
  timer_.start(intervalMilliseconds);
}

void QtHostTimer::StopTimer() {
  timer_.stop();
}

}  // namespace platform
