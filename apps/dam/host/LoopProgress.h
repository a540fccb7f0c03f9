// Whether the host's event loops come round. A loop may stay inside one event for as long
// as a collection may wait on its databases; longer, it is stuck, and the service manager
// is to restart the host. Each loop beats a heartbeat of its own, so that one host can
// watch several loops, one per thread.
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

  // One loop's last sign of progress: written by the loop's thread, read by the watcher's.
  class Heartbeat {
   public:
    explicit Heartbeat(Clock::time_point now) { Beat(now); }
    void Beat(Clock::time_point now) { last_ = now.time_since_epoch().count(); }
    Clock::time_point Last() const { return Clock::time_point(Clock::duration(last_.load())); }

   private:
    std::atomic<Clock::rep> last_;
  };

  // A loop is stuck once it has not beaten for longer than `allowedStall`.
  explicit LoopProgress(Clock::duration allowedStall) : allowedStall_(allowedStall) {}

  // Watches one more loop, from `now` on, while the heartbeat lives.
  std::shared_ptr<Heartbeat> Watch(Clock::time_point now);
  // How long the loop that beat longest ago has gone without a beat, when that is longer
  // than allowed; nullopt while every watched loop comes round in time.
  std::optional<Clock::duration> Stuck(Clock::time_point now);
  Clock::duration AllowedStall() const { return allowedStall_; }

 private:
  const Clock::duration allowedStall_;
  std::mutex mutex_;
  std::vector<std::weak_ptr<Heartbeat>> heartbeats_;
};

}  // namespace dam
