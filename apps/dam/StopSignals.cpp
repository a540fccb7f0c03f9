#include "apps/dam/StopSignals.h"

#include <pthread.h>

namespace dam {

StopSignals::StopSignals(std::function<void()> quit, std::function<void()> unblock,
                         std::chrono::milliseconds grace)
    : quit_(std::move(quit)), unblock_(std::move(unblock)), grace_(grace) {
  sigemptyset(&signals_);
  sigaddset(&signals_, SIGINT);
  sigaddset(&signals_, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals_, &previousMask_);
  watcher_ = std::thread([this] { Watch(); });
}

StopSignals::~StopSignals() {
  {
    std::lock_guard lock(mutex_);
    ending_ = true;
  }
  changed_.notify_all();
  // Ends a wait for a signal: the watcher sees `ending_` and takes this one for no request.
  pthread_kill(watcher_.native_handle(), SIGTERM);
  watcher_.join();
  pthread_sigmask(SIG_SETMASK, &previousMask_, nullptr);
}

void StopSignals::Stopped() {
  {
    std::lock_guard lock(mutex_);
    stopped_ = true;
  }
  changed_.notify_all();
}

void StopSignals::Watch() {
  // Sleeps until a signal comes, without waking in between; the destructor sends one.
  int signal = 0;
  while (sigwait(&signals_, &signal) != 0) {
  }
  {
    std::lock_guard lock(mutex_);
    if (ending_) return;
  }
  requested_ = true;
  quit_();
  std::unique_lock lock(mutex_);
  while (!changed_.wait_for(lock, grace_, [this] { return stopped_ || ending_; })) {
    lock.unlock();
    unblock_();
    lock.lock();
  }
}

}  // namespace dam
