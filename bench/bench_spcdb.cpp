// Saving subgroups into the SPC database: 8 descriptors (part, process, job, shift, lot
// and 3 user-defined) and 20 characteristics of 5 readings each, through the host's
// subgroup object as the driver saves them. The baseline inserts the same rows with plain
// prepared INSERTs, one transaction per subgroup, on the same database. Rounds of both
// alternate so that both see the same machine. Prints subgroups per second and the ratio
// (goal: at most 1.5) on SQLite and, with DAM_TEST_PG_CONNECTION, on PostgreSQL.
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <regex>
#include <string>
#include <vector>

#include "platform/odbc/OdbcConnection.h"
#include "platform/spcdb/SpcSession.h"
#include "platform/spcdb/SpcSubgroup.h"
#include "platform/spcdb/SpcSubgroupId.h"
#include "runtime/Clock.h"
#include "runtime/Error.h"

namespace {

using host::DescriptorKind;
using runtime::Variant;

constexpr int kTests = 20;
constexpr int kSamples = 5;
constexpr int kRounds = 6;
constexpr int kPerRound = 50;

void SaveThroughSubgroup(platform::SpcSubgroup& subgroup, int n) {
  subgroup.Clear();
  const std::pair<DescriptorKind, const char*> named[] = {{DescriptorKind::Part, "Part"},
                                                          {DescriptorKind::Process, "Process"},
                                                          {DescriptorKind::Job, "Job"},
                                                          {DescriptorKind::Shift, "Shift"},
                                                          {DescriptorKind::UserDefined, "Operator"},
                                                          {DescriptorKind::UserDefined, "Machine"},
                                                          {DescriptorKind::UserDefined, "Tool"}};
  for (const auto& [kind, name] : named) {
    subgroup.SetGroup(kind, std::string(name) + " group");
    subgroup.SetName(kind, std::string(name) + " 1");
  }
  subgroup.SetLot("Lot " + std::to_string(n / 100));
  subgroup.SetSize(kSamples);
  subgroup.SetTime(runtime::Now());
  for (int test = 0; test < kTests; ++test) {
    subgroup.LookupTestGroup("Dimensions");
    subgroup.LookupTest("Test " + std::to_string(test));
    for (int sample = 1; sample <= kSamples; ++sample) {
      subgroup.AddReading(test + sample * 0.001, static_cast<int16_t>(sample), 0, "SN", "");
    }
  }
  subgroup.Save(0);
}

// The same rows, with the identifiers of the names already known.
class Baseline {
 public:
  Baseline(const std::string& connectionString, bool sqlite) : sqlite_(sqlite) {
    connection_.Open(connectionString, "", "");
    auto id = [&](const char* sql) {
      return runtime::ToLong(connection_.Execute(sql)->Field("id"));
    };
    part_ = id("SELECT id FROM parts WHERE name = 'Part 1'");
    process_ = id("SELECT id FROM processes WHERE name = 'Process 1'");
    job_ = id("SELECT id FROM jobs WHERE name = 'Job 1'");
    shift_ = id("SELECT id FROM shifts WHERE name = 'Shift 1'");
    lot_ = id("SELECT id FROM lots WHERE name = 'Lot 0'");
    for (auto rows = connection_.Execute("SELECT id FROM descriptors ORDER BY id"); !rows->Eof();
         rows->MoveNext()) {
      descriptors_.push_back(runtime::ToLong(rows->Field("id")));
    }
    for (int test = 0; test < kTests; ++test) {
      tests_.push_back(
          runtime::ToLong(connection_
                              .Execute("SELECT id FROM tests WHERE name = ?",
                                       std::vector<Variant>{"Test " + std::to_string(test)})
                              ->Field("id")));
    }
    subgroup_ = connection_.Prepare(
        "INSERT INTO subgroups (subgroup_time, size, part_id, process_id, job_id, shift_id,"
        " lot_id, session_number) VALUES (?, ?, ?, ?, ?, ?, ?, ?)");
    descriptor_ = connection_.Prepare(
        "INSERT INTO subgroup_descriptors (subgroup_id, ordinal, descriptor_id)"
        " VALUES (CAST(? AS BIGINT), ?, ?)");
    reading_ = connection_.Prepare(
        "INSERT INTO readings (subgroup_id, ordinal, test_id, sample, value, serial_number,"
        " defect_code) VALUES (CAST(? AS BIGINT), ?, ?, ?, ?, ?, ?)");
  }

