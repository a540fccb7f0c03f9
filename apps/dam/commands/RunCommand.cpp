#include <sys/stat.h>
#include <unistd.h>

#include <QApplication>
#include <QSocketNotifier>
#include <QTimer>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <climits>
#include <exception>
#include <functional>
#include <future>
#include <iostream>
#include <map>
#include <memory>
#include <optional>
#include <set>

#include "apps/dam/Commands.h"
#include "apps/dam/commands/CheckFindings.h"
#include "apps/dam/host/ConfigFile.h"
#include "apps/dam/host/ConfigurationPaths.h"
#include "apps/dam/host/DamHost.h"
#include "apps/dam/host/HeadlessApplication.h"
#include "apps/dam/host/JournalLines.h"
#include "apps/dam/host/LoopProgress.h"
#include "apps/dam/host/RunningConfiguration.h"
#include "apps/dam/host/ServiceNotifier.h"
#include "apps/dam/host/StopSignals.h"
#include "apps/dam/output/RunEvents.h"
#include "apps/dam/output/StatusLines.h"
#include "apps/dam/windows/WindowsApplication.h"
#include "apps/shared/Failures.h"
#include "apps/shared/TerminalText.h"
#include "platform/components/PlatformComponents.h"
#include "platform/odbc/ConnectionSecrets.h"
#include "platform/odbc/OdbcCancel.h"
#include "runtime/Error.h"

namespace dam {
namespace {

// Looks when the reader of a pipe or socket at `fd` goes, without waiting for the next
// line: the writer's end then polls as an error, which a read notifier reports. A terminal
// or a file has no reader to lose, and would read as ready at any time: not watched.
std::unique_ptr<QSocketNotifier> WatchForClosing(int fd, const std::function<void()>& look) {
  struct stat output {};
  if (fstat(fd, &output) != 0 || !(S_ISFIFO(output.st_mode) || S_ISSOCK(output.st_mode))) {
    return nullptr;
  }
  auto notifier = std::make_unique<QSocketNotifier>(fd, QSocketNotifier::Read);
  QSocketNotifier* watching = notifier.get();
  QObject::connect(watching, &QSocketNotifier::activated, watching, [watching, look] {
    // Once is enough: a closed output stops the run, and a reader that wrote to a socket
    // would wake the loop again and again.
    watching->setEnabled(false);
    look();
  });
  return notifier;
}

std::string Masked(const std::string& text) {
  return platform::MaskConnectionSecrets(text);
}

host::CheckFinding Masked(host::CheckFinding finding) {
  finding.text = Masked(finding.text);
  return finding;
}

// What a failure says, with the number and source of the error that caused it; a failure
// of dam's own has number 0.
RunError Failed(std::exception_ptr failure) {
  RunError said{Masked(apps::FailureText(failure, false)), 0, "dam run"};
  std::exception_ptr cause = failure;
  try {
    std::rethrow_exception(failure);
  } catch (const apps::Failure& e) {
    const auto* nested = dynamic_cast<const std::nested_exception*>(&e);
    cause = nested ? nested->nested_ptr() : nullptr;
  } catch (...) {
  }
  if (cause) {
    const runtime::Error error = runtime::ToError(cause);
    said.number = error.Number();
    said.source = Masked(error.Source());
  }
  return said;
}

// The configurations of one `dam run`, each with what the run last showed of it. Lives on
// the run's thread: the drivers report to it through queued calls.
class Run {
 public:
  Run(const RunOptions& options, ServiceNotifier& service, StopSignals& stop)
      : options_(options),
        service_(service),
        stop_(stop),
        runEvents_(std::cout, ""),
        terminal_(isatty(STDOUT_FILENO) != 0) {}

