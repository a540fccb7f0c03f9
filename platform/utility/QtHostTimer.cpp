#include "platform/utility/QtHostTimer.h"

#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <iostream>

#include "platform/utility/OffsetChange.h"
#include "runtime/Clock.h"

namespace platform {
namespace {

using namespace std::chrono_literals;

constexpr std::chrono::hours kLongestSleep{24};

timespec Later(timespec time, std::chrono::nanoseconds by) {
  const auto total =
      std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec) + by;
  const auto seconds = std::chrono::floor<std::chrono::seconds>(total);
  return {static_cast<time_t>(seconds.count()), static_cast<long>((total - seconds).count())};
}

}  // namespace

QtHostTimer::QtHostTimer() {
  // A precise timer keeps the 100 ms collection check from drifting towards 95 ms or
  // 105 ms under Qt's default coarse timers.
  ticks_.setTimerType(Qt::PreciseTimer);
  QObject::connect(&ticks_, &QTimer::timeout, &ticks_, [this] { OnTimer.Raise(); });
  wakeFd_ = timerfd_create(CLOCK_REALTIME, TFD_NONBLOCK | TFD_CLOEXEC);
  if (wakeFd_ < 0) {
    std::cerr << "The host timer cannot sleep until a collection is due (" << std::strerror(errno)
              << "): it checks every tick instead." << std::endl;
    return;
  }
  wake_ = std::make_unique<QSocketNotifier>(wakeFd_, QSocketNotifier::Read);
  wake_->setEnabled(false);
  QObject::connect(wake_.get(), &QSocketNotifier::activated, wake_.get(), [this] { Wake(); });
}

QtHostTimer::~QtHostTimer() {
  wake_.reset();
  if (wakeFd_ >= 0) close(wakeFd_);
}

void QtHostTimer::StartTimer(int32_t intervalMilliseconds) {
  interval_ = intervalMilliseconds;
  started_ = true;
  due_.reset();
  Disarm();
  ticks_.start(intervalMilliseconds);
}

void QtHostTimer::StopTimer() {
  started_ = false;
  due_.reset();
  Disarm();
  ticks_.stop();
}

void QtHostTimer::ArmFor(runtime::Date due) {
  if (!started_) return;
  due_ = due;
  Sleep();
}

// The wall-clock time becomes a time of the system's real-time clock as far from its now
// as `due_` is from the local now, which holds until the local offset changes: there the
// timer wakes to look again.
void QtHostTimer::Sleep() {
  // At most a day at a time, so that a time years ahead still fits the timer; a millisecond
  // on, since the owner acts on the first tick strictly after the time and the wall clock
  // reads milliseconds.
  const runtime::Date local = runtime::Now();
  const std::chrono::milliseconds delay =
      runtime::Between(local, std::min(*due_, runtime::Shifted(local, kLongestSleep))) + 1ms;
  if (delay > 0ms && wakeFd_ >= 0) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    itimerspec wake{};
    wake.it_value = Later(now, delay);
    if (const auto change = NextOffsetChange(now.tv_sec, wake.it_value.tv_sec)) {
      wake.it_value = {*change, 0};
    }
    if (timerfd_settime(wakeFd_, TFD_TIMER_ABSTIME | TFD_TIMER_CANCEL_ON_SET, &wake, nullptr) ==
        0) {
      ticks_.stop();
      wake_->setEnabled(true);
      return;
    }
  }
  Disarm();
  if (!ticks_.isActive()) ticks_.start(interval_);
}

void QtHostTimer::Wake() {
  uint64_t expirations = 0;
  // ECANCELED says the clock was set; EAGAIN that there was nothing to read after all.
  if (read(wakeFd_, &expirations, sizeof expirations) < 0 && errno == EAGAIN) return;
  if (!due_) return;
  Sleep();
  OnTimer.Raise();
}

void QtHostTimer::Disarm() {
  if (wakeFd_ < 0) return;
  wake_->setEnabled(false);
  const itimerspec off{};
  timerfd_settime(wakeFd_, 0, &off, nullptr);
}

}  // namespace platform
