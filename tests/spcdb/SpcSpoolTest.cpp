// Store and forward on real databases, grouped by fault: a PostgreSQL server stopped and
// started, an SQLite file another connection keeps locked, a forward whose commit was not
// acknowledged, and failures of the subgroup itself, which are never kept.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include "platform/spcdb/SpcSpool.h"
#include "platform/spcdb/SpcWriter.h"
#include "tests/spcdb/SpcFixture.h"
#include "tests/support/TempFolder.h"

namespace spcdbtest {
namespace {

using platform::SpcSubgroupData;

class SpoolTest {
 protected:
  std::shared_ptr<platform::SpcSpool> MakeSpool(int64_t maxBytes = int64_t{1} << 30) {
    return std::make_shared<platform::SpcSpool>(
        folder_.File("spool.db"), "test-host", maxBytes,
        [this](const std::string& description, const std::string& detail, const std::string&) {
          log_.push_back(description + " | " + detail);
        });
  }

  static std::shared_ptr<platform::SpcSession> SpoolingSession(
      const std::string& connection, const std::shared_ptr<platform::SpcSpool>& spool,
      bool strict = false) {
    auto session = std::make_shared<platform::SpcSession>();
    session->Initialize(42);
    session->Settings().SetConnection(connection);
    session->Settings().SetStrictTests(strict);
    // A lock held past the query timeout counts as the database not answering.
    platform::OdbcPolicy policy;
    policy.queryTimeout = 1;
    session->Settings().SetOdbcPolicy(policy);
    session->KeepIn(spool);
    session->Open(1, 0);
    return session;
  }

  // The log lines that start with `description`.
  std::vector<std::string> Logged(const std::string& description) const {
    std::vector<std::string> lines;
    for (const std::string& line : log_) {
      if (line.starts_with(description)) lines.push_back(line);
    }
    return lines;
  }

  // What the database holds, without the identifiers it gave.
  static std::vector<SpcSubgroupData> Stored(platform::SpcSession& session) {
    auto stored = platform::ReadSubgroups(session, 1000);
    for (auto& subgroup : stored) subgroup.id = 0;
    return stored;
  }

  // Keeps the samples `from` to `to` as a save that found the database away does.
  static void Keep(platform::SpcSpool& spool, int from, int to) {
    for (const SpcSubgroupData& sample : Samples(from, to)) {
      spool.Keep(sample, spool.NewKey(sample), std::nullopt);
    }
  }

  static std::vector<SpcSubgroupData> Samples(int from, int to) {
    std::vector<SpcSubgroupData> samples;
    for (int n = from; n < to; ++n) samples.push_back(SampleSubgroup(n));
    return samples;
  }

