// One collection cycle against an SQLite historian through the "SQLite3" ODBC driver, with
// 10, 100 and 900 tags: query, record processing, conditions and resolution of one
// characteristic per tag, and the real save into an SQLite SPC database. The baseline is
// what a hand-written poller does with its connections kept: the same bound query, rows
// read, and one transaction of single-row prepared INSERTs (subgroup, two descriptors, one
// reading per tag) into an SQLite database of the same tables. Cycle and baseline run in
// turn, one of each per iteration, and the program prints the medians and their ratio
// against the goal (at most 1.0 at 100 and 900 tags, 1.3 at 10), the resident memory over
// many cycles (goal: flat) and what a tick that does not collect costs.
//
//   bench_engine [ITERATIONS_AT_900_TAGS] [MEMORY_CYCLES]
//   bench_engine --make-historian LINK TAGS HISTORY   fills a historian (SQLite, PostgreSQL)
//   bench_engine --historian LINK TAGS CYCLES         cycles against it (scripts/bench-postgres)
//   bench_engine --configuration FILE SPC_LINK CYCLES  a configuration file as fast as it goes
//                                                     (scripts/bench-peer)
//   bench_engine --bare-ticks SECONDS                 wakes every 100 ms and does nothing else,
//                                                     the floor of an idle host
//                                                     (scripts/bench-idle)
#include <poll.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "config/Configuration1.h"
#include "engine/Engine1.h"
#include "host/ComponentsWrapper.h"
#include "platform/components/PlatformComponents.h"
#include "platform/odbc/OdbcConnection.h"
#include "platform/odbc/SqliteLibrary.h"
#include "platform/spcdb/SpcSession.h"
#include "platform/spcdb/SpcSubgroup.h"
#include "runtime/Clock.h"
#include "runtime/Error.h"
#include "runtime/Text.h"

namespace {

class Timer : public host::HostTimer {
 public:
  void StartTimer(int32_t) override {}
  void StopTimer() override {}
  void ArmFor(runtime::Date) override {}
  void Tick() { OnTimer.Raise(); }
};

// The platform's components, with timers that the bench ticks itself.
class Components : public host::ComponentsWrapper {
 public:
  using ComponentsWrapper::ComponentsWrapper;
  std::unique_ptr<host::HostTimer> CreateTimer() override {
    auto timer = std::make_unique<Timer>();
    lastTimer = timer.get();
    return timer;
  }

