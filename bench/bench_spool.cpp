// Forwarding from the local spool into the SPC database: subgroups of 20 characteristics
// (one reading each) and 5 descriptors, kept in the spool and then forwarded, against
// saving the same subgroups directly through the host's subgroup object on the same
// database. Rounds of both alternate so that both see the same machine. Prints subgroups
// per second for saving directly, keeping and forwarding, the ratio of forwarding to direct
// saves, and the goal: the spool drains at least 5x faster than collection at a 1 s
// interval (5 subgroups/s). SQLite always; PostgreSQL with DAM_TEST_PG_CONNECTION.
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <regex>
#include <string>

#include "platform/odbc/OdbcConnection.h"
#include "platform/spcdb/SpcSession.h"
#include "platform/spcdb/SpcSpool.h"
#include "platform/spcdb/SpcSubgroup.h"
#include "runtime/Clock.h"
#include "runtime/Error.h"

namespace {

constexpr int kTests = 20;
constexpr int kRounds = 3;
constexpr int kPerRound = 100;
// Collection at a 1 s interval, five times over.
constexpr double kGoal = 5.0;

platform::SpcSubgroupData Subgroup(int n) {
  platform::SpcSubgroupData subgroup;
  subgroup.time = runtime::Now();
  subgroup.size = 1;
  subgroup.sessionNumber = 1;
  subgroup.part = platform::SpcName{"Parts", "Part 1"};
  subgroup.process = platform::SpcName{"Lines", "Line 1"};
  subgroup.shift = platform::SpcName{"Shifts", "Day"};
  subgroup.lot = "Lot " + std::to_string(n / 100);
  subgroup.descriptors = {{"Operators", "Anna"}};
  for (int test = 0; test < kTests; ++test) {
    subgroup.readings.push_back(
        {"Dimensions", "Test " + std::to_string(test), 1, test + n * 0.001, "", ""});
  }
  return subgroup;
}

void SaveDirectly(platform::SpcSubgroup& target, const platform::SpcSubgroupData& subgroup) {
  target.Clear();
  auto set = [&](host::DescriptorKind kind, const std::optional<platform::SpcName>& name) {
    target.SetGroup(kind, name->group);
    target.SetName(kind, name->name);
  };
  set(host::DescriptorKind::Part, subgroup.part);
  set(host::DescriptorKind::Process, subgroup.process);
  set(host::DescriptorKind::Shift, subgroup.shift);
  set(host::DescriptorKind::UserDefined, subgroup.descriptors[0]);
  target.SetLot(*subgroup.lot);
  target.SetTime(subgroup.time);
  for (const platform::SpcReading& reading : subgroup.readings) {
    target.LookupTestGroup(reading.testGroup);
    target.LookupTest(reading.test);
    target.AddReading(reading.value, 1, 0, "", "");
  }
  target.Save(0);
}

double Seconds(const std::function<void()>& body) {
  auto start = std::chrono::steady_clock::now();
  body();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void Measure(const char* title, const std::string& connectionString, const std::string& folder) {
  auto session = std::make_shared<platform::SpcSession>();
  session->Initialize(1);
  session->Settings().SetConnection(connectionString);
  session->Open(1, 0);
  platform::SpcSubgroup direct;
  direct.SetDatabase(session);
  SaveDirectly(direct, Subgroup(0));  // creates the names, warms the caches
  platform::SpcSpool spool(folder + "/spool.db", "bench", int64_t{1} << 30,
                           [](const std::string&, const std::string&, const std::string&) {});

  double saving = 0, keeping = 0, forwarding = 0;
  int64_t forwarded = 0;
  for (int round = 0; round < kRounds; ++round) {
    saving += Seconds([&] {
      for (int i = 0; i < kPerRound; ++i) SaveDirectly(direct, Subgroup(i));
    });
    keeping += Seconds([&] {
      for (int i = 0; i < kPerRound; ++i) {
        const platform::SpcSubgroupData subgroup = Subgroup(i);
        spool.Keep(subgroup, spool.NewKey(subgroup), std::nullopt);
      }
    });
    forwarding += Seconds([&] { forwarded += spool.Forward(*session, true); });
  }
  const double count = kRounds * kPerRound;
  if (forwarded != kRounds * kPerRound) {
    throw runtime::Error(
        1, "forwarded " + std::to_string(forwarded) + " of " + std::to_string(kRounds * kPerRound));
  }
  const double drain = count / forwarding;
  std::printf(
      "%-10s direct %7.1f subgroups/s, kept %7.1f/s, forwarded %7.1f/s, "
      "forward/direct %.2f; drains %.0fx faster than collection at 1 s %s\n",
      title, count / saving, count / keeping, drain, saving / forwarding, drain,
      drain >= kGoal ? "(goal >= 5x met)" : "(goal >= 5x MISSED)");
}

std::string WithDatabase(const std::string& connection, const std::string& database) {
  return std::regex_replace(connection, std::regex("(^|;)Database=[^;]*", std::regex::icase),
                            "$1Database=" + database);
}

}  // namespace

int main() {
  std::string folder = (std::filesystem::temp_directory_path() / "bench-spool-XXXXXX").string();
  if (!mkdtemp(folder.data())) return 1;
  int status = 0;
  try {
    Measure("SQLite", "Driver=SQLite3;Database=" + folder + "/spc.db", folder);
    std::filesystem::remove(folder + "/spool.db");
    if (const char* server = std::getenv("DAM_TEST_PG_CONNECTION")) {
      std::string name = "dam_bench_spool_" + std::to_string(getpid());
      platform::OdbcConnection maintenance;
      maintenance.Open(server, "", "");
      maintenance.Execute("CREATE DATABASE " + name);
      Measure("PostgreSQL", WithDatabase(server, name), folder);
      maintenance.Execute("DROP DATABASE " + name + " WITH (FORCE)");
    } else {
      std::printf("PostgreSQL skipped: DAM_TEST_PG_CONNECTION is not set\n");
    }
  } catch (const runtime::Error& e) {
    std::fprintf(stderr, "bench_spool: %s\n", e.Description().c_str());
    status = 1;
  }
  std::filesystem::remove_all(folder);
  return status;
}
