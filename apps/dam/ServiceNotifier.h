// Tells the service manager how a `dam run` started by systemd is doing (sd_notify):
// ready once the driver started, the status line whenever it changes, a watchdog ping
// from the event loop, and stopping. A loop blocked past the unit's WatchdogSec stops
// the pings, so systemd restarts the service. Outside systemd (no NOTIFY_SOCKET) every
// call does nothing.
#pragma once

#include <QTimer>
#include <string>

namespace dam {

class ServiceNotifier {
 public:
  // Pings the watchdog from the current thread's event loop at half the interval the
  // service manager asks for, when it asks for any.
  ServiceNotifier();

  void Ready();
  // Sends `line` when it differs from the last one sent.
  void Status(const std::string& line);
  void Stopping();

 private:
  // A message the manager cannot be sent is reported on stderr once, not per ping.
  void Notify(const std::string& message);

  QTimer watchdog_;
  std::string status_;
  bool reported_ = false;
};

}  // namespace dam
