// The dam commands. Each takes its options, read from the command line by DamCommandLine,
// and returns the exit status; failures are thrown (apps::Failure says which status).
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace dam {

inline constexpr char kDefaultDriverClass[] = "oxaGEPDAD6.Version1";

struct RunOptions {
  // Configuration files, and folders of them.
  std::vector<std::string> configs;
  std::string spc;
  std::string driverClass = kDefaultDriverClass;
  std::optional<std::chrono::milliseconds> runFor;
  int64_t subgroups = -1;
  bool activity = false;
  // Runs a configuration that has errors, as the driver's lenient reading takes it.
  bool force = false;
  // Status changes and collection errors as JSON lines instead of the status line.
  bool ndjson = false;
  // Run rules each saved subgroup is checked by ("1,2,3,4"); "[Run] Rules" when empty.
  std::string rules;
};

struct CheckOptions {
  std::vector<std::string> configs;
  std::string driverClass = kDefaultDriverClass;
};

struct ConfigShowOptions {
  std::string config;
  bool raw = false, json = false, showSecrets = false;
};

struct SubgroupsOptions {
  std::string spc;
  std::optional<int64_t> last;  // 20, or 0 when following
  bool json = false, ndjson = false, follow = false, csv = false;
  // Following: wait for a database that is not there yet or does not answer.
  bool wait = false;
};

struct ChartOptions {
  std::string test;  // GROUP/TEST
  std::string spc;
  std::optional<int64_t> last;       // 25
  std::string from, to;              // times; either makes the window a time span
  std::optional<std::string> rules;  // 1,2,3,4 when not given
  bool json = false;
  std::string out;  // a .png or .svg file
};

struct GuiOptions {
  std::vector<std::string> configs;
  std::string spc;
  std::string driverClass = kDefaultDriverClass;
};

struct SetupOptions {
  std::string config;
  std::string spc;
  std::string driverClass = kDefaultDriverClass;
};

struct SelectTagOptions {
  std::string config;
  std::string value;
};

struct SpoolOptions {
  std::string action;  // "", "forward" or "drop"
  std::string spc;
  std::string before;
  bool yes = false;
};

int RegisterCommand(const std::string& module);
int UnregisterCommand(const std::string& module);
int DriversCommand();
int RunCommand(const RunOptions& options);
int CheckCommand(const CheckOptions& options);
int ConfigShowCommand(const ConfigShowOptions& options);
int SubgroupsCommand(const SubgroupsOptions& options);
int ChartCommand(const ChartOptions& options);
int SpoolCommand(const SpoolOptions& options);

}  // namespace dam
