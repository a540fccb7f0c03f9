// One configuration of `dam run`: its driver instance (a DriverHandle) and the status the run
// shows of it. Unless the run shows windows, which need the GUI thread, the driver lives on a
// thread of its own with its own event loop, so that a database that does not answer holds
// up this configuration alone; its handle, its timers and its status are made, used and
// destroyed on that thread, and the driver's code stays single-threaded. Observers of a
// run attach here, one per configuration.
//
// Members are called from the run's thread; each step runs on the driver's thread and its
// future is ready when the step is done there.
#pragma once

#include <QObject>
#include <QThread>
#include <QTimer>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <exception>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "apps/dam/host/DriverHandle.h"
#include "apps/dam/host/MetricsBoard.h"
#include "apps/dam/host/RunMetrics.h"
#include "apps/dam/host/RunStatus.h"
#include "apps/dam/host/ServiceNotifier.h"
#include "platform/components/LineFields.h"
#include "platform/components/PlatformComponents.h"
#include "runtime/Date.h"

namespace dam {

class RunningConfiguration {
 public:
  struct Settings {
    std::string spc;
    std::string driverClass;
    // Runs a configuration the check finds errors in, as the driver's reading takes it.
    bool force = false;
    // Shows the driver's activity window: the driver stays on the calling thread.
    bool activity = false;
    // Where the driver's metrics are published, if anywhere.
    MetricsBoard* board = nullptr;
  };

  // What a start or a reload has to say, shown by the run in this order: the check's
  // findings, the historian's status ("" when it was not
  // reached), and the failure that keeps the text from running (null when it runs).
  struct Outcome {
    std::vector<host::CheckFinding> findings;
    std::string historian;
    std::exception_ptr failure;
    // The text names another configuration (NAME): it is to be started anew.
    bool renamed = false;
  };

  // How the driver is doing, as of its thread's last round.
  struct Status {
    std::string state = "starting";
    int64_t saved = 0;
    int64_t spooled = 0;
    int64_t lost = 0;
    std::string next;
    // When the last collection started, if there was one.
    std::optional<runtime::Date> lastCollection;
    // "description: detail" of the newest error, "" while there was none.
    std::string lastError;
    // Why the status could not be read, "" when it could.
    std::string unavailable;
    friend bool operator==(const Status&, const Status&) = default;
  };

  // `changed` is called on the driver's thread whenever its status may have changed.
  RunningConfiguration(std::string file, Settings settings, ServiceNotifier& service,
                       std::function<void()> changed);
  // Stops the driver if it runs, and ends its thread.
  ~RunningConfiguration();
  RunningConfiguration(const RunningConfiguration&) = delete;
  RunningConfiguration& operator=(const RunningConfiguration&) = delete;

  const std::string& File() const { return file_; }
  // The configuration's NAME, else the file's stem; known once Start is called. Safe while
  // a start still reads it on the driver's thread.
  std::string Name() const;
  // The text the driver was last handed.
  const std::string& Text() const { return text_; }

  // Reads, checks and starts `text`: OpenModule, Read, Check, Create, Load, StartDriver.
  // On a failure the driver is gone again.
  std::future<Outcome> Start(std::string text);
  // Hands the running driver `text` as the host does: StopDriver, Load, StartDriver. A text
  // that does not read or check, or names another configuration, leaves the driver as it was.
  std::future<Outcome> Reload(std::string text);
  // Stops and unloads the driver.
  std::future<void> Stop();

  Status Look() const;
  // The driver's loop has been inside one database call for longer than its time limits
  // allow, and has not come round since: a step of the driver's that is done has found it
  // come round; safe from any thread.
  bool NotAnswering() const { return notAnswering_; }
  // True once after the status or the errors changed: a look at hundreds of configurations
  // reads only the few that did something since the last.
  bool TakeNews() { return news_.exchange(false); }
  // The errors since the last call, oldest first.
  std::vector<RunError> TakeErrors();

 private:
  template <class Result>
  std::future<Result> OnDriverThread(std::function<Result()> step);
  Outcome Begin(const std::string& text);
  Outcome Replace(const std::string& text);
  void Halt();
  // Takes the status on the driver's thread after each round of its event loop.
  void Refresh();
  // The driver's loop has been inside one event for `busy`, longer than its database waits
  // may take, or came round after `busy` inside it: told from the watcher's thread, as the
  // driver's cannot, and in the collection log.
  void Stuck(std::chrono::seconds busy);
  // On the driver's thread, which came round: a stall told is told over at once.
  void CameRound();
  void Answering(std::chrono::seconds busy);
  void Tell(const std::string& description, const std::string& detail);

  const std::string file_;
  const Settings settings_;
  ServiceNotifier& service_;
  const std::function<void()> changed_;
  // Written on the driver's thread under mutex_: the watcher's reads it too.
  std::string name_;
  std::string text_;

  QThread thread_;
  std::unique_ptr<QObject> context_ = std::make_unique<QObject>();
  // On the driver's thread.
  std::unique_ptr<DriverHandle> handle_;
  std::unique_ptr<RunStatus> status_;
  std::unique_ptr<RunMetrics> metrics_;
  // On a thread of its own, every line the driver's thread writes names its configuration.
  std::unique_ptr<platform::LineNote> note_;
  // Made before the start: a start stuck on its databases is told as a collection is.
  std::unique_ptr<ServiceNotifier::LoopWatch> watch_;
  std::unique_ptr<QTimer> whileSpooled_;
  QMetaObject::Connection looking_;

  // Writes the lines of the watcher's thread, whatever the driver's thread does.
  platform::PlatformComponents log_;
  std::atomic<bool> notAnswering_ = false;
  mutable std::mutex mutex_;
  std::atomic<bool> news_ = true;
  Status last_;
  std::vector<RunError> errors_;
};

}  // namespace dam