  // Starts every configuration the paths name. A run of one configuration waits for it and
  // fails as it does. A run of several goes on while its configurations start, each on its
  // own thread, so that one whose historian does not answer holds up no other; it reports
  // those that cannot run, and ends, failing as the first one did, only when none can.
  void Start() {
    const std::vector<std::string> files = ConfigurationFiles(options_.configs);
    order_ = files;
    several_ = files.size() > 1;
    if (!several_) {
      Begin({{files[0], ReadConfigurationFile(files[0], false)}});
      if (std::exception_ptr failure = Collect(true)) std::rethrow_exception(failure);
      return;
    }
    std::vector<std::pair<std::string, std::string>> texts;
    for (const std::string& file : files) {
      try {
        texts.emplace_back(file, ReadConfigurationFile(file, false));
      } catch (...) {
        Skipped(file, std::current_exception(), "; it does not run");
        failures_.emplace(file, std::current_exception());
      }
    }
    Begin(texts);
  }

  // Rereads the paths: a configuration whose file went is stopped, a new one started, one
  // whose text changed is handed the new text; the others run on untouched. What cannot
  // be read leaves what runs as it was.
  void Reload() {
    service_.Reloading();
    Say(nullptr, "reload", "reloading " + Paths());
    std::vector<std::string> files;
    try {
      files = ConfigurationFiles(options_.configs);
    } catch (...) {
      Skipped(Paths(), std::current_exception(), "; every configuration runs on as it was");
      service_.Ready();
      return;
    }
    several_ = several_ || files.size() > 1;
    order_ = files;
    const std::set<std::string> wanted(files.begin(), files.end());
    std::erase_if(running_, [&](const std::unique_ptr<Shown>& shown) {
      if (wanted.contains(shown->configuration->File())) return false;
      Say(shown.get(), "removed",
          "removed: stopped after " + std::to_string(shown->configuration->Look().saved) +
              " subgroup(s)");
      return true;
    });
    std::vector<std::pair<std::string, std::string>> added;
    for (const std::string& file : files) {
      Shown* shown = Find(file);
      std::string text;
      try {
        text = ReadConfigurationFile(file, false);
      } catch (...) {
        Skipped(file, std::current_exception(),
                shown ? "; it runs on as it was" : "; it does not run");
        continue;
      }
      // One still starting is taken as it was begun.
      if (!shown && !StillStarting(file)) {
        added.emplace_back(file, text);
        continue;
      }
      if (!shown) continue;
      if (shown->configuration->Text() == text) continue;
      const RunningConfiguration::Outcome outcome = shown->configuration->Reload(text).get();
      Report(*shown->configuration, outcome);
      if (outcome.failure) Skipped(file, outcome.failure, "");
      if (!outcome.renamed) continue;
      Say(shown, "renamed", "renamed: stopped, to start again");
      std::erase_if(running_, [&](const auto& one) { return one.get() == shown; });
      added.emplace_back(file, text);
    }
    Begin(added);
    InOrder();
    if (running_.empty() && starting_.empty()) Say(nullptr, "message", "no configuration runs");
    service_.Ready();
    Look();
  }

  // Asks for a look at the drivers from the run's thread, once however often it is asked
  // before it gets there; safe from any thread.
  void LookSoon() {
    if (lookPending_.exchange(true)) return;
    QMetaObject::invokeMethod(
        &context_, [this] { Look(); }, Qt::QueuedConnection);
  }

