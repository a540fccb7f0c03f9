// Tells the service manager how a `dam run` started by systemd is doing (sd_notify): ready
// once the drivers started, reloading, the status line whenever it changes, watchdog pings, and
// stopping. The pings come from a thread of their own, so that a collection waiting on a
// database within its time limits never starves them; they stop once the run's own event
// loop has been inside one event for longer than its database waits may take, so that
// systemd restarts a host that truly hangs. The same thread watches each driver's loop and
// tells of one stuck that long, which holds up that driver alone. A loop that waits for its
// next event is never stuck and is not woken to prove it. Outside systemd (no NOTIFY_SOCKET)
// nothing is sent.
#pragma once

#include <QMetaObject>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "apps/dam/host/LoopProgress.h"
#include "platform/odbc/OdbcPolicy.h"

namespace dam {

// How long an event loop of dam may stay in one event: a collection may wait on two
// databases, the historian and the SPC database, each for a login and a statement
// (the [Connections] limits of dam.ini, a 0 counting as the default), plus a margin.
std::chrono::seconds AllowedStall(const platform::OdbcPolicy& policy);

class ServiceNotifier {
 public:
  // Pings the watchdog at half the interval the service manager asks for, when it asks for
  // any, while the run's loop comes round within `allowedStall`.
  explicit ServiceNotifier(std::chrono::seconds allowedStall);
  ~ServiceNotifier();
  ServiceNotifier(const ServiceNotifier&) = delete;
  ServiceNotifier& operator=(const ServiceNotifier&) = delete;

  // The watch of one thread's event loop, through its dispatcher's aboutToBlock and the
  // application's LoopProgress::InEvent. Ended on that thread, outside any event: a loop
  // told stuck is told answering then, since it came round to end its watch.
  class LoopWatch {
   public:
    LoopWatch(LoopProgress& progress, std::shared_ptr<LoopProgress::Loop> loop);
    ~LoopWatch();
    // On the watched thread, between two of its steps: see LoopProgress::CameRound.
    void CameRound();
    LoopWatch(const LoopWatch&) = delete;
    LoopWatch& operator=(const LoopWatch&) = delete;

   private:
    LoopProgress& progress_;
    std::shared_ptr<LoopProgress::Loop> loop_;
    QMetaObject::Connection waits_;
  };

  // Watches the run's event loop, on the calling thread, while the object returned lives.
  // Null when there is no watchdog to serve.
  std::unique_ptr<LoopWatch> WatchThisLoop();
  // Watches a driver's event loop, on the calling thread, while the object returned lives:
  // `stuck` is called on the watcher's thread, with how long the loop has been inside one
  // event, once that is longer than allowed; `answering` once the loop came round after
  // that, with how long it was inside that event (at most one look late).
  std::unique_ptr<LoopWatch> WatchThisDriver(std::function<void(std::chrono::seconds)> stuck,
                                             std::function<void(std::chrono::seconds)> answering);
  void Ready();
  // The host rereads its configurations; Ready once it has.
  void Reloading();
  // Sends `line` when it differs from the last one sent.
  void Status(const std::string& line);
  // Ends the pings and says so.
  void Stopping();

 private:
  // Looks at the loops until the end, and pings the watchdog if there is one.
  void Watch();
  void EndWatch();
  // A message the manager cannot be sent is reported on stderr once, not per ping.
  void Notify(const std::string& message);

  LoopProgress progress_;
  // The watchdog's; zero without one.
  std::chrono::microseconds interval_{0};
  std::string status_;
  std::atomic<bool> reported_ = false;
  std::mutex mutex_;
  std::condition_variable wake_;
  bool ending_ = false;
  std::thread watcher_;
};

}  // namespace dam
