// Whether the event loops of the host and of its drivers come round. A loop may stay inside
// one event for as long as a collection may wait on its databases; longer, it is stuck. A
// stuck loop of the host's own is for the service manager to end by a restart; a driver's
// loop is stuck on a database that does not answer (a frozen server does not end a
// statement at QueryTimeout), which a restart would not mend and which holds up that
// driver alone, so it is told, and the host goes on. The thread of each watched loop marks
// the events it handles (InEvent, around every event the application delivers) and its
// waits for the next one, so that a loop asleep between collections wakes for nobody, and
// one host can watch several loops, one per thread.
#pragma once

#include <atomic>
#include <chrono>
#include <functional>
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
    friend class LoopProgress;
    std::atomic<int> depth_ = 0;
    std::atomic<bool> waiting_ = false;
    std::atomic<Clock::rep> last_ = 0;
    // A driver's loop: told of its stall and of its end, under the watcher's lock.
    std::function<void(Clock::duration)> stuck_;
    std::function<void(Clock::duration)> answering_;
    // Since when the loop told stuck has been inside its event.
    std::optional<Clock::time_point> stalledSince_;
    // Whether stalledSince_ holds a time: read without the lock by the loop's own thread.
    std::atomic<bool> stalled_ = false;
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

  // Watches one more loop while it lives: the host's own, or with `stuck` a driver's, whose
  // stall is not the host's: Stuck calls `stuck` once the loop has been busy for longer than
  // allowed, and `answering` once it came round after that, with how long it was inside
  // that event (to the look that found it out).
  std::shared_ptr<Loop> Watch(std::function<void(Clock::duration)> stuck = nullptr,
                              std::function<void(Clock::duration)> answering = nullptr);
  // On `loop`'s own thread, which is between two events or steps, so it answers: tells it
  // answering at once when it was told stuck, rather than at the next look, so that nothing
  // that follows on that thread is taken for a stuck loop's doing. Cheap when it was not.
  void CameRound(Loop& loop, Clock::time_point now);
  // Ends the watch of `loop`; a call of its `stuck` under way has returned by then.
  void Unwatch(const Loop* loop);
  // Makes `loop` the one InEvent marks on the calling thread; nullptr ends that.
  static void MarkOnThisThread(Loop* loop);
  // How long the host's loop busy longest has been busy, when that is longer than allowed;
  // nullopt while each comes round in time. Tells the drivers' loops that became stuck, and
  // those that came round again.
  std::optional<Clock::duration> Stuck(Clock::time_point now);
  Clock::duration AllowedStall() const { return allowedStall_; }

 private:
  // Under mutex_: `loop`, told stuck, came round by `now`; tells it answering.
  void Answered(Loop& loop, Clock::time_point now);

  const Clock::duration allowedStall_;
  std::mutex mutex_;
  std::vector<std::weak_ptr<Loop>> loops_;
};

}  // namespace dam
