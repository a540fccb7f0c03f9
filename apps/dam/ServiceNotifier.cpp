#include "apps/dam/ServiceNotifier.h"

#include <systemd/sd-daemon.h>

#include <chrono>
#include <cstring>
#include <iostream>

namespace dam {

ServiceNotifier::ServiceNotifier() {
  uint64_t interval = 0;
  if (sd_watchdog_enabled(0, &interval) <= 0 || interval == 0) return;
  QObject::connect(&watchdog_, &QTimer::timeout, [this] { Notify("WATCHDOG=1"); });
  watchdog_.start(std::chrono::duration_cast<std::chrono::milliseconds>(
      std::chrono::microseconds(interval / 2)));
}

void ServiceNotifier::Ready() {
  Notify("READY=1");
}

void ServiceNotifier::Status(const std::string& line) {
  if (line == status_) return;
  status_ = line;
  Notify("STATUS=" + line);
}

void ServiceNotifier::Stopping() {
  watchdog_.stop();
  Notify("STOPPING=1");
}

void ServiceNotifier::Notify(const std::string& message) {
  const int result = sd_notify(0, message.c_str());
  if (result >= 0 || reported_) return;
  reported_ = true;
  std::cerr << "dam run: cannot tell the service manager " << message.substr(0, message.find('='))
            << ": " << std::strerror(-result) << std::endl;
}

}  // namespace dam
