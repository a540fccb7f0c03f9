#include <unistd.h>

#include <QApplication>
#include <QTimer>
#include <chrono>
#include <climits>
#include <filesystem>
#include <iostream>

#include "apps/dam/Commands.h"
#include "apps/dam/ConfigFile.h"
#include "apps/dam/DamHost.h"
#include "apps/dam/DriverModule.h"
#include "apps/dam/RunStatus.h"
#include "apps/dam/StopSignals.h"
#include "apps/shared/Duration.h"
#include "common/TypeTables.h"
#include "platform/components/PlatformComponents.h"
#include "platform/odbc/ConnectionSecrets.h"
#include "platform/odbc/OdbcCancel.h"
#include "runtime/Error.h"

namespace dam {
namespace {

struct RunOptions {
  std::string config;
  std::string spc;
  std::string driverClass = "oxaGEPDAD6.Version1";
  std::optional<std::chrono::milliseconds> runFor;
  long subgroups = -1;
  bool activity = false;
};

std::optional<RunOptions> Parse(const Arguments& args) {
  RunOptions options;
  for (size_t i = 0; i < args.size(); ++i) {
    const bool hasValue = i + 1 < args.size();
    if (args[i] == "--spc" && hasValue) {
      options.spc = args[++i];
    } else if (args[i] == "--driver" && hasValue) {
      options.driverClass = args[++i];
    } else if (args[i] == "--for" && hasValue) {
      options.runFor = apps::ParseDuration(args[++i]);
      if (!options.runFor) return std::nullopt;
    } else if (args[i] == "--subgroups" && hasValue) {
      char* end = nullptr;
      options.subgroups = std::strtol(args[++i].c_str(), &end, 10);
      if (*end != '\0' || options.subgroups <= 0) return std::nullopt;
    } else if (args[i] == "--activity") {
      options.activity = true;
    } else if (options.config.empty() && !args[i].starts_with("--")) {
      options.config = args[i];
    } else {
      return std::nullopt;
    }
  }
  if (options.config.empty()) return std::nullopt;
  return options;
}

int Fail(const std::string& message) {
  std::cerr << "dam run: " << platform::MaskConnectionSecrets(message) << '\n';
  return 1;
}

}  // namespace

int RunCommand(const Arguments& args) {
  const std::optional<RunOptions> options = Parse(args);
  if (!options) {
    std::cerr << "usage: dam run CONFIG [--spc CONNECTION] [--for DURATION] [--subgroups N]"
                 " [--driver CLASS] [--activity]\n";
    return 2;
  }
  // Made before anything starts a thread. A collection blocked in a database call is
  // cancelled, so that the loop gets to stop the driver.
  StopSignals stop(
      [] {
        if (QCoreApplication* application = QCoreApplication::instance()) {
          QMetaObject::invokeMethod(application, &QCoreApplication::quit, Qt::QueuedConnection);
        }
      },
      [] { platform::CancelRunningStatements(); });
  int argc = 1;
  char name[] = "dam";
  char* argv[] = {name, nullptr};
  // Windows need a display; a run without them works without one.
  std::unique_ptr<QCoreApplication> application;
  if (options->activity) {
    application = std::make_unique<QApplication>(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
  } else {
    application = std::make_unique<QCoreApplication>(argc, argv);
  }
  platform::PlatformComponents components;
  WarnIfSettingsShowPasswords(components);

  const std::string text = ReadConfigurationFile(options->config, false);
  config::Configuration1 configuration(components);
  try {
    configuration.SetData(text);
  } catch (const runtime::Error& e) {
    return Fail("the configuration " + options->config +
                " cannot be loaded: " + e.NumberAndDescription() + " (" + e.Source() + ")");
  }
  if (!configuration.Active()) {
    return Fail("the configuration " + options->config +
                " is inactive (ACTIVE=0): there is nothing to collect");
  }
  std::cout << "historian: " << common::GetDataLinkStatus(configuration.DataLinkState())
            << (configuration.DataLinkError().empty()
                    ? ""
                    : " (" + platform::MaskConnectionSecrets(configuration.DataLinkError()) + ")")
            << std::endl;

  auto host = std::make_shared<DamHost>(components, SpcConnection(components, options->spc));
  std::unique_ptr<DriverModule> module = LoadRegisteredModule(options->driverClass);
  std::shared_ptr<host::IDriver> driver =
      module->ClassObject(options->driverClass).CreateInstance(components);
  const std::string driverName = configuration.ConfigurationName().empty()
                                     ? std::filesystem::path(options->config).stem().string()
                                     : configuration.ConfigurationName();
  if (!driver->Initialize(host, driverName)) return Fail("the driver could not be initialised");
  if (!driver->Load(runtime::Variant(components.TextCodec().EncodeText("QZ", text)))) {
    return Fail("the driver could not load the configuration");
  }
  if (!driver->StartDriver()) return Fail("the driver could not start");
  if (options->activity && !driver->ShowActivity()) {
    return Fail("the activity window could not be shown");
  }

  RunStatus status(components, components.Saves(), configuration);
  const bool terminal = isatty(STDOUT_FILENO);
  std::string shown;
  std::string failure;
  const auto started = std::chrono::steady_clock::now();

  // The line changes with a save, an error or the next collection: once a second shows
  // that soon enough and leaves an idle host asleep in between.
  QTimer ticker;
  QObject::connect(&ticker, &QTimer::timeout, [&] {
    // Nothing may escape into the event loop: a status that cannot be read is shown, and
    // the driver goes on collecting.
    int32_t saved = 0;
    std::string line;
    try {
      saved = status.SavedSubgroups();
      const std::string error = status.LastError();
      const int64_t spooled = components.Spool().Depth();
      line = RunStatus::StateName(driver->State()) + " | saved " + std::to_string(saved) +
             (spooled > 0 ? " | spooled " + std::to_string(spooled) : "") + " | next " +
             status.NextCollection() + " | last error " + (error.empty() ? "none" : error);
    } catch (...) {
      const std::string reason = runtime::ToError(std::current_exception()).NumberAndDescription();
      if (reason != failure) std::cerr << "dam run: status unavailable: " << reason << std::endl;
      failure = reason;
      line = "status unavailable: " + reason;
    }
    if (line != shown) {
      if (terminal) {
        std::cout << "\r\033[K" << line << std::flush;
      } else {
        std::cout << line << std::endl;
      }
    }
    shown = line;
    const bool timeUp =
        options->runFor && std::chrono::steady_clock::now() - started >= *options->runFor;
    if (stop.Requested() || timeUp || (options->subgroups > 0 && saved >= options->subgroups)) {
      QCoreApplication::quit();
    }
  });
  ticker.start(1000);
  // A run given a time ends on it, not on the tick after.
  QTimer end;
  end.setSingleShot(true);
  end.setTimerType(Qt::PreciseTimer);
  QObject::connect(&end, &QTimer::timeout, &QCoreApplication::quit);
  if (options->runFor && *options->runFor < std::chrono::milliseconds(INT_MAX)) {
    end.start(*options->runFor);
  }
  application->exec();

  driver->StopDriver();
  host::Bool16 cancel = host::kFalse;
  driver->QueryUnload(cancel, 0);
  driver->Unload();
  driver.reset();
  stop.Stopped();
  if (terminal) std::cout << '\n';
  std::cout << "stopped after " << status.SavedSubgroups() << " subgroup(s)" << std::endl;
  return 0;
}

}  // namespace dam