  // Shows what changed, and ends the run once every configuration saved what it was to.
  void Look() {
    lookPending_ = false;
    // A look that blocks (an output nobody reads) is a stuck loop to the watchdog.
    const LoopProgress::InEvent inEvent;
    Collect(false);
    if (!started_ && starting_.empty()) {
      started_ = true;
      if (running_.empty()) {
        // The first in the order of the paths.
        for (const std::string& file : order_) {
          if (failures_.contains(file) && !noneRuns_) noneRuns_ = failures_.at(file);
        }
        QCoreApplication::quit();
        return;
      }
    }
    const bool several = several_ || running_.size() > 1;
    bool allSaved = options_.subgroups > 0 && starting_.empty();
    std::vector<RunningConfiguration::Status> statuses;
    for (const std::unique_ptr<Shown>& shown : running_) {
      RunningConfiguration& configuration = *shown->configuration;
      const RunningConfiguration::Status status = configuration.Look();
      const std::vector<RunError> errors = configuration.TakeErrors();
      if (!errors.empty()) lastError_ = configuration.Name() + ": " + errors.back().message;
      if (status.unavailable != shown->unavailable && !status.unavailable.empty()) {
        if (shown->events) {
          shown->events->Error({"status unavailable: " + status.unavailable, 0, "dam run"});
        } else {
          std::cerr << "dam run: " << (several ? configuration.Name() + ": " : "")
                    << "status unavailable: " << status.unavailable << std::endl;
        }
      }
      shown->unavailable = status.unavailable;
      if (shown->events && status.unavailable.empty()) {
        shown->events->Write(status.state, status.saved, status.spooled, status.lost, status.next,
                             errors);
      }
      const std::string line = StatusLine(status);
      if (!options_.ndjson && !terminal_ && line != shown->line) {
        std::cout << (several ? configuration.Name() + ": " : "") << line << std::endl;
      }
      shown->line = line;
      statuses.push_back(status);
      allSaved = allSaved && status.saved >= options_.subgroups;
    }
    const std::string summary =
        several || running_.empty() ? SummaryLine(statuses, lastError_) : running_[0]->line;
    if (!options_.ndjson && terminal_ && summary != shownSummary_) {
      std::cout << "\r\033[K" << summary << std::flush;
    }
    shownSummary_ = summary;
    service_.Status(summary);
    if (!outputClosed_ && OutputClosed(STDOUT_FILENO)) {
      outputClosed_ = true;
      std::cerr << "dam run: the output was closed; stopping" << std::endl;
    }
    if (stop_.Requested() || outputClosed_ || allSaved) QCoreApplication::quit();
  }

  // Stops every driver, all at once, and says what they saved. A start still waiting on its
  // historian is cancelled.
  int Finish() {
    for (Starting& start : starting_) {
      while (start.outcome.wait_for(std::chrono::milliseconds(500)) != std::future_status::ready) {
        platform::CancelRunningStatements();
      }
    }
    Collect(true);
    std::vector<std::future<void>> stopping;
    for (const std::unique_ptr<Shown>& shown : running_) {
      stopping.push_back(shown->configuration->Stop());
    }
    for (std::future<void>& stopped : stopping) stopped.wait();
    stop_.Stopped();
    if (noneRuns_) std::rethrow_exception(noneRuns_);
    // The status line on a terminal ends here.
    if (terminal_ && !options_.ndjson) std::cout << '\n';
    int64_t saved = 0;
    for (const std::unique_ptr<Shown>& shown : running_) {
      const RunningConfiguration::Status status = shown->configuration->Look();
      if (shown->events) {
        shown->events->Write("stopped", status.saved, status.spooled, status.lost, "", {});
      }
      if (several_ && !options_.ndjson) {
        Say(shown.get(), "stopped",
            "stopped after " + std::to_string(status.saved) + " subgroup(s)");
      }
      saved += status.saved;
    }
    if (options_.ndjson) {
      runEvents_.Stopped(saved);
      // An output that was closed takes no event: stderr, as --ndjson has it, says it then.
      if (!std::cout) std::cerr << "stopped after " << saved << " subgroup(s)" << std::endl;
    } else {
      std::cout << "stopped after " << saved << " subgroup(s)" << std::endl;
    }
    running_.clear();
    return outputClosed_ ? apps::kExitOutputClosed : apps::kExitOk;
  }

 private:
  struct Starting {
    std::unique_ptr<RunningConfiguration> configuration;
    std::future<RunningConfiguration::Outcome> outcome;
  };

  struct Shown {
    std::unique_ptr<RunningConfiguration> configuration;
    std::optional<RunEvents> events;
    std::string line;
    std::string unavailable;
  };

  std::string Paths() const {
    std::string paths;
    for (const std::string& path : options_.configs) paths += (paths.empty() ? "" : " ") + path;
    return paths;
  }

  // The name of the configuration `file` holds, once it ran; else the file.
  std::string Named(const std::string& file) {
    const Shown* shown = Find(file);
    return shown ? shown->configuration->Name() : file;
  }

  Shown* Find(const std::string& file) {
    for (const std::unique_ptr<Shown>& shown : running_) {
      if (shown->configuration->File() == file) return shown.get();
    }
    return nullptr;
  }