  testsupport::TempFolder folder_;
  std::vector<std::string> log_;
};

class SpoolOnStoppedServer : public SpoolTest, public ::testing::Test {};

TEST_F(SpoolOnStoppedServer, SubgroupsOfAnOutageAreKeptThenForwardedOnceInOrder) {
  auto database = MakeStoppableDatabase(Backend::PostgreSQL);
  if (!database) GTEST_SKIP() << "no PostgreSQL server here";
  auto spool = MakeSpool();
  auto session = SpoolingSession(database->ConnectionString(), spool);
  for (int n = 0; n < 3; ++n) EXPECT_GT(SaveSubgroup(session, SampleSubgroup(n)), 0);

  ASSERT_TRUE(database->TakeAway());
  for (int n = 3; n < 9; ++n) EXPECT_EQ(SaveSubgroup(session, SampleSubgroup(n)), 0) << n;
  EXPECT_EQ(spool->Depth(), 6);
  ASSERT_EQ(Logged("SPC database unavailable, keeping subgroups locally").size(), 1u);
  EXPECT_NE(log_.front().find("SQLSTATE"), std::string::npos) << log_.front();

  // A host started while the database is away opens and keeps too, strict tests or not:
  // the names are checked when forwarded.
  auto late = SpoolingSession(database->ConnectionString(), spool, true);
  EXPECT_EQ(SaveSubgroup(late, SampleSubgroup(9)), 0);

  database->GiveBack();
  // Past the back-off, the next save forwards what waits before itself.
  std::this_thread::sleep_for(std::chrono::milliseconds(1100));
  SaveSubgroup(session, SampleSubgroup(10));
  EXPECT_EQ(spool->Depth(), 0);
  EXPECT_EQ(Stored(*session), Samples(0, 11));
  const auto again = Logged("SPC database available again");
  ASSERT_EQ(again.size(), 1u);
  EXPECT_NE(again[0].find("forwarded 8 kept subgroup(s)"), std::string::npos) << again[0];
}

class SpoolOnLockedFile : public SpoolTest, public ::testing::Test {};

TEST_F(SpoolOnLockedFile, AFileLockedByAnotherConnectionKeepsSubgroupsUntilItIsFree) {
  auto database = MakeTestDatabase(Backend::SQLite);
  auto spool = MakeSpool();
  auto session = SpoolingSession(database->ConnectionString(), spool);
  SaveSubgroup(session, SampleSubgroup(0));

  platform::OdbcConnection other;
  other.Open(database->ConnectionString(), "", "");
  other.Execute("BEGIN EXCLUSIVE");
  for (int n = 1; n < 4; ++n) EXPECT_EQ(SaveSubgroup(session, SampleSubgroup(n)), 0);
  EXPECT_EQ(spool->Depth(), 3);
  ASSERT_FALSE(log_.empty());
  EXPECT_NE(log_.front().find("database is locked"), std::string::npos) << log_.front();
  struct stat info {};
  ASSERT_EQ(stat(folder_.File("spool.db").c_str(), &info), 0);
  EXPECT_EQ(info.st_mode & 0777, 0600u);

  other.Execute("COMMIT");
  EXPECT_EQ(spool->Forward(*session, true), 3);
  SaveSubgroup(session, SampleSubgroup(4));
  EXPECT_EQ(Stored(*session), Samples(0, 5));
  EXPECT_EQ(Logged("SPC database available again").size(), 1u);
}

TEST_F(SpoolOnLockedFile, AKeptSubgroupKeepsItsConfigurationNameAndOlderSpoolsOpen) {
  // A spool file of the version before, holding one subgroup.
  {
    platform::OdbcConnection old;
    old.Open("Driver=SQLite3;Database=" + folder_.File("spool.db"), "", "");
    old.Execute(
        "CREATE TABLE spooled (id INTEGER PRIMARY KEY AUTOINCREMENT,"
        " idempotency_key TEXT NOT NULL UNIQUE, time_serial REAL NOT NULL, size INTEGER NOT NULL,"
        " session_number INTEGER NOT NULL, part_group TEXT, part TEXT, process_group TEXT,"
        " process TEXT, job_group TEXT, job TEXT, shift_group TEXT, shift TEXT, lot TEXT,"
        " refused TEXT)");
    old.Execute(
        "INSERT INTO spooled (idempotency_key, time_serial, size, session_number)"
        " VALUES ('old-1', 46000.5, 0, 7)");
  }
  auto database = MakeTestDatabase(Backend::SQLite);
  auto spool = MakeSpool();
  auto session = SpoolingSession(database->ConnectionString(), spool);
  session->SetConfigurationName("Line 3");

  platform::OdbcConnection other;
  other.Open(database->ConnectionString(), "", "");
  other.Execute("BEGIN EXCLUSIVE");
  EXPECT_EQ(SaveSubgroup(session, SampleSubgroup(1)), 0);
  EXPECT_EQ(spool->Depth(), 2);
  other.Execute("COMMIT");
  EXPECT_EQ(spool->Forward(*session, true), 2);

  const auto stored = platform::ReadSubgroups(*session, 10);
  ASSERT_EQ(stored.size(), 2u);
  EXPECT_EQ(stored[0].sessionNumber, 7);
  EXPECT_EQ(stored[0].configuration, std::nullopt) << "kept before names were kept";
  EXPECT_EQ(stored[1].time, SampleSubgroup(1).time);
  EXPECT_EQ(stored[1].configuration, "Line 3");
}

TEST_F(SpoolOnLockedFile, AFullSpoolFailsTheSaveAndSaysSo) {
  auto database = MakeTestDatabase(Backend::SQLite);
  auto spool = MakeSpool(1);
  auto session = SpoolingSession(database->ConnectionString(), spool);
  Keep(*spool, 0, 1);

  const runtime::Error full = ErrorFrom([&] { SaveSubgroup(session, SampleSubgroup(1)); });
  EXPECT_EQ(full.Number(), platform::kSpcSpoolFull);
  EXPECT_TRUE(full.Description().starts_with("The subgroup was not saved: ")) << full.Description();
  EXPECT_NE(full.Description().find("is full"), std::string::npos) << full.Description();
  EXPECT_NE(full.Description().find("[Spool] MaxBytes"), std::string::npos);
  EXPECT_EQ(spool->Depth(), 1);
}

class SpoolOnDatabase : public SpoolTest, public SpcDatabaseTest {};

INSTANTIATE_TEST_SUITE_P(Databases, SpoolOnDatabase,
                         ::testing::Values(Backend::SQLite, Backend::PostgreSQL),
                         [](const auto& info) { return ::testing::PrintToString(info.param); });

TEST_P(SpoolOnDatabase, AForwardCommittedButNotRemovedIsNotSavedTwice) {
  auto spool = MakeSpool();
  auto session = SpoolingSession(database_->ConnectionString(), spool);
  Keep(*spool, 0, 3);
  // What a host killed between the database's commit and the spool's delete leaves.
  platform::SpcSpoolFile file(folder_.File("spool.db"));
  const auto first = file.Oldest();
  ASSERT_TRUE(first);
  session->Transact([&](platform::SpcLink& link) {
    platform::WriteSubgroup(link, first->data, false, first->key);
  });

  EXPECT_EQ(spool->Forward(*session, true), 3);
  EXPECT_EQ(spool->Depth(), 0);
  EXPECT_EQ(Stored(*session), Samples(0, 3));
}

TEST_P(SpoolOnDatabase, TwoHostsForwardingOneSpoolSaveEachSubgroupOnce) {
  auto first = MakeSpool();
  Keep(*first, 0, 30);
  auto second = MakeSpool();
  auto one = SpoolingSession(database_->ConnectionString(), first);
  auto other = SpoolingSession(database_->ConnectionString(), second);
  std::thread racing([&] { second->Forward(*other, true); });
  first->Forward(*one, true);
  racing.join();

  EXPECT_EQ(first->List().size(), 0u) << "none left, none refused";
  auto stored = Stored(*one);
  std::sort(stored.begin(), stored.end(),
            [](const auto& a, const auto& b) { return a.time < b.time; });
  EXPECT_EQ(stored, Samples(0, 30));
  EXPECT_TRUE(Logged("A kept subgroup was refused").empty()) << log_.back();
}

TEST_P(SpoolOnDatabase, TheSubgroupsOwnFailuresAreNeverKept) {
  auto spool = MakeSpool();
  auto strict = SpoolingSession(database_->ConnectionString(), spool, true);
  const runtime::Error unknown = ErrorFrom([&] { SaveSubgroup(strict, SampleSubgroup(0)); });
  EXPECT_EQ(unknown.Number(), platform::kSpcUnknownName) << unknown.Description();
  EXPECT_EQ(spool->Depth(), 0);
  EXPECT_TRUE(log_.empty());

  // Kept while the database was away, refused when forwarded: set aside and logged, and
  // the subgroups behind it go on.
  SpcSubgroupData unknownTest = SampleSubgroup(1);
  unknownTest.readings = {{"Dimensions", "Never Made", 1, 1, "", ""}};
  auto lenient = SpoolingSession(database_->ConnectionString(), spool);
  SaveSubgroup(lenient, SampleSubgroup(2));
  spool->Keep(unknownTest, spool->NewKey(unknownTest), std::nullopt);
  Keep(*spool, 3, 4);
  EXPECT_EQ(spool->Forward(*strict, true), 1);
  EXPECT_EQ(spool->Depth(), 1);
  EXPECT_FALSE(spool->Holding());
  ASSERT_EQ(Logged("A kept subgroup was refused by the SPC database").size(), 1u);
  EXPECT_NE(log_.back().find("1 refused, still in the spool"), std::string::npos) << log_.back();
  const auto listed = spool->List();
  ASSERT_EQ(listed.size(), 1u);
  EXPECT_NE(listed[0].refused.find("Never Made"), std::string::npos) << listed[0].refused;
  EXPECT_EQ(Stored(*strict), (std::vector<SpcSubgroupData>{SampleSubgroup(2), SampleSubgroup(3)}));
}

}  // namespace
}  // namespace spcdbtest
