// histsim: a historian for tests and demonstrations. Creates the historian's tables in an
// SQLite file (or any ODBC database) and moves one current value per tag every period.
#include <csignal>
#include <cstdint>
#include <iostream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "apps/histsim/Simulator.h"
#include "apps/shared/CommandLine.h"
#include "apps/shared/Failures.h"
#include "platform/odbc/OdbcPool.h"
#include "runtime/Error.h"

namespace {

volatile std::sig_atomic_t stopRequested = 0;

void RequestStop(int) {
  stopRequested = 1;
}

const apps::CommandSpec kProgram{
    "histsim",
    "HISTORIAN [--prefix NAME] [--measurements N] [--period DURATION] [--seed N] "
    "[--for DURATION] [--steps N]",
    "A historian for tests and demonstrations: creates the tables ihTags and ihRawData in "
    "HISTORIAN and moves one current value per tag every period, until Ctrl-C, SIGTERM, --for "
    "or --steps ends it.",
    {{"HISTORIAN", "an SQLite file path, or an ODBC connection string"}},
    1,
    1,
    {{"prefix", "NAME", "tag names begin with NAME and a point (default LINE1)"},
     {"measurements", "N", "N further measurement tags NAME.M0001 and up (default 0)"},
     {"period", "DURATION", "time between two steps (default 1s)"},
     {"seed", "N", "seed of the values, for repeatable runs (default 1)"},
     {"for", "DURATION", "stop after this long"},
     {"steps", "N", "stop after N steps"},
     {"version", "", "print the version and exit"}},
    "histsim historian.db --period 0.5 --for 10m"};

const char kFooter[] =
    "Exit status:\n"
    "  0  done\n"
    "  1  failed\n"
    "  2  the command line cannot be read\n"
    "  4  the historian cannot be reached\n";

int Simulate(const apps::ParsedArguments& parsed) {
  histsim::Options options;
  options.historian = parsed.Positional().front();
  if (options.historian.empty()) {
    throw apps::UsageError(apps::UsageLine(
        "histsim", "HISTORIAN is empty; give an SQLite file path or an ODBC connection string"));
  }
  options.prefix = parsed.Value("prefix", options.prefix);
  options.extraMeasurements =
      static_cast<int>(parsed.Count("measurements", 0, 100'000).value_or(0));
  options.seed = static_cast<uint32_t>(parsed.Count("seed", 0, UINT32_MAX).value_or(1));
  const std::chrono::milliseconds period =
      parsed.Duration("period", false).value_or(std::chrono::milliseconds(1000));
  const std::optional<std::chrono::milliseconds> runFor = parsed.Duration("for");
  const int64_t steps = parsed.Count("steps", 0, INT64_MAX).value_or(-1);

  std::signal(SIGINT, RequestStop);
  std::signal(SIGTERM, RequestStop);
  const auto simulator = apps::Doing(apps::kExitUnreachable, "cannot prepare the historian", [&] {
    auto made = std::make_unique<histsim::Simulator>(options);
    made->Create();
    return made;
  });
  std::cout << "histsim: " << simulator->TagNames().size() << " tags in " << options.historian
            << std::endl;
  const auto started = std::chrono::steady_clock::now();
  auto next = started;
  for (int64_t done = 0; !stopRequested && done != steps; ++done) {
    if (runFor && std::chrono::steady_clock::now() - started >= *runFor) break;
    simulator->Step();
    next += period;
    while (!stopRequested && std::chrono::steady_clock::now() < next) {
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
  }
  return apps::kExitOk;
}

int Main(const std::vector<std::string>& arguments) {
  bool verbose = false;
  try {
    const apps::ParsedArguments parsed(kProgram, arguments);
    verbose = parsed.Verbose();
    if (parsed.Help()) {
      std::cout << apps::HelpText(kProgram, kFooter);
      return apps::kExitOk;
    }
    if (parsed.Has("version")) {
      std::cout << "histsim " << DAM_VERSION << "\n";
      return apps::kExitOk;
    }
    return Simulate(parsed);
  } catch (...) {
    return apps::ReportFailure("histsim", std::current_exception(), verbose);
  }
}

}  // namespace

int main(int argc, char** argv) {
  const int status = Main(std::vector<std::string>(argv + 1, argv + argc));
  // While every library is still whole: a driver called from a static destructor may crash.
  platform::OdbcPool::Instance().Close();
  return status;
}