  // Starts each (file, text) on a thread of its own, all at once.
  void Begin(const std::vector<std::pair<std::string, std::string>>& texts) {
    for (const auto& [file, text] : texts) {
      auto configuration = std::make_unique<RunningConfiguration>(
          file,
          RunningConfiguration::Settings{options_.spc, options_.driverClass, options_.force,
                                         options_.activity},
          service_, [this] { LookSoon(); });
      std::future<RunningConfiguration::Outcome> outcome = configuration->Start(text);
      starting_.push_back({std::move(configuration), std::move(outcome)});
    }
  }

  // Takes the starts that are done, or with `wait` all of them: what each says is shown,
  // and the failures of several. Gives the first failure among them.
  std::exception_ptr Collect(bool wait) {
    std::exception_ptr failure;
    for (auto start = starting_.begin(); start != starting_.end();) {
      if (!wait && start->outcome.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
        ++start;
        continue;
      }
      const RunningConfiguration::Outcome outcome = start->outcome.get();
      Report(*start->configuration, outcome);
      if (outcome.failure) {
        if (!failure) failure = outcome.failure;
        if (!started_) failures_.emplace(start->configuration->File(), outcome.failure);
        if (several_) Skipped(start->configuration->File(), outcome.failure, "; it does not run");
      } else if (std::find(order_.begin(), order_.end(), start->configuration->File()) !=
                 order_.end()) {
        Started(std::move(start->configuration));
      }
      start = starting_.erase(start);
    }
    InOrder();
    return failure;
  }

  bool StillStarting(const std::string& file) const {
    return std::any_of(starting_.begin(), starting_.end(),
                       [&](const Starting& start) { return start.configuration->File() == file; });
  }

  // The configurations in the order of the paths.
  void InOrder() {
    std::stable_sort(running_.begin(), running_.end(), [&](const auto& a, const auto& b) {
      return std::find(order_.begin(), order_.end(), a->configuration->File()) <
             std::find(order_.begin(), order_.end(), b->configuration->File());
    });
  }

  void Started(std::unique_ptr<RunningConfiguration> configuration) {
    auto shown = std::make_unique<Shown>();
    if (options_.ndjson) shown->events.emplace(std::cout, configuration->Name());
    shown->configuration = std::move(configuration);
    running_.push_back(std::move(shown));
  }

  // The check's findings and the historian's status; a failure is the caller's to show.
  void Report(const RunningConfiguration& configuration,
              const RunningConfiguration::Outcome& outcome) {
    RunEvents events(std::cout, configuration.Name());
    for (const host::CheckFinding& finding : outcome.findings) {
      if (options_.ndjson) {
        events.Finding(configuration.File(), Masked(finding));
      } else {
        std::cerr << apps::Printable(Masked(FormatFinding(configuration.File(), finding))) << '\n';
      }
    }
    if (outcome.historian.empty()) return;
    if (options_.ndjson) {
      events.Historian(outcome.historian);
    } else {
      std::cout << (several_ ? configuration.Name() + ": " : "")
                << "historian: " << outcome.historian << std::endl;
    }
  }

  // News of `shown`, or of the whole run for null: an event of `kind`, or a line.
  void Say(const Shown* shown, const char* kind, const std::string& what) {
    const std::string name = shown ? shown->configuration->Name() : "";
    if (options_.ndjson) {
      RunEvents(std::cout, name).Note(kind, what);
    } else {
      // A line of its own, where a terminal shows the summary line.
      std::cout << (terminal_ ? "\r\033[K" : "") << (shown ? name + ": " : "") << what << std::endl;
      shownSummary_.clear();
    }
  }

  // A configuration of several that does not run, or does not change, and why: `so` says
  // what follows from it.
  void Skipped(const std::string& file, std::exception_ptr failure, const std::string& so) {
    RunError error = Failed(failure);
    if (options_.ndjson) {
      error.message = file + ": " + error.message + so;
      RunEvents(std::cout, Named(file)).Error(error);
    } else {
      std::cerr << "dam run: " << file << ": " << apps::Printable(error.message) << so << std::endl;
    }
  }

