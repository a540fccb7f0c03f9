#include <sys/stat.h>
#include <unistd.h>

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QSocketNotifier>
#include <QTimer>
#include <algorithm>
#include <chrono>
#include <climits>
#include <exception>
#include <functional>
#include <iostream>
#include <optional>

#include "apps/dam/Commands.h"
#include "apps/dam/WindowsSide.h"
#include "apps/dam/commands/CheckFindings.h"
#include "apps/dam/host/ConfigFile.h"
#include "apps/dam/host/DamHost.h"
#include "apps/dam/host/DriverHandle.h"
#include "apps/dam/host/HeadlessApplication.h"
#include "apps/dam/host/JournalLines.h"
#include "apps/dam/host/LoopProgress.h"
#include "apps/dam/host/MetricsBoard.h"
#include "apps/dam/host/MetricsServer.h"
#include "apps/dam/host/OutOfControlCheck.h"
#include "apps/dam/host/RunMetrics.h"
#include "apps/dam/host/RunStatus.h"
#include "apps/dam/host/ServiceNotifier.h"
#include "apps/dam/host/StopSignals.h"
#include "apps/dam/output/RunEvents.h"
#include "apps/shared/CommandLine.h"
#include "apps/shared/Failures.h"
#include "apps/shared/TerminalText.h"
#include "common/TypeTables.h"
#include "platform/components/LineFields.h"
#include "platform/components/PlatformComponents.h"
#include "platform/odbc/ConnectionSecrets.h"
#include "platform/odbc/OdbcCancel.h"
#include "platform/spcdb/SpcRunRules.h"
#include "runtime/Error.h"

