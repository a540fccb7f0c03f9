// One collection cycle against an SQLite historian through the "SQLite3" ODBC driver, with
// 10, 100 and 900 tags: query, record processing, conditions and resolution of one
// characteristic per tag, and a save into a subgroup that does nothing. The baseline is the
// bare query: the same statement through the same ODBC layer on a new connection, rows
// read and thrown away. After the benchmarks the program prints each cycle's ratio to its
// baseline (goal at 900 tags: at most 1.3), the resident memory before and after 10,000
// cycles (goal: flat), and what a tick that does not collect costs (goal: under 1 us).
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "config/Configuration1.h"
#include "engine/Engine1.h"
#include "platform/odbc/OdbcConnection.h"
#include "platform/utility/Comparer.h"
#include "platform/utility/DateMath.h"
#include "platform/utility/FileSystem.h"
#include "platform/utility/ProfileFile.h"
#include "platform/utility/TextCodec.h"
#include "platform/utility/TextExpander.h"
#include "runtime/Clock.h"
#include "runtime/Error.h"
#include "runtime/Text.h"

namespace {

[[noreturn]] void Unsupported() {
  throw runtime::Error(429, "ActiveX component can't create object");
}

class Timer : public host::HostTimer {
 public:
  void StartTimer(int32_t) override {}
  void StopTimer() override {}
  void Tick() { OnTimer.Raise(); }
};

class NoSubgroup : public host::HostSubgroup {
 public:
  void SetFlag(bool) override {}
  void SetDatabase(std::shared_ptr<host::DatabaseSession>) override {}
  void Clear() override {}
  void SetGroup(host::DescriptorKind, const std::string&) override {}
  void SetName(host::DescriptorKind, const std::string&) override {}
  void SetSize(int32_t) override {}
  void SetTime(runtime::Date) override {}
  void SetLot(const std::string&) override {}
  void LookupTestGroup(const std::string&) override {}
  void LookupTest(const std::string&) override {}
  void AddReading(double, int16_t, int32_t, const std::string&, const std::string&) override {}
  void Save(int32_t) override {}
};

class Components : public host::Components {
 public:
  host::HostDateMath& DateMath() override { return dateMath_; }
  host::HostComparer& Comparer() override { return comparer_; }
  host::HostTextExpander& TextExpander() override { return expander_; }
  host::HostTextCodec& TextCodec() override { return codec_; }
  host::HostFileSystem& FileSystem() override { return fileSystem_; }
  std::unique_ptr<host::Connection> CreateConnection() override {
    return std::make_unique<platform::OdbcConnection>();
  }
  std::unique_ptr<host::HostTimer> CreateTimer() override {
    auto timer = std::make_unique<Timer>();
    lastTimer = timer.get();
    return timer;
  }
  std::unique_ptr<host::HostError> CreateError() override { Unsupported(); }
  std::unique_ptr<host::SettingsFile> OpenSettingsFile(const std::string& path) override {
    return std::make_unique<platform::ProfileFile>(path);
  }
  std::shared_ptr<host::DatabaseSession> CreateDatabaseSession() override { Unsupported(); }
  std::unique_ptr<host::HostRecord> CreateRecord(host::RecordKind) override { Unsupported(); }
  std::unique_ptr<host::HostSubgroup> CreateSubgroup() override {
    return std::make_unique<NoSubgroup>();
  }
  std::unique_ptr<host::SelectionDialog> CreateSelectionDialog(host::SelectionKind) override {
    Unsupported();
  }
  std::unique_ptr<host::DataLinkDialog> CreateDataLinkDialog() override { Unsupported(); }
  void MessageBox(const std::string&) override {}
  void Beep() override {}

  Timer* lastTimer = nullptr;

