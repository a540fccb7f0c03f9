#include "apps/dam/host/RunningConfiguration.h"

#include <QAbstractEventDispatcher>
#include <algorithm>
#include <type_traits>
#include <utility>

#include "apps/dam/host/ConfigurationName.h"
#include "apps/shared/Failures.h"
#include "apps/shared/TerminalText.h"
#include "common/TypeTables.h"
#include "platform/odbc/ConnectionSecrets.h"
#include "runtime/Error.h"

namespace dam {
namespace {

bool HasErrors(const std::vector<host::CheckFinding>& findings) {
  return std::any_of(findings.begin(), findings.end(),
                     [](const host::CheckFinding& finding) { return finding.error; });
}

std::string HistorianStatus(const config::Configuration1& configuration) {
  const std::string& error = configuration.DataLinkError();
  return common::GetDataLinkStatus(configuration.DataLinkState()) +
         (error.empty() ? ""
                        : " (" + apps::Printable(platform::MaskConnectionSecrets(error)) + ")");
}

}  // namespace

RunningConfiguration::RunningConfiguration(std::string file, Settings settings,
                                           ServiceNotifier& service, std::function<void()> changed)
    : file_(std::move(file)),
      settings_(std::move(settings)),
      service_(service),
      changed_(std::move(changed)) {
  if (settings_.activity) return;
  context_->moveToThread(&thread_);
  thread_.start();
  // Before any step: the watch marks only the events that begin after it.
  QMetaObject::invokeMethod(
      context_.get(),
      [this] {
        watch_ = service_.WatchThisDriver([this](std::chrono::seconds busy) { Stuck(busy); },
                                          [this](std::chrono::seconds busy) { Answering(busy); });
      },
      Qt::QueuedConnection);
}

RunningConfiguration::~RunningConfiguration() {
  Stop().wait();
  if (!thread_.isRunning()) return;
  thread_.quit();
  thread_.wait();
}

template <class Result>
std::future<Result> RunningConfiguration::OnDriverThread(std::function<Result()> step) {
  // A step runs once the loop came round, and a step that waited on a database has come round
  // by its end: either is told before the run hears of the step, which must not find its
  // driver still taken for one that does not answer.
  auto task = std::make_shared<std::packaged_task<Result()>>([this, step = std::move(step)] {
    CameRound();
    if constexpr (std::is_void_v<Result>) {
      step();
      CameRound();
    } else {
      Result result = step();
      CameRound();
      return result;
    }
  });
  std::future<Result> done = task->get_future();
  // Each step is news to the run once its future is ready: a start that failed, too.
  if (context_->thread() == QThread::currentThread()) {
    (*task)();
    news_ = true;
    changed_();
  } else {
    QMetaObject::invokeMethod(
        context_.get(),
        [this, task] {
          (*task)();
          news_ = true;
          changed_();
        },
        Qt::QueuedConnection);
  }
  return done;
}

std::future<RunningConfiguration::Outcome> RunningConfiguration::Start(std::string text) {
  {
    // A start stuck before its driver read the text is told under this name.
    std::lock_guard lock(mutex_);
    name_ = ConfigurationNameIn(file_, text);
  }
  return OnDriverThread<Outcome>([this, text = std::move(text)] { return Begin(text); });
}

std::future<RunningConfiguration::Outcome> RunningConfiguration::Reload(std::string text) {
  return OnDriverThread<Outcome>([this, text = std::move(text)] { return Replace(text); });
}

std::future<void> RunningConfiguration::Stop() {
  return OnDriverThread<void>([this] { Halt(); });
}

std::string RunningConfiguration::Name() const {
  std::lock_guard lock(mutex_);
  return name_;
}

RunningConfiguration::Status RunningConfiguration::Look() const {
  std::lock_guard lock(mutex_);
  return last_;
}

std::vector<RunError> RunningConfiguration::TakeErrors() {
  std::lock_guard lock(mutex_);
  return std::exchange(errors_, {});
}

RunningConfiguration::Outcome RunningConfiguration::Begin(const std::string& text) {
  Outcome outcome;
  try {
    handle_ = std::make_unique<DriverHandle>();
    handle_->OpenModule(settings_.driverClass);
    // Read before the check: the data link test of this reading is the one the check and
    // the driver take. A text the reader stops in is shown by the check first.
    std::exception_ptr unreadable;
    try {
      handle_->Read(text);
    } catch (...) {
      unreadable = std::current_exception();
    }
    {
      std::lock_guard lock(mutex_);
      name_ = handle_->NameFor(file_);
    }
    if (!settings_.activity) {
      note_ = std::make_unique<platform::LineNote>(platform::LineFields{.configuration = name_});
    }
    outcome.findings = handle_->Check(text);
    if (HasErrors(outcome.findings) && !settings_.force) {
      throw apps::Failure(apps::kExitInvalidConfiguration,
                          "the configuration " + file_ +
                              " has errors (above); fix them, or run it as it reads with --force");
    }
    apps::Doing(apps::kExitInvalidConfiguration, "the configuration " + file_ + " cannot be loaded",
                [&] {
                  if (unreadable) std::rethrow_exception(unreadable);
                });
    const config::Configuration1& configuration = handle_->Reading();
    if (!configuration.Active()) {
      throw apps::Failure(
          apps::kExitInactiveConfiguration,
          "the configuration " + file_ + " is inactive (ACTIVE=0): there is nothing to collect");
    }
    outcome.historian = HistorianStatus(configuration);
    handle_->Create(settings_.spc, name_);
    handle_->Load(text);
    text_ = text;
    // Before the start, which may log already (a schedule it cannot plan).
    status_ = std::make_unique<RunStatus>(handle_->Components(), configuration);
    whileSpooled_ = std::make_unique<QTimer>();
    if (!handle_->Driver().StartDriver()) {
      throw apps::Failure(apps::kExitFailure, "the driver could not start");
    }
    if (settings_.board) metrics_ = std::make_unique<RunMetrics>(configuration);
    if (settings_.activity && !handle_->Driver().ShowActivity()) {
      throw apps::Failure(apps::kExitFailure, "the activity window could not be shown");
    }
    QObject::connect(whileSpooled_.get(), &QTimer::timeout, [this] { Refresh(); });
    // The status changes with what the event loop handles (a collection, a save, an
    // error), so it is taken whenever the loop has handled its events, and an idle driver
    // sleeps. The spool's forwarder drains the spool on a thread of its own: while the
    // spool holds subgroups the status is taken once a second as well.
    looking_ = QObject::connect(QAbstractEventDispatcher::instance(),
                                &QAbstractEventDispatcher::aboutToBlock, context_.get(),
                                [this] { Refresh(); });
    Refresh();
  } catch (...) {
    outcome.failure = std::current_exception();
    Halt();
  }
  return outcome;
}

RunningConfiguration::Outcome RunningConfiguration::Replace(const std::string& text) {
  Outcome outcome;
  try {
    // As at the start: read first, so that the check and the load take the reading's test.
    std::exception_ptr unreadable;
    try {
      handle_->Read(text);
    } catch (...) {
      unreadable = std::current_exception();
    }
    outcome.findings = handle_->Check(text);
    if (HasErrors(outcome.findings) && !settings_.force) {
      throw apps::Failure(
          apps::kExitInvalidConfiguration,
          "the configuration " + file_ + " has errors (above); it runs on as it was");
    }
    apps::Doing(apps::kExitInvalidConfiguration,
                "the configuration " + file_ + " cannot be loaded; it runs on as it was", [&] {
                  if (unreadable) std::rethrow_exception(unreadable);
                });
    if (handle_->NameFor(file_) != name_) {
      handle_->DropLinkTest();
      outcome.renamed = true;
      return outcome;
    }
    host::IDriver& driver = handle_->Driver();
    driver.StopDriver();
    handle_->Load(text);
    text_ = text;
    if (!handle_->Reading().Active()) {
      throw apps::Failure(apps::kExitInactiveConfiguration,
                          "the configuration " + file_ + " is inactive (ACTIVE=0): stopped");
    }
    outcome.historian = HistorianStatus(handle_->Reading());
    if (!driver.StartDriver())
      throw apps::Failure(apps::kExitFailure, "the driver could not start");
  } catch (...) {
    // The status and the metrics take the schedule from the host's reading: back to the text
    // the driver still has, with the link test just made when the link is the same.
    if (text_ != text) {
      try {
        handle_->Read(text_);
      } catch (const runtime::Error&) {
        // Read before, it can fail now only at the table definitions, past its schedule.
      }
    }
    handle_->DropLinkTest();
    outcome.failure = std::current_exception();
  }
  return outcome;
}

void RunningConfiguration::Halt() {
  QObject::disconnect(looking_);
  // A configuration that stops leaves the board to the run, which removes it when it goes.
  metrics_.reset();
  if (status_) {
    handle_->Driver().StopDriver();
    Refresh();
    handle_->Unload();
  }
  whileSpooled_.reset();
  status_.reset();
  handle_.reset();
  watch_.reset();
  note_.reset();
}

void RunningConfiguration::Refresh() {
  // A look that blocks is a stuck loop to the watchdog.
  const LoopProgress::InEvent inEvent;
  CameRound();
  Status now;
  std::vector<RunError> errors;
  // Nothing may escape into the event loop: a status that cannot be read is shown, and the
  // driver goes on collecting.
  try {
    platform::SpcSpool& spool = handle_->Components().Spool();
    now.state = RunStatus::StateName(handle_->Driver().State());
    now.saved = status_->SavedSubgroups();
    now.spooled = spool.Depth();
    now.lost = spool.Lost();
    now.next = status_->NextCollection();
    now.lastCollection = handle_->Collections().last;
    errors = status_->NewErrors();
    if (metrics_) {
      settings_.board->Publish(
          name_, metrics_->Take(now.state, *status_, handle_->Collections(), now.spooled));
      settings_.board->PublishSpool(now.spooled);
    }
    if (now.spooled == 0) {
      whileSpooled_->stop();
    } else if (!whileSpooled_->isActive()) {
      whileSpooled_->start(1000);
    }
  } catch (...) {
    now.unavailable = runtime::ToError(std::current_exception()).NumberAndDescription();
  }
  bool changed = !errors.empty();
  {
    std::lock_guard lock(mutex_);
    now.lastError = errors.empty() ? last_.lastError : errors.back().message;
    if (!now.unavailable.empty()) {
      now.saved = last_.saved;
      now.state = last_.state;
    }
    changed = changed || !(now == last_);
    last_ = now;
    errors_.insert(errors_.end(), errors.begin(), errors.end());
  }
  if (!changed) return;
  news_ = true;
  changed_();
}

void RunningConfiguration::CameRound() {
  if (watch_) watch_->CameRound();
}

void RunningConfiguration::Stuck(std::chrono::seconds busy) {
  notAnswering_ = true;
  Tell("Driver Not Answering", "inside one database call for " + std::to_string(busy.count()) +
                                   " s, longer than its time limits allow");
}

void RunningConfiguration::Answering(std::chrono::seconds busy) {
  notAnswering_ = false;
  Tell("Driver Answering Again",
       "back after " + std::to_string(busy.count()) + " s inside one database call");
}

// As the run tells a collection log line of the driver's; the line names the configuration,
// not dam, so that it is found with the driver's own.
void RunningConfiguration::Tell(const std::string& description, const std::string& detail) {
  const RunError error{description + ": " + detail, 0, "dam run"};
  std::string name;
  {
    std::lock_guard lock(mutex_);
    name = name_;
    last_.lastError = error.message;
    errors_.push_back(error);
  }
  log_.WriteLogLine(name, description, detail, file_);
  news_ = true;
  changed_();
}

}  // namespace dam