  const RunOptions& options_;
  ServiceNotifier& service_;
  StopSignals& stop_;
  RunEvents runEvents_;
  const bool terminal_;
  QObject context_;
  std::atomic<bool> lookPending_ = false;
  std::vector<std::unique_ptr<Shown>> running_;
  std::string shownSummary_;
  std::string lastError_;
  bool outputClosed_ = false;
  // Named more than one configuration: every line names its configuration.
  bool several_ = false;
  // The configuration files, in the order the paths give them.
  std::vector<std::string> order_;
  std::vector<Starting> starting_;
  // Why each configuration of the first start could not run, and, once each has started or
  // failed, the first one's failure when none runs.
  std::map<std::string, std::exception_ptr> failures_;
  std::exception_ptr noneRuns_;
  bool started_ = false;
};

int Running(const RunOptions& options) {
  // Made before anything starts a thread. A collection blocked in a database call is
  // cancelled, so that the loop gets to stop the drivers; SIGHUP rereads the
  // configurations once the run has started them.
  std::atomic<Run*> reloading = nullptr;
  StopSignals stop(
      [] {
        if (QCoreApplication* application = QCoreApplication::instance()) {
          QMetaObject::invokeMethod(application, &QCoreApplication::quit, Qt::QueuedConnection);
        }
      },
      [] { platform::CancelRunningStatements(); }, std::chrono::milliseconds(500),
      [&reloading] {
        if (Run* run = reloading.load()) {
          QMetaObject::invokeMethod(
              QCoreApplication::instance(), [run] { run->Reload(); }, Qt::QueuedConnection);
        }
      });
  // Windows need a display; a run without them works without one.
  const std::unique_ptr<QCoreApplication> application =
      options.activity ? MakeWindowsApplication() : MakeHeadlessApplication();
  if (options.activity) QApplication::setQuitOnLastWindowClosed(false);
  platform::PlatformComponents settings;
  WarnIfSettingsShowPasswords(settings);
  ServiceNotifier service(AllowedStall(settings.ReadOdbcPolicy()));
  const std::unique_ptr<ServiceNotifier::LoopWatch> watch = service.WatchThisLoop();

  Run run(options, service, stop);
  run.Start();
  service.Ready();
  reloading = &run;
  const std::unique_ptr<QSocketNotifier> closing =
      WatchForClosing(STDOUT_FILENO, [&run] { run.Look(); });
  // A run given a time ends on it; a QTimer counts up to 24 days at a time.
  constexpr std::chrono::milliseconds kLongestTimer(INT_MAX);
  const auto started = std::chrono::steady_clock::now();
  QTimer end;
  end.setSingleShot(true);
  end.setTimerType(Qt::PreciseTimer);
  QObject::connect(&end, &QTimer::timeout, [&] {
    const std::chrono::milliseconds left =
        *options.runFor - std::chrono::duration_cast<std::chrono::milliseconds>(
                              std::chrono::steady_clock::now() - started);
    if (left > std::chrono::milliseconds::zero()) {
      end.start(std::min(left, kLongestTimer));
    } else {
      QCoreApplication::quit();
    }
  });
  if (options.runFor) end.start(std::min(*options.runFor, kLongestTimer));
  run.LookSoon();
  application->exec();
  reloading = nullptr;
  service.Stopping();
  return run.Finish();
}

}  // namespace

int RunCommand(const RunOptions& options) {
  PrefixJournalLines(std::cerr, STDERR_FILENO, "<3>");
  if (!options.ndjson) {
    PrefixJournalLines(std::cout, STDOUT_FILENO, "<6>");
    return Running(options);
  }
  // Every line goes to stdout as an event, a failure too: stderr takes only what stdout
  // cannot.
  MessageEvents messages(std::cout, std::cerr.rdbuf());
  const struct Restore {
    std::streambuf* buffer;
    ~Restore() { std::cerr.rdbuf(buffer); }
  } restore{std::cerr.rdbuf(&messages)};
  try {
    return Running(options);
  } catch (...) {
    const std::exception_ptr failure = std::current_exception();
    RunEvents(std::cout, "").Error(Failed(failure));
    try {
      std::rethrow_exception(failure);
    } catch (const apps::Failure& e) {
      return e.Code();
    } catch (...) {
      return apps::kExitFailure;
    }
  }
}

}  // namespace dam