namespace dam {
namespace {

// Prints what the check finds on stderr; true when it found errors.
bool HasErrors(DriverHandle& handle, const RunOptions& options, const std::string& text) {
  bool errors = false;
  for (const auto& finding : handle.Check(text)) {
    std::cerr << apps::Printable(
                     platform::MaskConnectionSecrets(FormatFinding(options.config, finding)))
              << '\n';
    errors = errors || finding.error;
  }
  return errors;
}

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

// The rules saved subgroups are checked by: --rules, else [Run] Rules; neither: no check.
std::optional<platform::SpcRules> CheckedRules(host::Components& components,
                                               const RunOptions& options) {
  if (!options.rules.empty()) {
    const std::optional<platform::SpcRules> rules = platform::ParseRules(options.rules);
    if (!rules) {
      throw apps::UsageError(apps::UsageLine(
          "dam run", "--rules '" + options.rules + "' is not a list of rules 1 to 8 (1,2,3,4)"));
    }
    return rules;
  }
  const std::string setting = HostSetting(components, "Run", "Rules");
  if (setting.empty()) return std::nullopt;
  const std::optional<platform::SpcRules> rules = platform::ParseRules(setting);
  if (!rules) {
    throw apps::Failure(apps::kExitFailure, SettingName(components, "Run", "Rules") + " '" +
                                                setting +
                                                "' is not a list of rules 1 to 8 (1,2,3,4)");
  }
  return rules;
}

// A milestone of the run: a notice to the journal.
void Notice(std::ostream& out, const std::string& line) {
  const platform::LineNote note({.priority = platform::kLineNotice});
  out << line << std::endl;
}

std::string OutOfControlLine(const OutOfControl& found) {
  std::string broken;
  if (found.rules) broken = "rules " + platform::RulesText(found.rules);
  if (found.spreadRules) {
    broken += (broken.empty() ? "" : "; ") + std::string("spread chart rule ") +
              platform::RulesText(found.spreadRules);
  }
  return apps::Printable("out of control: " + found.configuration + " " + found.test + " at " +
                         runtime::FormatGeneralDate(found.time) + " breaks " + broken);
}

}  // namespace

int RunCommand(const RunOptions& runOptions) {
  const RunOptions* options = &runOptions;
  SendLinesToJournal(std::cerr, STDERR_FILENO, platform::kLineError);
  if (!options->ndjson) SendLinesToJournal(std::cout, STDOUT_FILENO, platform::kLineInfo);
  // Made before anything starts a thread. A collection blocked in a database call is
  // cancelled, so that the loop gets to stop the driver.
  StopSignals stop(
      [] {
        if (QCoreApplication* application = QCoreApplication::instance()) {
          QMetaObject::invokeMethod(application, &QCoreApplication::quit, Qt::QueuedConnection);
        }
      },
      [] { platform::CancelRunningStatements(); });
  // Windows need a display; a run without them works without one.
  const std::unique_ptr<QCoreApplication> application =
      options->activity ? RequireWindows("--activity").MakeActivityApplication()
                        : MakeHeadlessApplication();
  DriverHandle handle;
  platform::PlatformComponents& components = handle.Components();
  WarnIfSettingsShowPasswords(components);
  const std::optional<platform::SpcRules> rules = CheckedRules(components, *options);

  const std::string text = ReadConfigurationFile(options->config, false);
  handle.OpenModule(options->driverClass);
  // Read before the check: the data link test of this reading is the one the check and the
  // driver take. A text the reader stops in is shown by the check first.
  std::exception_ptr unreadable;
  try {
    handle.Read(text);
  } catch (...) {
    unreadable = std::current_exception();
  }
  if (HasErrors(handle, *options, text) && !options->force) {
    throw apps::Failure(apps::kExitInvalidConfiguration,
                        "the configuration " + options->config +
                            " has errors (above); fix them, or run it as it reads with --force");
  }
  apps::Doing(apps::kExitInvalidConfiguration,
              "the configuration " + options->config + " cannot be loaded", [&] {
                if (unreadable) std::rethrow_exception(unreadable);
              });
  const config::Configuration1& configuration = handle.Reading();
  if (!configuration.Active()) {
    throw apps::Failure(apps::kExitInactiveConfiguration,
                        "the configuration " + options->config +
                            " is inactive (ACTIVE=0): there is nothing to collect");
  }
  // With --ndjson, standard output holds the events alone.
  std::ostream& said = options->ndjson ? std::cerr : std::cout;
  // Every line of this run is about this configuration.
  const std::string name = handle.NameFor(options->config);
  const platform::LineNote thisRun({.configuration = name});
  Notice(said, "historian: " + common::GetDataLinkStatus(configuration.DataLinkState()) +
                   (configuration.DataLinkError().empty()
                        ? ""
                        : " (" +
                              apps::Printable(
                                  platform::MaskConnectionSecrets(configuration.DataLinkError())) +
                              ")"));

  // A metrics address that cannot be served stops the run before the driver starts.
  MetricsBoard board;
  std::optional<MetricsServer> metricsServer;
  if (const std::string listen = HostSetting(components, "Metrics", "Listen"); !listen.empty()) {
    const uint16_t port =
        metricsServer.emplace(board).Listen(listen, SettingName(components, "Metrics", "Listen"));
    Notice(said, "metrics: http://" + listen.substr(0, listen.rfind(':') + 1) +
                     std::to_string(port) + "/metrics and /healthz");
  }

  handle.Create(options->spc, name);
  handle.Load(text);
  host::IDriver& driver = handle.Driver();
  if (!driver.StartDriver()) throw apps::Failure(apps::kExitFailure, "the driver could not start");
  if (options->activity && !driver.ShowActivity()) {
    throw apps::Failure(apps::kExitFailure, "the activity window could not be shown");
  }
  ServiceNotifier service(AllowedStall(components.ReadOdbcPolicy()));
  const std::unique_ptr<ServiceNotifier::LoopWatch> watch = service.WatchThisLoop();
  service.Ready();

  RunStatus status(components, components.Saves(), configuration);
  RunMetrics metrics(configuration);
  const bool terminal = isatty(STDOUT_FILENO);
  std::optional<RunEvents> events;
  if (options->ndjson) events.emplace(std::cout);
  std::string shown;
  std::string failure;
  bool outputClosed = false;
  const auto started = std::chrono::steady_clock::now();

  // Made after what it shows on: gone first, with what it has not told yet.
  std::optional<OutOfControlCheck> outOfControl;
  int64_t checkedAt = 0;
  if (rules) {
    outOfControl.emplace(
        SpcConnection(components, options->spc), components.ReadOdbcPolicy(), name, *rules,
        [&](const OutOfControl& found) {
          if (events) return events->OutOfControl(found);
          const platform::LineNote note(
              {.collectionTime = found.time, .priority = platform::kLineWarning});
          std::cout << (terminal ? "\r\033[K" : "") << OutOfControlLine(found) << std::endl;
          shown.clear();
        },
        [&](const runtime::Error& error) {
          const std::string reason = platform::MaskConnectionSecrets(error.NumberAndDescription());
          const platform::LineNote note(
              {.errorNumber = error.Number(), .sqlState = error.SqlState()});
          std::cerr << "dam run: the out-of-control check failed: " << reason << std::endl;
          if (events) events->Error("the out-of-control check failed: " + reason);
        });
  }

  // The line changes with what the event loop handles (a collection, a save, an error), so
  // it is looked at whenever the loop has handled its events, and an idle host sleeps. The
  // spool's forwarder drains the spool on a thread of its own: while the spool holds
  // subgroups the line is looked at once a second as well.
  QTimer whileSpooled;
  const auto look = [&] {
    // A look that blocks (an output nobody reads) is a stuck loop to the watchdog.
    const LoopProgress::InEvent inEvent;
    // Nothing may escape into the event loop: a status that cannot be read is shown, and
    // the driver goes on collecting.
    int32_t saved = 0;
    std::string line;
    try {
      saved = status.SavedSubgroups();
      if (outOfControl && saved != checkedAt) outOfControl->Saved();
      checkedAt = saved;
      const int64_t spooled = components.Spool().Depth();
      const int64_t lost = components.Spool().Lost();
      if (events) {
        events->Write(RunStatus::StateName(driver.State()), saved, spooled, lost,
                      status.NewErrors());
      }
      const std::string error = status.LastError();
      board.Publish(name, metrics.Take(RunStatus::StateName(driver.State()), status,
                                       handle.Collections(), spooled));
      board.PublishSpool(spooled);
      if (spooled == 0) {
        whileSpooled.stop();
      } else if (!whileSpooled.isActive()) {
        whileSpooled.start(1000);
      }
      line = apps::Printable(
          RunStatus::StateName(driver.State()) + " | saved " + std::to_string(saved) +
          (spooled > 0 ? " | spooled " + std::to_string(spooled) : "") +
          (lost > 0 ? " | lost " + std::to_string(lost) : "") + " | next " +
          status.NextCollection() + " | last error " + (error.empty() ? "none" : error));
    } catch (...) {
      const runtime::Error error = runtime::ToError(std::current_exception());
      const std::string reason = error.NumberAndDescription();
      if (reason != failure) {
        const platform::LineNote note(
            {.errorNumber = error.Number(), .sqlState = error.SqlState()});
        std::cerr << "dam run: status unavailable: " << reason << std::endl;
        if (events) events->Error("status unavailable: " + reason);
      }
      failure = reason;
      line = "status unavailable: " + reason;
    }
    if (!events && line != shown) {
      const platform::LineNote note({.collectionTime = handle.Collections().last});
      if (terminal) {
        std::cout << "\r\033[K" << line << std::flush;
      } else {
        std::cout << line << std::endl;
      }
    }
    shown = line;
    service.Status(line);
    if (!outputClosed && OutputClosed(STDOUT_FILENO)) {
      outputClosed = true;
      std::cerr << "dam run: the output was closed; stopping" << std::endl;
    }
    if (stop.Requested() || outputClosed ||
        (options->subgroups > 0 && saved >= options->subgroups)) {
      QCoreApplication::quit();
    }
  };
  QObject::connect(&whileSpooled, &QTimer::timeout, look);
  const QMetaObject::Connection looking = QObject::connect(
      QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::aboutToBlock, look);
  const std::unique_ptr<QSocketNotifier> closing = WatchForClosing(STDOUT_FILENO, look);
  // A run given a time ends on it; a QTimer counts up to 24 days at a time.
  constexpr std::chrono::milliseconds kLongestTimer(INT_MAX);
  QTimer end;
  end.setSingleShot(true);
  end.setTimerType(Qt::PreciseTimer);
  QObject::connect(&end, &QTimer::timeout, [&] {
    const std::chrono::milliseconds left =
        *options->runFor - std::chrono::duration_cast<std::chrono::milliseconds>(
                               std::chrono::steady_clock::now() - started);
    if (left > std::chrono::milliseconds::zero()) {
      end.start(std::min(left, kLongestTimer));
    } else {
      QCoreApplication::quit();
    }
  });
  if (options->runFor) end.start(std::min(*options->runFor, kLongestTimer));
  application->exec();
  QObject::disconnect(looking);
  outOfControl.reset();

  service.Stopping();
  driver.StopDriver();
  handle.Unload();
  stop.Stopped();
  if (events) {
    events->Write("stopped", status.SavedSubgroups(), components.Spool().Depth(),
                  components.Spool().Lost(), {});
  }
  if (terminal && !events) std::cout << '\n';
  Notice(said, "stopped after " + std::to_string(status.SavedSubgroups()) + " subgroup(s)");
  return outputClosed ? apps::kExitOutputClosed : stop.ExitStatus();
}

}  // namespace dam
