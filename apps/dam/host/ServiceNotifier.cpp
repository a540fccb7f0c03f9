#include "apps/dam/host/ServiceNotifier.h"

#include <systemd/sd-daemon.h>

#include <QAbstractEventDispatcher>
#include <cstring>
#include <iostream>

namespace dam {
namespace {

using std::chrono::seconds;

constexpr seconds kStallMargin{10};
// How often the loops are looked at, at least: a driver's stall is told this much late.
constexpr seconds kLookPeriod{5};

}  // namespace

seconds AllowedStall(const platform::OdbcPolicy& policy) {
  const platform::OdbcPolicy defaults;
  const seconds login{policy.loginTimeout > 0 ? policy.loginTimeout : defaults.loginTimeout};
  const seconds query{policy.queryTimeout > 0 ? policy.queryTimeout : defaults.queryTimeout};
  return 2 * (login + query) + kStallMargin;
}

ServiceNotifier::ServiceNotifier(seconds allowedStall) : progress_(allowedStall) {
  uint64_t interval = 0;
  if (sd_watchdog_enabled(0, &interval) > 0) interval_ = std::chrono::microseconds(interval);
  watcher_ = std::thread([this] { Watch(); });
}

ServiceNotifier::~ServiceNotifier() {
  EndWatch();
}

ServiceNotifier::LoopWatch::LoopWatch(LoopProgress& progress,
                                      std::shared_ptr<LoopProgress::Loop> loop)
    : progress_(progress),
      loop_(std::move(loop)),
      waits_(QObject::connect(QAbstractEventDispatcher::instance(),
                              &QAbstractEventDispatcher::aboutToBlock,
                              [loop = loop_.get()] { loop->Waiting(); })) {
  LoopProgress::MarkOnThisThread(loop_.get());
}

ServiceNotifier::LoopWatch::~LoopWatch() {
  CameRound();
  LoopProgress::MarkOnThisThread(nullptr);
  QObject::disconnect(waits_);
  progress_.Unwatch(loop_.get());
}

void ServiceNotifier::LoopWatch::CameRound() {
  progress_.CameRound(*loop_, LoopProgress::Clock::now());
}

std::unique_ptr<ServiceNotifier::LoopWatch> ServiceNotifier::WatchThisLoop() {
  if (interval_.count() == 0) return nullptr;
  return std::make_unique<LoopWatch>(progress_, progress_.Watch());
}

std::unique_ptr<ServiceNotifier::LoopWatch> ServiceNotifier::WatchThisDriver(
    std::function<void(seconds)> stuck, std::function<void(seconds)> answering) {
  const auto inSeconds = [](std::function<void(seconds)> tell) {
    return [tell = std::move(tell)](LoopProgress::Clock::duration busy) {
      tell(std::chrono::duration_cast<seconds>(busy));
    };
  };
  return std::make_unique<LoopWatch>(
      progress_, progress_.Watch(inSeconds(std::move(stuck)), inSeconds(std::move(answering))));
}

void ServiceNotifier::Ready() {
  Notify("READY=1");
}

void ServiceNotifier::Reloading() {
  // The manager matches the reload to its request by the time it was sent.
  Notify("RELOADING=1\nMONOTONIC_USEC=" +
         std::to_string(std::chrono::duration_cast<std::chrono::microseconds>(
                            std::chrono::steady_clock::now().time_since_epoch())
                            .count()));
}

void ServiceNotifier::Status(const std::string& line) {
  if (line == status_) return;
  status_ = line;
  Notify("STATUS=" + line);
}

void ServiceNotifier::Stopping() {
  EndWatch();
  Notify("STOPPING=1");
}

void ServiceNotifier::Watch() {
  const auto period = interval_.count() == 0
                          ? std::chrono::microseconds(kLookPeriod)
                          : std::min<std::chrono::microseconds>(interval_ / 2, kLookPeriod);
  std::unique_lock lock(mutex_);
  bool stuck = false;
  while (!wake_.wait_for(lock, period, [this] { return ending_; })) {
    const auto stalled = progress_.Stuck(LoopProgress::Clock::now());
    if (stalled && !stuck) {
      std::cerr << "dam run: the event loop has not come round for "
                << std::chrono::ceil<seconds>(*stalled).count()
                << " s, longer than its database waits may take ("
                << std::chrono::duration_cast<seconds>(progress_.AllowedStall()).count()
                << " s): no more watchdog pings, so that the service manager restarts dam"
                << std::endl;
    }
    stuck = stalled.has_value();
    if (!stuck && interval_.count() != 0) Notify("WATCHDOG=1");
  }
}

void ServiceNotifier::EndWatch() {
  if (!watcher_.joinable()) return;
  {
    std::lock_guard lock(mutex_);
    ending_ = true;
  }
  wake_.notify_all();
  watcher_.join();
}

void ServiceNotifier::Notify(const std::string& message) {
  const int result = sd_notify(0, message.c_str());
  if (result >= 0 || reported_.exchange(true)) return;
  std::cerr << "dam run: cannot tell the service manager " << message.substr(0, message.find('='))
            << ": " << std::strerror(-result) << std::endl;
}

}  // namespace dam
