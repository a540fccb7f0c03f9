// Whether the host's event loops come round. A loop may stay inside one event for as long
// as a collection may wait on its databases; longer, it is stuck, and the service manager
// is to restart the host. The thread of each watched loop marks the events it handles
// (InEvent, around every event the application delivers) and its waits for the next one,
// so that a loop asleep between collections wakes for nobody, and one host can watch
// several loops, one per thread.
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace dam {

class LoopProgress {
 public:
  using Clock = std::chrono::steady_clock;

  // One loop's progress: written by the loop's thread, read by the watcher's.
  class Loop {
   public:
    // An event begins or ends; events nest where one runs a loop of its own.
    void Enter(Clock::time_point now);
    void Leave(Clock::time_point now);
    // The loop waits for its next event, a nested loop too.
    void Waiting() { waiting_ = true; }
    // How long the loop has been inside an event without beginning or ending another;
    // zero while it is inside none or waits.
    Clock::duration Busy(Clock::time_point now) const;

   private:
    std::atomic<int> depth_ = 0;
    std::atomic<bool> waiting_ = false;
    std::atomic<Clock::rep> last_ = 0;
  };

  // While it lives, the loop watched on the calling thread, if any, is inside an event.
  class InEvent {
   public:
    InEvent();
    ~InEvent();
    InEvent(const InEvent&) = delete;
    InEvent& operator=(const InEvent&) = delete;

   private:
    Loop* const loop_;
  };

  // A loop is stuck once it has been busy for longer than `allowedStall`.
  explicit LoopProgress(Clock::duration allowedStall) : allowedStall_(allowedStall) {}

  // Watches one more loop while it lives.
  std::shared_ptr<Loop> Watch();
  // Makes `loop` the one InEvent marks on the calling thread; nullptr ends that.
  static void MarkOnThisThread(Loop* loop);
  // How long the loop busy longest has been busy, when that is longer than allowed;
  // nullopt while every watched loop comes round in time.
  std::optional<Clock::duration> Stuck(Clock::time_point now);
  Clock::duration AllowedStall() const { return allowedStall_; }

 private:
  const Clock::duration allowedStall_;
  std::mutex mutex_;
  std::vector<std::weak_ptr<Loop>> loops_;
};

}  // namespace dam