  Timer* lastTimer = nullptr;
};

class SettableClock : public runtime::Clock {
 public:
  runtime::Date Now() const override { return now; }
  // The bench only moves the clock forward: time passes as the wall clock says.
  std::chrono::nanoseconds Monotonic() const override { return runtime::Between({}, now); }
  runtime::Date now = runtime::ParseDate("2024-05-01 10:07:30").value();
};

std::string Folder() {
  static const std::string folder = [] {
    char name[] = "/tmp/bench_engine.XXXXXX";
    const std::string made = mkdtemp(name);
    for (const char* name :
         {"DAM_LOG_DIR", "DAM_COMPONENT_DIR", "DAM_SETTINGS_DIR", "DAM_DATA_DIR"}) {
      setenv(name, made.c_str(), 1);
    }
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
std::string ConfigurationText(int tags, const std::string& historian) {
  std::vector<std::string> lines = {"NAME=Bench",
                                    "ACTIVE=1",
                                    "DATALINK=" + historian,
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

std::string ConfigurationText(int tags) {
  return ConfigurationText(tags, Historian(tags));
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

long StatusKilobytes(const char* field) {
  std::ifstream status("/proc/self/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.rfind(field, 0) == 0) return std::atol(line.c_str() + std::strlen(field));
  }
  return -1;
}

long ResidentKilobytes() {
  return StatusKilobytes("VmRSS:");
}

long PeakKilobytes() {
  return StatusKilobytes("VmHWM:");
}

// A started engine whose every tick collects and saves into its own SQLite SPC database.
struct Collector {
  explicit Collector(int tags)
      : Collector(ConfigurationText(tags),
                  "Driver=SQLite3;Database=" + Folder() + "/spc" + std::to_string(tags) + ".db") {}
  Collector(const std::string& configuration, const std::string& spcLink) : scope(clock) {
    Folder();  // the host's folders are the bench's own, before the components look for them
    database->Settings().SetConnection(spcLink);
    database->Initialize(1);
    database->Open(1, 0);
    this->configuration->SetDatabase(database);
    const auto start = std::chrono::steady_clock::now();
    const long before = ResidentKilobytes();
    this->configuration->SetData(configuration);
    setDataSeconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    setDataKilobytes = PeakKilobytes() - before;
    engine.StartEngine(this->configuration);
  }
  // One collection cycle; false when it did not save.
  bool Cycle() {
    clock.now.serial = engine.NextCollectionTime().serial + 0.1 / 86400;
    const int32_t saved = engine.SavedSubgroups();
    components.lastTimer->Tick();
    return engine.SavedSubgroups() == saved + 1;
  }
  std::string Why() const {
    return engine.LastErrorDescription() + " / " + engine.LastErrorDetail();
  }

  platform::PlatformComponents platform;
  Components components{platform};
  SettableClock clock;
  runtime::ScopedClock scope;
  std::shared_ptr<platform::SpcSession> database = std::make_shared<platform::SpcSession>();
  std::shared_ptr<config::Configuration1> configuration =
      std::make_shared<config::Configuration1>(components);
  engine::Engine1 engine{components};
  double setDataSeconds = 0;
  // How far SetData raised the peak resident memory.
  long setDataKilobytes = 0;
};

// The hand-written poller: both connections kept, statements prepared once, one
// single-row INSERT per row.
struct Baseline {
  explicit Baseline(int tags) : tags(tags), sql(Query(tags)), names(TagNames(tags)) {
    historian.Open(Historian(tags), "", "");
    spc.Open("Driver=SQLite3;Database=" + Folder() + "/bare" + std::to_string(tags) + ".db", "",
             "");
    for (const char* statement :
         {"PRAGMA journal_mode=WAL", "PRAGMA foreign_keys=ON",
          "CREATE TABLE subgroups (id INTEGER PRIMARY KEY, subgroup_time TIMESTAMP NOT NULL, "
          "size INTEGER NOT NULL, part_id INTEGER, lot_id INTEGER, session_number INTEGER)",
          "CREATE TABLE subgroup_descriptors (subgroup_id INTEGER NOT NULL REFERENCES subgroups "
          "(id), ordinal INTEGER NOT NULL, descriptor_id INTEGER NOT NULL, PRIMARY KEY "
          "(subgroup_id, ordinal))",
          "CREATE TABLE readings (subgroup_id INTEGER NOT NULL REFERENCES subgroups (id), "
          "ordinal INTEGER NOT NULL, test_id INTEGER NOT NULL, sample INTEGER NOT NULL, value "
          "DOUBLE PRECISION NOT NULL, serial_number TEXT NOT NULL, defect_code TEXT NOT NULL, "
          "PRIMARY KEY (subgroup_id, ordinal))"}) {
      spc.Execute(statement);
    }
    insertSubgroup = spc.Prepare(
        "INSERT INTO subgroups (subgroup_time, size, part_id, lot_id, session_number) VALUES "
        "(?, 1, 1, 1, 1)");
    insertDescriptor = spc.Prepare(
        "INSERT INTO subgroup_descriptors (subgroup_id, ordinal, descriptor_id) VALUES (?, ?, 1)");
    insertReading = spc.Prepare(
        "INSERT INTO readings (subgroup_id, ordinal, test_id, sample, value, serial_number, "
        "defect_code) VALUES (?, ?, ?, 1, ?, '', '')");
  }

  bool Cycle() {
    std::vector<runtime::Variant> values;
    for (auto rs = historian.Execute(sql, names); !rs->Eof(); rs->MoveNext()) {
      rs->Field("Tagname");
      rs->Field("TimeStamp");
      values.push_back(rs->Field("Value"));
    }
    spc.BeginTransaction();
    insertSubgroup->Execute({runtime::Variant(runtime::ParseDate("2024-05-01 10:07:30").value())});
    const runtime::Variant id = spc.Execute("SELECT last_insert_rowid() AS id")->Field("id");
    for (int32_t ordinal : {1, 2}) insertDescriptor->Execute({id, ordinal});
    int32_t ordinal = 0;
    for (const runtime::Variant& value : values) {
      ++ordinal;
      insertReading->Execute({id, ordinal, ordinal, value});
    }
    spc.Commit();
    return static_cast<int>(values.size()) == tags;
  }

  int tags;
  std::string sql;
  std::vector<runtime::Variant> names;
  platform::OdbcConnection historian;
  platform::OdbcConnection spc;
  std::unique_ptr<platform::OdbcStatement> insertSubgroup, insertDescriptor, insertReading;
};

struct Sample {
  double cpu, wall;  // microseconds
};

double ProcessCpuMicroseconds() {
  timespec now{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
  return now.tv_sec * 1e6 + now.tv_nsec / 1e3;
}

template <class Work>
Sample Measure(Work&& work) {
  const auto wall = std::chrono::steady_clock::now();
  const double cpu = ProcessCpuMicroseconds();
  work();
  return {
      ProcessCpuMicroseconds() - cpu,
      std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - wall).count()};
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  return values.empty() ? 0 : values[values.size() / 2];
}

const char* Verdict(bool met) {
  return met ? "goal met" : "goal NOT met";
}

// Cycle and baseline in turn, which one first alternating; false after a failed cycle.
bool CompareCycles(int tags, int iterations) {
  Collector collector(tags);
  Baseline baseline(tags);
  for (int i = 0; i < 5; ++i) {
    if (!collector.Cycle() || !baseline.Cycle()) {
      std::printf("%d tags: the cycle failed: %s\n", tags, collector.Why().c_str());
      return false;
    }
  }
  std::vector<double> cycleCpu, cycleWall, bareCpu, bareWall;
  for (int i = 0; i < iterations; ++i) {
    Sample cycle{}, bare{};
    auto runCycle = [&] { cycle = Measure([&] { collector.Cycle(); }); };
    auto runBare = [&] { bare = Measure([&] { baseline.Cycle(); }); };
    if (i % 2 == 0) {
      runCycle();
      runBare();
    } else {
      runBare();
      runCycle();
    }
    cycleCpu.push_back(cycle.cpu);
    cycleWall.push_back(cycle.wall);
    bareCpu.push_back(bare.cpu);
    bareWall.push_back(bare.wall);
  }
  const double goal = tags >= 100 ? 1.0 : 1.3;
  const double ratio = Median(cycleCpu) / Median(bareCpu);
  std::printf(
      "%4d tags, %d iterations: cycle %8.1f us CPU (%8.1f wall), bare query + inserts %8.1f us "
      "CPU (%8.1f wall): ratio %.2f CPU, %.2f wall; goal <= %.1f: %s\n",
      tags, iterations, Median(cycleCpu), Median(cycleWall), Median(bareCpu), Median(bareWall),
      ratio, Median(cycleWall) / Median(bareWall), goal, Verdict(ratio <= goal));
  return true;
}

// The system clock, and a collection planned far ahead: the tick only compares two dates.
double IdleTickNanoseconds() {
  platform::PlatformComponents platform;
  Components components{platform};
  auto configuration = std::make_shared<config::Configuration1>(components);
  configuration->SetData(ConfigurationText(10) + "\r\nSUBGROUPINTERVAL=3650\r\nSUBGROUPUNIT=3");
  engine::Engine1 engine(components);
  engine.StartEngine(configuration);
  constexpr int kTicks = 1000000;
  const Sample sample = Measure([&] {
    for (int i = 0; i < kTicks; ++i) components.lastTimer->Tick();
  });
  return sample.cpu * 1000 / kTicks;
}

// Tags T1..Tn in ihTags, one current value each and `history` older rows per tag in
// ihRawData, indexed by tag name, on SQLite or PostgreSQL.
int MakeHistorian(const std::string& link, int tags, int history) {
  platform::OdbcConnection connection;
  connection.Open(link, "", "");
  const bool sqlite = connection.DbmsName() == "SQLite";
  const std::string numbers =
      sqlite ? "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < ?) "
             : "WITH n(i) AS (SELECT generate_series(1, CAST(? AS INTEGER))) ";
  const std::string concat = sqlite ? "'T' || i" : "'T' || CAST(i AS TEXT)";
  // SQLite would make a number of a cast to TIMESTAMP.
  auto stamp = [&](const std::string& text) {
    return sqlite ? "'" + text + "'" : "CAST('" + text + "' AS TIMESTAMP)";
  };
  const std::vector<runtime::Variant> count = {tags};
  connection.Execute("DROP TABLE IF EXISTS ihTags");
  connection.Execute("DROP TABLE IF EXISTS ihRawData");
  connection.Execute("CREATE TABLE ihTags (Tagname TEXT)");
  connection.Execute(
      "CREATE TABLE ihRawData (Tagname TEXT, TimeStamp TIMESTAMP, Value REAL, SamplingMode TEXT)");
  connection.Execute("INSERT INTO ihTags " + numbers + "SELECT " + concat + " FROM n", count);
  connection.Execute("INSERT INTO ihRawData " + numbers + "SELECT " + concat + ", " +
                         stamp("2024-05-01 10:00:00.250") +
                         ", i * 0.5, "
                         "'CurrentValue' FROM n",
                     count);
  for (int h = 1; h <= history; ++h) {
    connection.Execute("INSERT INTO ihRawData " + numbers + "SELECT " + concat + ", " +
                           stamp("2024-04-30 10:00:00") +
                           ", i * 0.25, 'RawByTime' "
                           "FROM n",
                       count);
  }
  connection.Execute("CREATE INDEX ihRawDataTag ON ihRawData (Tagname)");
  std::printf("historian: %d tags, %d rows in ihRawData\n", tags, tags * (history + 1));
  return 0;
}

// Collection cycles against the historian at `link`: time per cycle, peak memory, and what
// loading the configuration (its data link test included) cost.
int RunHistorian(const std::string& link, int tags, int cycles) {
  Collector collector(ConfigurationText(tags, link),
                      "Driver=SQLite3;Database=" + Folder() + "/spc_historian.db");
  std::vector<double> wall, cpu;
  for (int i = 0; i < cycles; ++i) {
    bool saved = false;
    const Sample sample = Measure([&] { saved = collector.Cycle(); });
    if (!saved) {
      std::printf("%d tags: the cycle failed: %s\n", tags, collector.Why().c_str());
      return 1;
    }
    wall.push_back(sample.wall / 1000);
    cpu.push_back(sample.cpu / 1000);
  }
  const double goal = tags >= 50000 ? 1000 : tags >= 10000 ? 300 : 0;
  std::printf(
      "historian %d tags: cycle %.1f ms (median of %d; %.1f ms CPU), peak RSS %ld kB; "
      "configuration load %.3f s, +%ld kB",
      tags, Median(wall), cycles, Median(cpu), PeakKilobytes(), collector.setDataSeconds,
      collector.setDataKilobytes);
  if (goal > 0) {
    std::printf("; goal cycle < %.0f ms: %s, RSS < 60 MB: %s", goal, Verdict(Median(wall) < goal),
                Verdict(PeakKilobytes() < 60 * 1024));
  }
  std::printf("\n");
  std::filesystem::remove_all(Folder());
  return 0;
}

// The engine on a configuration file, as fast as it goes, printed as the Python poller
// prints its loop.
int RunConfiguration(const std::string& file, const std::string& spcLink, int cycles) {
  std::ifstream in(file, std::ios::binary);
  std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
  Collector collector(text, spcLink);
  for (int i = 0; i < 3; ++i) collector.Cycle();
  int saved = 0;
  const Sample sample = Measure([&] {
    for (int i = 0; i < cycles; ++i) saved += collector.Cycle() ? 1 : 0;
  });
  if (saved != cycles) {
    std::printf("the cycle failed: %s\n", collector.Why().c_str());
    return 1;
  }
  std::printf(
      "dam cycles=%d loop_cpu_per_cycle_us=%.1f loop_wall_per_cycle_us=%.1f "
      "peak_rss_kB=%ld\n",
      cycles, sample.cpu / cycles, sample.wall / cycles, PeakKilobytes());
  std::filesystem::remove_all(Folder());
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  // As dam sets the library up, so that a cycle here costs what it costs there.
  platform::TuneSqliteForManyConnections();
  const std::vector<std::string> args(argv + 1, argv + argc);
  if (args.size() == 4 && args[0] == "--make-historian") {
    return MakeHistorian(args[1], std::atoi(args[2].c_str()), std::atoi(args[3].c_str()));
  }
  if (args.size() == 4 && args[0] == "--historian") {
    return RunHistorian(args[1], std::atoi(args[2].c_str()), std::atoi(args[3].c_str()));
  }
  if (args.size() == 2 && args[0] == "--bare-ticks") {
    for (int i = std::atoi(args[1].c_str()) * 10; i > 0; --i) poll(nullptr, 0, 100);
    return 0;
  }
  if (args.size() == 4 && args[0] == "--configuration") {
    return RunConfiguration(args[1], args[2], std::atoi(args[3].c_str()));
  }
  const int iterations900 = argc > 1 ? std::max(3, std::atoi(argv[1])) : 30;
  const int memoryCycles = argc > 2 ? std::max(1000, std::atoi(argv[2])) : 100000;
  std::printf(
      "medians of cycle and baseline run in turn (CPU time is the steadier measure on a "
      "shared machine):\n");
  for (int tags : {10, 100, 900}) {
    if (!CompareCycles(tags, iterations900 * 900 / tags / (tags == 10 ? 3 : 1))) return 1;
  }
  std::printf("idle tick: %.0f ns CPU\n", IdleTickNanoseconds());
  {
    // Warm up first: the allocator settles within a thousand cycles, but SQLite's page
    // cache of the growing SPC database (2 MB at most) takes some ten thousand to fill.
    Collector collector(10);
    for (int i = 0; i < 10000; ++i) collector.Cycle();
    const long before = ResidentKilobytes();
    int failed = 0;
    for (int i = 0; i < memoryCycles; ++i) failed += collector.Cycle() ? 0 : 1;
    const long after = ResidentKilobytes();
    const double perCycle = (after - before) * 1024.0 / memoryCycles;
    std::printf(
        "resident memory, 10 tags with the save: %ld kB before, %ld kB after %d cycles "
        "(%+.2f bytes per cycle; %d cycles failed); goal flat: %s\n",
        before, after, memoryCycles, perCycle, failed, Verdict(after - before < 256));
  }
  std::filesystem::remove_all(Folder());
}