 private:
  platform::DateMath dateMath_;
  platform::Comparer comparer_;
  platform::TextExpander expander_;
  platform::TextCodec codec_;
  platform::FileSystem fileSystem_;
};

class SettableClock : public runtime::Clock {
 public:
  runtime::Date Now() const override { return now; }
  runtime::Date now = runtime::ParseDate("2024-05-01 10:07:30").value();
};

std::string Folder() {
  static const std::string folder = [] {
    char name[] = "/tmp/bench_engine.XXXXXX";
    const std::string made = mkdtemp(name);
    setenv("DAM_LOG_DIR", made.c_str(), 1);
    setenv("DAM_COMPONENT_DIR", made.c_str(), 1);
    return made;
  }();
  return folder;
}

// The historian of `tags` tags T1..Tn, one current value each, made once per size.
std::string Historian(int tags) {
  const std::string path = Folder() + "/historian" + std::to_string(tags) + ".db";
  const std::string link = "Driver=SQLite3;Database=" + path;
  if (!std::filesystem::exists(path)) {
    platform::OdbcConnection connection;
    connection.Open(link, "", "");
    connection.Execute("CREATE TABLE ihTags (Tagname TEXT)");
    connection.Execute(
        "CREATE TABLE ihRawData (Tagname TEXT, TimeStamp TIMESTAMP, Value REAL, "
        "SamplingMode TEXT)");
    connection.Execute("CREATE INDEX ihRawDataTag ON ihRawData (Tagname)");
    connection.Execute(
        "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < " +
        std::to_string(tags) +
        ") INSERT INTO ihRawData SELECT 'T' || i, '2024-05-01 10:00:00.250', i * 0.5, "
        "'CurrentValue' FROM n");
  }
  return link;
}

// A part, a lot from the first tag, one characteristic per tag and one condition.
std::string ConfigurationText(int tags) {
  std::vector<std::string> lines = {"NAME=Bench",
                                    "ACTIVE=1",
                                    "DATALINK=" + Historian(tags),
                                    "SYNCTIME=1704096000",
                                    "SUBGROUPINTERVAL=15",
                                    "SUBGROUPUNIT=1",
                                    "RETRYINTERVAL=1",
                                    "RETRYUNIT=1",
                                    "DESCRIPTOR=1\tParts\tP-100",
                                    "DESCRIPTOR=4\t\tLot %TAG(T1) at %TAG(Date, T1)",
                                    "CONDITION=0\t%TAG(T1)\t2\t0"};
  for (int i = 1; i <= tags; ++i) {
    lines.push_back("TEST=Dims\tWidth " + std::to_string(i) + "\t%TAG(Value, T" +
                    std::to_string(i) + ")\t");
  }
  return runtime::Join(lines, "\r\n");
}

std::string Query(int tags) {
  std::string sql =
      "SELECT Tagname, TimeStamp, Value FROM ihRawData WHERE (SamplingMode='CurrentValue') AND "
      "(Tagname IN (?";
  for (int i = 2; i <= tags; ++i) sql += ", ?";
  return sql + "))";
}

std::vector<runtime::Variant> TagNames(int tags) {
  std::vector<runtime::Variant> names;
  for (int i = 1; i <= tags; ++i) names.emplace_back("T" + std::to_string(i));
  return names;
}

// A started engine whose every tick collects, on a clock moved past each planned time.
struct Collector {
  explicit Collector(int tags) : scope(clock) {
    configuration->SetData(ConfigurationText(tags));
    engine.StartEngine(configuration);
  }
  // One collection cycle; false when it did not save.
  bool Cycle() {
    clock.now.serial = engine.NextCollectionTime().serial + 0.1 / 86400;
    const int32_t saved = engine.SavedSubgroups();
    components.lastTimer->Tick();
    return engine.SavedSubgroups() == saved + 1;
  }

