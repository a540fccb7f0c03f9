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
#include <iostream>
#include <memory>

#include "apps/dam/Commands.h"
#include "apps/dam/commands/RunConfigurations.h"
#include "apps/dam/host/DamHost.h"
#include "apps/dam/host/HeadlessApplication.h"
#include "apps/dam/host/JournalLines.h"
#include "apps/dam/host/ServiceNotifier.h"
#include "apps/dam/host/StopSignals.h"
#include "apps/dam/output/RunEvents.h"
#include "apps/dam/windows/WindowsApplication.h"
#include "apps/shared/Failures.h"
#include "platform/components/PlatformComponents.h"
#include "platform/odbc/OdbcCancel.h"

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

int Running(const RunOptions& options) {
  // Made before anything starts a thread. A collection blocked in a database call is
  // cancelled, so that the loop gets to stop the drivers; SIGHUP rereads the
  // configurations once the run has started them.
  std::atomic<RunConfigurations*> reloading = nullptr;
  StopSignals stop(
      [] {
        if (QCoreApplication* application = QCoreApplication::instance()) {
          QMetaObject::invokeMethod(application, &QCoreApplication::quit, Qt::QueuedConnection);
        }
      },
      [] { platform::CancelRunningStatements(); }, std::chrono::milliseconds(500),
      [&reloading] {
        if (RunConfigurations* run = reloading.load()) {
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

  RunConfigurations run(options, service, stop);
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
