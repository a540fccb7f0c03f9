// A historian simulator: creates the historian tables ihTags and ihRawData and keeps one
// 'CurrentValue' row per tag moving, as a process would. Every new value is also kept as a
// 'RawByTime' row, so what the historian held at any moment can be checked afterwards.
#pragma once

#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "platform/odbc/OdbcConnection.h"

namespace histsim {

struct Options {
  // An ODBC connection string, or the path of an SQLite file.
  std::string historian;
  // Tag names begin with this and a point: "LINE1.WEIGHT".
  std::string prefix = "LINE1";
  // Further measurement tags, "<prefix>.M0001" and up, around 100 with a spread of 1.
  int extraMeasurements = 0;
  uint32_t seed = 1;
  // 'RawByTime' rows kept per tag; older ones are removed.
  int keepHistory = 3600;
};

class Simulator {
 public:
  explicit Simulator(const Options& options);

  // Creates what is missing: tables, tags and their current-value rows.
  void Create();
  // Moves every tag one step and writes the new current values at `now`.
  void Step();

  const std::vector<std::string>& TagNames() const { return names_; }

 private:
  struct Tag {
    std::string name;
    enum class Kind { Measurement, Part, Lot, Operator, Running, Counter } kind;
    double setPoint = 0, spread = 0;
    std::string text;
    int64_t count = 0;
  };

  std::string NextValue(Tag& tag);

  Options options_;
  platform::OdbcConnection connection_;
  std::vector<Tag> tags_;
  std::vector<std::string> names_;
  std::mt19937 random_;
  int64_t steps_ = 0;
};

// The connection string for `historian`: itself when it holds "=", else an SQLite file.
std::string HistorianConnectionString(const std::string& historian);

}  // namespace histsim