  Components components;
  SettableClock clock;
  runtime::ScopedClock scope;
  std::shared_ptr<config::Configuration1> configuration =
      std::make_shared<config::Configuration1>(components);
  engine::Engine1 engine{components};
};

void BM_Cycle(benchmark::State& state) {
  Collector collector(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    if (!collector.Cycle()) {
      const std::string why =
          collector.engine.LastErrorDescription() + " / " + collector.engine.LastErrorDetail();
      state.SkipWithError(why.c_str());
      break;
    }
  }
}

void BM_BareQuery(benchmark::State& state) {
  const std::string link = Historian(static_cast<int>(state.range(0)));
  const std::string sql = Query(static_cast<int>(state.range(0)));
  const std::vector<runtime::Variant> names = TagNames(static_cast<int>(state.range(0)));
  for (auto _ : state) {
    platform::OdbcConnection connection;
    connection.Open(link, "", "", -1);
    for (auto rs = connection.Execute(sql, names); !rs->Eof(); rs->MoveNext()) {
      benchmark::DoNotOptimize(rs->Field("Tagname"));
      benchmark::DoNotOptimize(rs->Field("TimeStamp"));
      benchmark::DoNotOptimize(rs->Field("Value"));
    }
  }
}

// The system clock, and a collection planned far ahead: the tick only compares two dates.
void BM_IdleTick(benchmark::State& state) {
  Components components;
  auto configuration = std::make_shared<config::Configuration1>(components);
  configuration->SetData(ConfigurationText(10) + "\r\nSUBGROUPINTERVAL=3650\r\nSUBGROUPUNIT=3");
  engine::Engine1 engine(components);
  engine.StartEngine(configuration);
  for (auto _ : state) components.lastTimer->Tick();
  if (engine.SavedSubgroups() != 0 || !engine.LastErrorDescription().empty()) {
    state.SkipWithError("the idle tick collected");
  }
}

BENCHMARK(BM_BareQuery)->Arg(10)->Arg(100)->Arg(900)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_Cycle)->Arg(10)->Arg(100)->Arg(900)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_IdleTick);

// Keeps each run's real and CPU time per iteration in nanoseconds besides the usual
// console output.
class Reporter : public benchmark::ConsoleReporter {
 public:
  struct Times {
    double real, cpu;
  };
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.run_type == Run::RT_Iteration && !run.error_occurred) {
        const double scale = 1e9 / benchmark::GetTimeUnitMultiplier(run.time_unit);
        times[run.benchmark_name()] = {run.GetAdjustedRealTime() * scale,
                                       run.GetAdjustedCPUTime() * scale};
      }
    }
    ConsoleReporter::ReportRuns(runs);
  }
  std::map<std::string, Times> times;
};

long ResidentKilobytes() {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind("VmRSS:", 0) == 0) return std::atol(line.c_str() + 6);
  }
  return -1;
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  Reporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);

  // CPU time is the steadier measure on a machine shared with other work.
  std::printf("\ncycle against bare query, same run (real time; CPU time):\n");
  for (int tags : {10, 100, 900}) {
    const std::string suffix = "/" + std::to_string(tags);
    const auto cycle = reporter.times.find("BM_Cycle" + suffix);
    const auto bare = reporter.times.find("BM_BareQuery" + suffix);
    if (cycle == reporter.times.end() || bare == reporter.times.end()) continue;
    std::printf("  %3d tags: cycle %8.1f us, bare query %8.1f us, ratio %.2f; ratio %.2f\n", tags,
                cycle->second.real / 1000, bare->second.real / 1000,
                cycle->second.real / bare->second.real, cycle->second.cpu / bare->second.cpu);
  }
  if (const auto idle = reporter.times.find("BM_IdleTick"); idle != reporter.times.end()) {
    std::printf("idle tick: %.0f ns\n", idle->second.real);
  }

  {
    // Warm up first: the allocator takes a thousand cycles or so to settle.
    Collector collector(900);
    for (int i = 0; i < 1000; ++i) collector.Cycle();
    const long before = ResidentKilobytes();
    int failed = 0;
    for (int i = 0; i < 10000; ++i) failed += collector.Cycle() ? 0 : 1;
    const long after = ResidentKilobytes();
    std::printf(
        "resident memory, 900 tags: %ld kB before, %ld kB after 10,000 cycles "
        "(%+.1f bytes per cycle; %d cycles failed)\n",
        before, after, (after - before) * 1024.0 / 10000, failed);
  }
  std::filesystem::remove_all(Folder());
  benchmark::Shutdown();
}
