// SIGINT and SIGTERM for a host that runs until it is told to stop. A thread of its own
// takes the signals, so a signal that arrives while the event loop waits inside a database
// call still stops the host in time: it asks the loop to quit and, while the loop does
// not get there, keeps cancelling whatever blocks it.
#pragma once

#include <signal.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace dam {

class StopSignals {
 public:
  // Blocks SIGINT and SIGTERM in the calling thread and in every thread started after
  // it, so make this before anything starts threads. On a signal, `quit` runs once and
  // then `unblock` every `grace` until Stopped() is called; both run on the signal
  // thread and must be safe there.
  StopSignals(std::function<void()> quit, std::function<void()> unblock,
              std::chrono::milliseconds grace = std::chrono::milliseconds(500));
  // Ends the signal thread and restores the signal mask.
  ~StopSignals();
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;

  bool Requested() const { return requested_; }
  // The host has left its loop: nothing needs unblocking any more.
  void Stopped();

 private:
  void Watch();

  std::function<void()> quit_;
  std::function<void()> unblock_;
  std::chrono::milliseconds grace_;
  sigset_t signals_;
  sigset_t previousMask_;
  std::atomic<bool> requested_ = false;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool stopped_ = false;
  bool ending_ = false;
  std::thread watcher_;
};

}  // namespace dam
