// The signals of a host that runs until it is told to stop, all handled here. SIGINT, SIGTERM
// and SIGQUIT (Ctrl-\, which would otherwise end it at once with a core dump) stop it; SIGHUP
// reloads a host that can, and otherwise stops it too. Any other signal that would end the
// process at once and is no fault of the program's own (SIGALRM, SIGXCPU, SIGPWR, the real-time
// signals, ...) stops it too, and then ends it by that signal (EndAsSignalled), so that whoever
// sent it, a service manager deciding on a restart for one, sees the end it asked for. SIGPIPE,
// SIGUSR1 and SIGUSR2 are ignored: an output that was closed is seen by OutputClosed and stops
// the host after the driver. A thread of its own takes the stopping signals, so a signal that
// arrives while the event loop waits inside a database call still stops the host in time: it
// asks the loop to quit and, while the loop does not get there, keeps cancelling whatever
// blocks it.
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
  // Blocks the stopping signals in the calling thread and in every thread started after it, so
  // make this before anything starts threads; ignores the others above. On a stopping signal,
  // `quit` runs once and then `unblock` every `grace` until Stopped() is called; both run on
  // the signal thread and must be safe there. With `reload`, SIGHUP runs it there instead, as
  // often as it comes.
  StopSignals(std::function<void()> quit, std::function<void()> unblock,
              std::chrono::milliseconds grace = std::chrono::milliseconds(500),
              std::function<void()> reload = {});
  // Ends the signal thread and restores the signal mask and the ignored signals' handling.
  ~StopSignals();
  StopSignals(const StopSignals&) = delete;
  StopSignals& operator=(const StopSignals&) = delete;

  bool Requested() const { return signal_ != 0; }
  // The host has left its loop: nothing needs unblocking any more.
  void Stopped();
  // Once the host has stopped and said so: ends the process by the signal that stopped it, if
  // that one would have ended it at once; returns otherwise.
  void EndAsSignalled() const;

 private:
  void Watch();

  std::function<void()> quit_;
  std::function<void()> unblock_;
  std::chrono::milliseconds grace_;
  std::function<void()> reload_;
  sigset_t signals_;
  sigset_t endingAtOnce_;
  sigset_t previousMask_;
  struct sigaction previousPipe_ {
  }, previousUser1_{}, previousUser2_{};
  std::atomic<int> signal_ = 0;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool stopped_ = false;
  bool ending_ = false;
  std::thread watcher_;
};

// True once `fd` is a pipe or socket whose reader has gone (`dam run | head -1` after head
// ended), where SIGPIPE would have ended the process at its next write.
bool OutputClosed(int fd);

}  // namespace dam