  void Save() {
    connection_.BeginTransaction();
    subgroup_->Execute({runtime::Now(), kSamples, part_, process_, job_, shift_, lot_, 1});
    const Variant id = platform::SubgroupIdParameter(platform::SubgroupIdOf(
        connection_
            .Execute(sqlite_ ? "SELECT last_insert_rowid() AS id" : "SELECT lastval() AS id")
            ->Field("id")));
    int32_t ordinal = 0;
    for (int32_t descriptor : descriptors_) descriptor_->Execute({id, ++ordinal, descriptor});
    ordinal = 0;
    for (int test = 0; test < kTests; ++test) {
      for (int sample = 1; sample <= kSamples; ++sample) {
        reading_->Execute({id, ++ordinal, tests_[test], sample, test + sample * 0.001,
                           std::string("SN"), std::string()});
      }
    }
    connection_.Commit();
  }

 private:
  bool sqlite_;
  platform::OdbcConnection connection_;
  int32_t part_, process_, job_, shift_, lot_;
  std::vector<int32_t> descriptors_, tests_;
  std::unique_ptr<platform::OdbcStatement> subgroup_, descriptor_, reading_;
};

double Seconds(const std::function<void()>& body) {
  auto start = std::chrono::steady_clock::now();
  body();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void Measure(const char* title, const std::string& connectionString, bool sqlite) {
  auto session = std::make_shared<platform::SpcSession>();
  session->Initialize(1);
  session->Settings().SetConnection(connectionString);
  session->Open(1, 0);
  platform::SpcSubgroup subgroup;
  subgroup.SetDatabase(session);
  SaveThroughSubgroup(subgroup, 0);  // creates the names, warms the caches
  Baseline baseline(connectionString, sqlite);
  baseline.Save();

  double spcdb = 0, plain = 0;
  for (int round = 0; round < kRounds; ++round) {
    spcdb += Seconds([&] {
      for (int i = 0; i < kPerRound; ++i) SaveThroughSubgroup(subgroup, i);
    });
    plain += Seconds([&] {
      for (int i = 0; i < kPerRound; ++i) baseline.Save();
    });
  }
  const double count = kRounds * kPerRound;
  std::printf("%-10s subgroup save %8.1f subgroups/s, baseline %8.1f subgroups/s, ratio %.2f %s\n",
              title, count / spcdb, count / plain, spcdb / plain,
              spcdb / plain <= 1.5 ? "(goal <= 1.5 met)" : "(goal <= 1.5 MISSED)");
}

std::string WithDatabase(const std::string& connection, const std::string& database) {
  return std::regex_replace(connection, std::regex("(^|;)Database=[^;]*", std::regex::icase),
                            "$1Database=" + database);
}

}  // namespace

int main() {
  try {
    std::string folder = (std::filesystem::temp_directory_path() / "bench-spcdb-XXXXXX").string();
    if (!mkdtemp(folder.data())) return 1;
    Measure("SQLite", "Driver=SQLite3;Database=" + folder + "/spc.db", true);
    std::filesystem::remove_all(folder);

    if (const char* server = std::getenv("DAM_TEST_PG_CONNECTION")) {
      std::string name = "dam_bench_" + std::to_string(getpid());
      platform::OdbcConnection maintenance;
      maintenance.Open(server, "", "");
      maintenance.Execute("CREATE DATABASE " + name);
      Measure("PostgreSQL", WithDatabase(server, name), false);
      maintenance.Execute("DROP DATABASE " + name + " WITH (FORCE)");
    } else {
      std::printf("PostgreSQL skipped: DAM_TEST_PG_CONNECTION is not set\n");
    }
  } catch (const runtime::Error& e) {
    std::fprintf(stderr, "bench_spcdb: %s\n", e.Description().c_str());
    return 1;
  }
  return 0;
}
