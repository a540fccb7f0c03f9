#include <sys/stat.h>
#include <unistd.h>

#include <QSocketNotifier>
#include <QTimer>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <iostream>
#include <memory>
#include <optional>

#include "apps/dam/Commands.h"
#include "apps/dam/WindowsSide.h"
#include "apps/dam/commands/RunConfigurations.h"
#include "apps/dam/host/DamHost.h"
#include "apps/dam/host/HeadlessApplication.h"
#include "apps/dam/host/JournalLines.h"
#include "apps/dam/host/MetricsBoard.h"
#include "apps/dam/host/MetricsServer.h"
#include "apps/dam/host/ServiceNotifier.h"
#include "apps/dam/host/StopSignals.h"
#include "apps/dam/output/RunEvents.h"
#include "apps/shared/CommandLine.h"
#include "apps/shared/Failures.h"
#include "platform/components/LineFields.h"
#include "platform/components/PlatformComponents.h"
#include "platform/odbc/OdbcCancel.h"
#include "platform/spcdb/SpcRunRules.h"

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
    throw apps::Failure(apps::kExitInvalidConfiguration,
                        SettingName(components, "Run", "Rules") + " '" + setting +
                            "' is not a list of rules 1 to 8 (1,2,3,4)");
  }
  return rules;
}

int Running(const RunOptions& options) {
  // Made before anything starts a thread. A collection blocked in a database call is
  // cancelled, so that the loop gets to stop the drivers; SIGHUP rereads the
  // configurations, and one that comes while the run starts them does once it has.
  std::atomic<RunConfigurations*> reloading = nullptr;
  std::atomic<bool> reloadAsked = false;
  const auto reload = [](RunConfigurations* run) {
    QMetaObject::invokeMethod(
        QCoreApplication::instance(), [run] { run->Reload(); }, Qt::QueuedConnection);
  };
  StopSignals stop(
      [] {
        if (QCoreApplication* application = QCoreApplication::instance()) {
          QMetaObject::invokeMethod(application, &QCoreApplication::quit, Qt::QueuedConnection);
        }
      },
      [] { platform::CancelRunningStatements(); }, std::chrono::milliseconds(500),
      [&] {
        reloadAsked = true;
        RunConfigurations* run = reloading.load();
        if (run && reloadAsked.exchange(false)) reload(run);
      });
  // Windows need a display; a run without them works without one.
  const std::unique_ptr<QCoreApplication> application =
      options.activity ? RequireWindows("--activity").MakeActivityApplication()
                       : MakeHeadlessApplication();
  platform::PlatformComponents settings;
  const platform::OdbcPolicy policy = ReadHostSettings(settings);
  RunObservers observers{.rules = CheckedRules(settings, options),
                         .spc = SpcConnection(settings, options.spc),
                         .policy = policy};
  // A metrics address that cannot be served stops the run before any driver starts.
  MetricsBoard board;
  std::optional<MetricsServer> metricsServer;
  if (const std::string listen = HostSetting(settings, "Metrics", "Listen"); !listen.empty()) {
    const uint16_t port =
        metricsServer.emplace(board).Listen(listen, SettingName(settings, "Metrics", "Listen"));
    observers.board = &board;
    const platform::LineNote note({.priority = platform::kLineNotice});
    (options.ndjson ? std::cerr : std::cout)
        << "metrics: http://" << listen.substr(0, listen.rfind(':') + 1) << port
        << "/metrics and /healthz" << std::endl;
  }
  ServiceNotifier service(AllowedStall(policy));
  const std::unique_ptr<ServiceNotifier::LoopWatch> watch = service.WatchThisLoop();

  RunConfigurations run(options, observers, service, stop);
  run.Start();
  service.Ready();
  reloading = &run;
  if (reloadAsked.exchange(false)) reload(&run);
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
  const int code = run.Finish();
  stop.EndAsSignalled();
  if (run.LeftBehind()) {
    // Out before the threads left in a connect could see anything torn down.
    std::cerr.flush();
    std::cout.flush();
    std::fflush(nullptr);
    std::quick_exit(code);
  }
  return code;
}

}  // namespace

int RunCommand(const RunOptions& options) {
  SendLinesToJournal(std::cerr, STDERR_FILENO, platform::kLineError);
  if (!options.ndjson) {
    SendLinesToJournal(std::cout, STDOUT_FILENO, platform::kLineInfo);
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
    RunEvents(std::cout, "").Error(FailureError(failure));
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
