// histsim: a historian for tests and demonstrations. Creates the historian's tables in an
// SQLite file (or any ODBC database) and moves one current value per tag every period.
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <string>
#include <thread>

#include "apps/histsim/Simulator.h"
#include "apps/shared/Duration.h"
#include "runtime/Error.h"

namespace {

volatile std::sig_atomic_t stopRequested = 0;

void RequestStop(int) {
  stopRequested = 1;
}

int Usage() {
  std::cerr << "usage: histsim HISTORIAN [--prefix NAME] [--measurements N] [--period DURATION]\n"
               "                [--seed N] [--for DURATION] [--steps N]\n"
               "HISTORIAN is an SQLite file path or an ODBC connection string.\n"
               "DURATION is a number of seconds, or a number with s, m, h or d.\n";
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  histsim::Options options;
  std::chrono::milliseconds period{1000};
  std::optional<std::chrono::milliseconds> runFor;
  long steps = -1;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    const bool hasValue = i + 1 < argc;
    auto number = [&](long& out) {
      char* end = nullptr;
      out = std::strtol(argv[++i], &end, 10);
      return *end == '\0' && out >= 0;
    };
    long value = 0;
    if (arg == "--prefix" && hasValue) {
      options.prefix = argv[++i];
    } else if (arg == "--measurements" && hasValue && number(value) && value <= 100000) {
      options.extraMeasurements = static_cast<int>(value);
    } else if (arg == "--seed" && hasValue && number(value)) {
      options.seed = static_cast<uint32_t>(value);
    } else if (arg == "--steps" && hasValue && number(value)) {
      steps = value;
    } else if (arg == "--period" && hasValue) {
      auto parsed = apps::ParseDuration(argv[++i]);
      if (!parsed || parsed->count() == 0) return Usage();
      period = *parsed;
    } else if (arg == "--for" && hasValue) {
      runFor = apps::ParseDuration(argv[++i]);
      if (!runFor) return Usage();
    } else if (arg.rfind("--", 0) != 0 && options.historian.empty()) {
      options.historian = arg;
    } else {
      return Usage();
    }
  }
  if (options.historian.empty()) return Usage();

  std::signal(SIGINT, RequestStop);
  std::signal(SIGTERM, RequestStop);
  try {
    histsim::Simulator simulator(options);
    simulator.Create();
    std::cout << "histsim: " << simulator.TagNames().size() << " tags in " << options.historian
              << std::endl;
    const auto started = std::chrono::steady_clock::now();
    auto next = started;
    for (long done = 0; !stopRequested && done != steps; ++done) {
      if (runFor && std::chrono::steady_clock::now() - started >= *runFor) break;
      simulator.Step();
      next += period;
      while (!stopRequested && std::chrono::steady_clock::now() < next) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
      }
    }
  } catch (const runtime::Error& e) {
    std::cerr << "histsim: " << e.Number() << " - " << e.Description() << '\n';
    return 1;
  }
  return 0;
}
