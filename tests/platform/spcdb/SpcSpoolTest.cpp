// Store and forward on real databases, grouped by fault: a PostgreSQL server stopped and
// started, an SQLite file another connection keeps locked, a full spool, an unreadable or
// deleted spool file, a forward whose commit was not acknowledged, a connection the server
// ends mid-save, and failures of the subgroup itself, which are never kept.
#include <sys/mount.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <regex>
#include <span>
#include <thread>
#include <utility>

#include "platform/spcdb/SpcWriter.h"
#include "tests/platform/spcdb/SpcFixture.h"

namespace spcdbtest {
namespace {

using platform::SpcSubgroupData;

// Forwards to a real session, showing it each batch first.
struct Through : platform::SpcForwardTarget {
  Through(platform::SpcSession& session, std::function<void(size_t)> before)
      : session(session), before(std::move(before)) {}
  void Reach() override { session.Reach(); }
  std::vector<platform::SpcWritten> Forward(
      std::span<const platform::SpooledSubgroup> batch) override {
    before(batch.size());
    return session.Forward(batch);
  }
  platform::SpcSession& session;
  std::function<void(size_t)> before;
};

class SpoolTest {
 protected:
  std::shared_ptr<platform::SpcSpool> MakeSpool(int64_t maxBytes = int64_t{1} << 30,
                                                const std::string& folder = {}) {
    return std::make_shared<platform::SpcSpool>(
        (folder.empty() ? folder_.Path() : folder) + "/spool.db", "test-host", maxBytes,
        [this](const std::string& description, const std::string& detail,
               const std::string& extended) {
          std::lock_guard lock(logging_);
          log_.push_back(description + " | " + detail + " | " + extended);
        },
        [this] { return steady_; });
  }

  // A lock held past the query timeout (1 s unless `queryTimeout`) counts as the database
  // not answering.
  static std::shared_ptr<platform::SpcSession> SpoolingSession(
      const std::string& connection, const std::shared_ptr<platform::SpcSpool>& spool,
      bool strict = false, int32_t queryTimeout = 1) {
    auto session = std::make_shared<platform::SpcSession>();
    session->Initialize(42);
    session->Settings().SetConnection(connection);
    session->Settings().SetStrictTests(strict);
    session->Settings().SetOdbcPolicy({.queryTimeout = queryTimeout});
    session->KeepIn(spool);
    session->Open(1, 0);
    return session;
  }

  // The log lines that start with `description`.
  std::vector<std::string> Logged(const std::string& description) const {
    std::vector<std::string> lines;
    std::ranges::copy_if(log_, std::back_inserter(lines),
                         [&](const std::string& line) { return line.starts_with(description); });
    return lines;
  }

  // What the database holds, the last `count` subgroups, without the identifiers it gave.
  static std::vector<SpcSubgroupData> Stored(platform::SpcSession& session, int32_t count = 1000) {
    auto stored = platform::ReadSubgroups(session, count);
    for (auto& subgroup : stored) subgroup.id = 0;
    return stored;
  }

  // Keeps the samples `from` to `to` as a save that found the database away does.
  static void Keep(platform::SpcSpool& spool, int from, int to) {
    for (const SpcSubgroupData& sample : Samples(from, to))
      spool.Keep(sample, spool.NewKey(sample), std::nullopt);
  }

  static std::vector<SpcSubgroupData> Samples(int from, int to) {
    std::vector<SpcSubgroupData> samples;
    for (int n = from; n < to; ++n) samples.push_back(SampleSubgroup(n));
    return samples;
  }

  // Saves `subgroup` and gives the error it failed with, or error 0.
  static runtime::Error Saving(const std::shared_ptr<platform::SpcSession>& session,
                               const SpcSubgroupData& subgroup) {
    return ErrorFrom([&] { SaveSubgroup(session, subgroup); });
  }

  testsupport::TempFolder folder_;
  // Spools forwarding on several threads log at once.
  std::mutex logging_;
  std::vector<std::string> log_;
  // The spools' clock, moved by the tests.
  std::chrono::nanoseconds steady_{};
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
  EXPECT_PRED_FORMAT2(testing::IsSubstring, "SQLSTATE", log_.front());

  // A host started while the database is away opens and keeps too, strict tests or not:
  // the names are checked when forwarded.
  auto late = SpoolingSession(database->ConnectionString(), spool, true);
  EXPECT_EQ(SaveSubgroup(late, SampleSubgroup(9)), 0);

  database->GiveBack();
  // Within the back-off a save only queues; past it, the next save forwards what waits
  // before itself.
  SaveSubgroup(session, SampleSubgroup(10));
  EXPECT_EQ(spool->Depth(), 8);
  steady_ += std::chrono::milliseconds(1100);
  SaveSubgroup(session, SampleSubgroup(11));
  EXPECT_EQ(spool->Depth(), 0);
  EXPECT_EQ(Stored(*session), Samples(0, 12));
  const auto again = Logged("SPC database available again");
  ASSERT_EQ(again.size(), 1u);
  EXPECT_PRED_FORMAT2(testing::IsSubstring, "forwarded 9 kept subgroup(s)", again[0]);

  // A reading that needs all 17 digits is forwarded as it was collected.
  SpcSubgroupData exact = SampleSubgroup(12);
  exact.readings = {{"Dimensions", "Höhe", 1, -(0.1 + 0.2), "", ""}};
  spool->Keep(exact, spool->NewKey(exact), std::nullopt);
  steady_ += std::chrono::minutes(2);
  SaveSubgroup(session, SampleSubgroup(13));
  std::vector<SpcSubgroupData> expected = Samples(0, 14);
  expected[12] = exact;
  EXPECT_EQ(Stored(*session), expected);
}

// A role that may only read and write needs no rights to change the schema; writes the
// server refuses to it (privilege, a read-only server) or holds up (a locked table) are
// kept until they go through.
TEST_F(SpoolOnStoppedServer, RefusedAndLockedWritesAreKeptForARoleThatMayOnlyReadAndWrite) {
  auto database = MakeStoppableDatabase(Backend::PostgreSQL);
  if (!database) GTEST_SKIP() << "no PostgreSQL server here";
  const std::string owner = database->ConnectionString();
  auto spool = MakeSpool();
  SaveSubgroup(SpoolingSession(owner, spool), SampleSubgroup(0));
  platform::OdbcConnection admin;
  admin.Open(owner, "", "");
  for (const char* grant :
       {"CREATE ROLE writer LOGIN", "REVOKE CREATE ON SCHEMA public FROM PUBLIC",
        "GRANT SELECT, INSERT, UPDATE ON ALL TABLES IN SCHEMA public TO writer",
        "GRANT USAGE ON ALL SEQUENCES IN SCHEMA public TO writer"})
    admin.Execute(grant);
  const std::string writer =
      std::regex_replace(owner, std::regex("Username=[^;]*"), "Username=writer");
  // The lock wait is the session's own, within a query timeout of 30 s.
  const auto writing = [&] { return SpoolingSession(writer, spool, false, 30); };
  EXPECT_GT(SaveSubgroup(writing(), SampleSubgroup(1)), 0);

  // What refuses the write, its SQLSTATE, what allows it again.
  const std::tuple<const char*, const char*, const char*> refusals[] = {
      {"REVOKE INSERT ON readings FROM writer", "42501", "GRANT INSERT ON readings TO writer"},
      {"ALTER ROLE writer SET default_transaction_read_only = on", "25006",
       "ALTER ROLE writer RESET default_transaction_read_only"},
      // Held until the admin's transaction commits.
      {"LOCK TABLE subgroups", "55P03", nullptr},
  };
  int n = 2;
  for (const auto& [refuse, state, allow] : refusals) {
    SCOPED_TRACE(refuse);
    if (!allow) admin.BeginTransaction();
    admin.Execute(refuse);
    EXPECT_EQ(SaveSubgroup(writing(), SampleSubgroup(n++)), 0);
    EXPECT_EQ(spool->Depth(), 1);
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "[SQLSTATE " + std::string(state) + "]", log_.back());
    if (allow)
      admin.Execute(allow);
    else
      admin.Commit();
    EXPECT_EQ(spool->Forward(*writing(), true), 1);
  }
  EXPECT_EQ(Stored(*writing()), Samples(0, n));
  EXPECT_EQ(spool->Lost(), 0);
  EXPECT_EQ(Logged("SPC database unavailable").size(), 3u);
}

class SpoolOnLockedFile : public SpoolTest, public ::testing::Test {};

TEST_F(SpoolOnLockedFile, AKeptSubgroupKeepsItsNameAndDatabaseAndOlderSpoolsOpen) {
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
  // Another host on the same spool file, with an SPC database of its own.
  auto elsewhere = MakeTestDatabase(Backend::SQLite);
  auto otherSpool = MakeSpool();
  auto otherSession = SpoolingSession(elsewhere->ConnectionString(), otherSpool);
  Keep(*otherSpool, 5, 6);

  platform::OdbcConnection other;
  other.Open(database->ConnectionString(), "", "");
  other.Execute("BEGIN EXCLUSIVE");
  EXPECT_EQ(SaveSubgroup(session, SampleSubgroup(1)), 0);
  EXPECT_EQ(spool->Depth(), 2);
  std::vector<std::string> databases;
  for (const platform::SpoolEntry& entry : spool->List()) databases.push_back(entry.database);
  EXPECT_EQ(databases, (std::vector<std::string>{
                           "", platform::SpcSpool::DatabaseId(elsewhere->ConnectionString()),
                           platform::SpcSpool::DatabaseId(database->ConnectionString())}));
  EXPECT_EQ(platform::SpcSpool::DatabaseId("Driver=x;Server=h;PWD=old"),
            platform::SpcSpool::DatabaseId("Driver=x;Server=h;PWD=new"));
  // The other host forwards its own and the one kept without a database, never this one's.
  EXPECT_EQ(otherSpool->Forward(*otherSession, true), 2);
  EXPECT_EQ(otherSpool->Depth(), 0);
  EXPECT_PRED_FORMAT2(testing::IsSubstring, "| forwarded 2 kept",
                      Logged("SPC database available again").at(0));
  // A forward that meets the lock puts the next one off by the doubled back-off (2 s).
  steady_ += std::chrono::milliseconds(1100);
  EXPECT_EQ(spool->Forward(*session, false), 0);
  other.Execute("COMMIT");
  EXPECT_EQ(spool->Forward(*session, false), 0);
  steady_ += std::chrono::milliseconds(2100);
  EXPECT_EQ(spool->Forward(*session, false), 1);

  const auto stored = platform::ReadSubgroups(*otherSession, 10);
  ASSERT_EQ(stored.size(), 2u);
  EXPECT_EQ(stored[0].sessionNumber, 7);
  EXPECT_EQ(stored[0].configuration, std::nullopt) << "kept before names were kept";
  EXPECT_EQ(stored[1].time, SampleSubgroup(5).time);
  const auto own = platform::ReadSubgroups(*session, 10);
  ASSERT_EQ(own.size(), 1u);
  EXPECT_EQ(own[0].time, SampleSubgroup(1).time);
  EXPECT_EQ(own[0].configuration, "Line 3");
}

// A spool full to its bound: while the database takes writes nothing is lost, saves only
// overtake the kept subgroups; with the database locked as well, each subgroup is lost and
// says so.
TEST_F(SpoolOnLockedFile, AFullSpoolSavesDirectlyAndLosesOnlyWhatTheDatabaseRefusesToo) {
  auto database = MakeTestDatabase(Backend::SQLite);
  // The empty spool's tables take 36 KB.
  auto spool = MakeSpool(48 * 1024);
  auto session = SpoolingSession(database->ConnectionString(), spool);
  platform::OdbcConnection other;
  other.Open(database->ConnectionString(), "", "");
  other.Execute("BEGIN EXCLUSIVE");
  int n = 0;
  runtime::Error lost(0, "");
  while (lost.Number() == 0) lost = Saving(session, SampleSubgroup(n++));
  const int kept = n - 1;
  EXPECT_GT(kept, 2);
  EXPECT_EQ(spool->Depth(), kept);
  EXPECT_PRED_FORMAT2(testing::IsSubstring, "database is locked", log_.front());
  EXPECT_EQ(testsupport::FileMode(folder_.File("spool.db")), 0600u);
  EXPECT_EQ(spool->Lost(), 1);
  EXPECT_EQ(lost.Number(), platform::kSpcSpoolFull);
  for (const char* said :
       {"The subgroup was not saved: ", "database is locked", "is full", "[Spool] MaxBytes"}) {
    EXPECT_PRED_FORMAT2(testing::IsSubstring, said, lost.Description());
  }
  ASSERT_EQ(Logged("Subgroup lost").size(), 1u);
  EXPECT_PRED_FORMAT2(testing::IsSubstring,
                      "collected " + runtime::FormatGeneralDate(SampleSubgroup(kept).time),
                      log_.back());

  other.Execute("COMMIT");
  for (int direct = n; direct < n + 2; ++direct)
    EXPECT_GT(SaveSubgroup(session, SampleSubgroup(direct)), 0);
  EXPECT_EQ(Logged("The local spool cannot keep subgroups: new ones are saved directly").size(),
            1u);
  EXPECT_EQ(spool->Forward(*session, true), kept);
  std::vector<SpcSubgroupData> expected = Samples(n, n + 2);
  for (const SpcSubgroupData& sample : Samples(0, kept)) expected.push_back(sample);
  EXPECT_EQ(Stored(*session), expected);
  EXPECT_EQ(spool->Lost(), 1);
  EXPECT_EQ(Logged("SPC database available again").size(), 1u);
}

// The spool on a file system of 1 MB that fills: nothing more is kept, but forwarding
// takes the subgroups out of it all the same and gives their room back.
TEST_F(SpoolOnLockedFile, ASpoolOnAFullDiskForwardsWhatItHolds) {
  struct SmallDisk {
    testsupport::TempFolder folder;
    bool mounted = mount("tmpfs", folder.Path().c_str(), "tmpfs", 0, "size=1m,mode=0700") == 0;
    // Detached at once: the connection pool may hold the spool open a while longer.
    ~SmallDisk() {
      if (mounted) umount2(folder.Path().c_str(), MNT_DETACH);
    }
  } small;
  if (!small.mounted) GTEST_SKIP() << "cannot mount a small file system here (needs root)";
  const std::string disk = small.folder.Path();
  auto database = MakeTestDatabase(Backend::SQLite);
  auto spool = MakeSpool(int64_t{1} << 30, disk);
  auto session = SpoolingSession(database->ConnectionString(), spool);
  const auto large = [](int n) {
    SpcSubgroupData subgroup = SampleSubgroup(n);
    for (int16_t sample = 3; sample < 200; ++sample)
      subgroup.readings.Add("Dimensions", "Width", sample, sample, "SN", "");
    return subgroup;
  };
  platform::OdbcConnection other;
  other.Open(database->ConnectionString(), "", "");
  other.Execute("BEGIN EXCLUSIVE");
  int n = 0;
  while (Saving(session, large(n)).Number() == 0) ++n;
  EXPECT_GT(n, 10);
  EXPECT_EQ(spool->Lost(), 1);
  EXPECT_PRED_FORMAT2(testing::IsSubstring, "disk is full", Logged("Subgroup lost").at(0));
  // Not a byte left, by anyone.
  std::ofstream(disk + "/filler") << std::string(1 << 20, 'x');
  const auto full = std::filesystem::file_size(disk + "/spool.db");

  other.Execute("COMMIT");
  EXPECT_GT(SaveSubgroup(session, large(n + 1)), 0);
  EXPECT_EQ(spool->Forward(*session, true), n);
  EXPECT_EQ(spool->Depth(), 0);
  EXPECT_EQ(Stored(*session).size(), static_cast<size_t>(n + 1));
  // Each deleted subgroup gave the room to delete the next.
  EXPECT_LT(std::filesystem::file_size(disk + "/spool.db"), full / 4);
}

// A spool that is not one at start is moved aside and a new one begins; one deleted while
// the host runs is written again at its path with what it held; one locked at start is read
// at the first save that finds it free.
TEST_F(SpoolOnLockedFile, AnUnreadableSpoolIsMovedAsideAndADeletedOneIsWrittenAgain) {
  std::ofstream(folder_.File("spool.db")) << std::string(4096, 'x');
  auto spool = MakeSpool();
  ASSERT_EQ(Logged("The local spool could not be read and was moved aside").size(), 1u);
  const std::string aside = log_.back().substr(log_.back().rfind(" | ") + 3);
  EXPECT_TRUE(aside.starts_with(folder_.File("spool.db.corrupt-"))) << aside;
  EXPECT_EQ(std::filesystem::file_size(aside), 4096u);
  EXPECT_PRED_FORMAT2(testing::IsSubstring, "not a database", log_.back());
  Keep(*spool, 0, 3);
  EXPECT_EQ(spool->Depth(), 3);

  std::filesystem::remove(folder_.File("spool.db"));
  Keep(*spool, 3, 4);
  ASSERT_EQ(Logged("The local spool was deleted or replaced while the host ran").size(), 1u);
  EXPECT_PRED_FORMAT2(testing::IsSubstring,
                      "the 3 subgroup(s) it held are kept in " + folder_.File("spool.db"),
                      log_.back());
  spool.reset();
  EXPECT_EQ(platform::SpcSpoolFile(folder_.File("spool.db")).Count(""), 4);
  EXPECT_EQ(testsupport::FileMode(folder_.File("spool.db")), 0600u);

  platform::OdbcConnection other;
  other.Open("Driver=SQLite3;Database=" + folder_.File("spool.db"), "", "");
  other.Execute("BEGIN EXCLUSIVE");
  spool = MakeSpool();
  ASSERT_EQ(Logged("The local spool is in use and is read later").size(), 1u);
  EXPECT_PRED_FORMAT2(testing::IsSubstring, "database is locked", log_.back());
  other.Execute("COMMIT");
  EXPECT_TRUE(spool->Holding());
  EXPECT_EQ(spool->Depth(), 4);
}

class SpoolOnDatabase : public SpoolTest, public SpcDatabaseTest {};

INSTANTIATE_TEST_SUITE_P(Databases, SpoolOnDatabase,
                         ::testing::Values(Backend::SQLite, Backend::PostgreSQL),
                         [](const auto& info) { return ::testing::PrintToString(info.param); });

// The subgroups' identifiers are past 32 bits, as in a database that took 2^31 of them.
TEST_P(SpoolOnDatabase, AForwardCommittedButNotRemovedIsNotSavedTwice) {
  auto spool = MakeSpool();
  auto session = SpoolingSession(database_->ConnectionString(), spool);
  StartSubgroupIdsPast32Bits(database_->ConnectionString());
  Keep(*spool, 0, 3);
  // What a host killed between the database's commit and the spool's delete leaves.
  platform::SpcSpoolFile file(folder_.File("spool.db"));
  const auto first = file.Oldest("", 1, 1);
  ASSERT_EQ(first.size(), 1u);
  session->Transact([&](platform::SpcLink& link) {
    EXPECT_EQ(platform::WriteSubgroup(link, first[0].data, false, first[0].key).id,
              kPlaceholderSubgroupId + 1);
  });
  session->Transact([&](platform::SpcLink& link) {
    const platform::SpcWritten again =
        platform::WriteSubgroup(link, first[0].data, false, first[0].key);
    EXPECT_EQ(again.id, kPlaceholderSubgroupId + 1);
    EXPECT_TRUE(again.existed);
  });

  // A forward asked to stop (the host stops) leaves what waits for the next start.
  std::stop_source stopping;
  stopping.request_stop();
  EXPECT_EQ(spool->Forward(*session, true, stopping.get_token()), 0);
  EXPECT_EQ(spool->Depth(), 3);
  // Taken out of the spool, but counted by the forward that wrote it.
  EXPECT_EQ(spool->Forward(*session, true), 2);
  EXPECT_EQ(spool->Depth(), 0);
  EXPECT_EQ(Stored(*session, 3), Samples(0, 3));
  EXPECT_EQ(platform::LastSubgroupId(*session), kPlaceholderSubgroupId + 3);
  EXPECT_PRED_FORMAT2(testing::IsSubstring, "1 more were in the SPC database",
                      Logged("SPC database available again").at(0));

  // The next outage counts its own.
  Keep(*spool, 3, 4);
  EXPECT_EQ(spool->Forward(*session, true), 1);
  EXPECT_TRUE(log_.back().ends_with("forwarded 1 kept subgroup(s) | " + spool->Path()))
      << log_.back();
}

// The server ends the save's connection (pg_terminate_backend) at a chosen moment. psqlODBC
// then reports some failures as general errors, and a commit after one of its calls found
// the connection gone as done without sending it.
TEST_P(SpoolOnDatabase, AConnectionTheServerEndsMidSaveIsTheDatabasesAbsence) {
  if (GetParam() != Backend::PostgreSQL) GTEST_SKIP() << "SQLite has no server";
  auto spool = MakeSpool();
  auto session = SpoolingSession(database_->ConnectionString(), spool);
  platform::OdbcConnection killer;
  killer.Open(database_->ConnectionString(), "", "");
  // Its cursor, closed after the kill, is the call that finds the connection gone.
  const auto terminate = [&](platform::SpcLink& link) {
    auto pid = link.Connection().Execute("SELECT pg_backend_pid() AS pid");
    killer.Execute("SELECT pg_terminate_backend(?, 5000)", {pid->Field("pid")});
  };
  const SpcSubgroupData subgroup = SampleSubgroup(0);
  const std::string key = spool->NewKey(subgroup);
  const runtime::Error atCommit = ErrorFrom([&] {
    session->Transact([&](platform::SpcLink& link) {
      platform::WriteSubgroup(link, subgroup, false, key);
      terminate(link);
    });
  });
  EXPECT_TRUE(platform::IsUnavailable(atCommit)) << atCommit.Description();
  EXPECT_TRUE(Stored(*session).empty());
  spool->Keep(subgroup, key, atCommit);
  EXPECT_EQ(spool->Forward(*session, true), 1);
  EXPECT_EQ(Stored(*session), Samples(0, 1));

  const runtime::Error general(1, "[SQLSTATE HY000] internal SAVEPOINT failed", "ODBC", "HY000");
  for (const bool killed : {false, true}) {
    const runtime::Error error = ErrorFrom([&] {
      session->Transact([&](platform::SpcLink& link) {
        if (killed) terminate(link);
        throw general;
      });
    });
    EXPECT_EQ(platform::IsUnavailable(error), killed) << error.Description();
    EXPECT_EQ(error.Description(), general.Description());
  }
}

// Each line of a host has a spool object of its own on the one file: one forwards while the
// others leave the subgroups to it, so that none uses up a server's identifier on a subgroup
// another wrote, and each says once the spool is empty.
TEST_P(SpoolOnDatabase, ForwardsOfOneSpoolTakeTurnsAndSaveAndCountEachSubgroupOnce) {
  std::vector<std::shared_ptr<platform::SpcSpool>> spools;
  std::vector<std::shared_ptr<platform::SpcSession>> sessions;
  for (int line = 0; line < 3; ++line) {
    spools.push_back(MakeSpool());
    sessions.push_back(SpoolingSession(database_->ConnectionString(), spools.back()));
  }
  Keep(*spools[0], 0, 30);
  std::vector<std::thread> racing;
  std::atomic<int64_t> forwarded{0};
  for (int line = 0; line < 3; ++line)
    racing.emplace_back([&, line] { forwarded += spools[line]->Forward(*sessions[line], true); });
  for (std::thread& forward : racing) forward.join();

  EXPECT_EQ(forwarded, 30);
  EXPECT_EQ(spools[0]->List().size(), 0u) << "none left, none refused";
  auto stored = Stored(*sessions[0]);
  std::sort(stored.begin(), stored.end(),
            [](const auto& a, const auto& b) { return a.time < b.time; });
  EXPECT_EQ(stored, Samples(0, 30));
  EXPECT_EQ(platform::LastSubgroupId(*sessions[0]), 30) << "identifiers used up";
  EXPECT_TRUE(Logged("A kept subgroup was refused").empty()) << log_.back();

  // The second line finds the first one's forward under way and leaves it the subgroups.
  Keep(*spools[1], 30, 32);
  std::promise<void> entered, release;
  Through busy(*sessions[0], [&, waited = false](size_t) mutable {
    if (std::exchange(waited, true)) return;
    entered.set_value();
    release.get_future().wait();
  });
  std::thread first([&] { EXPECT_EQ(spools[0]->Forward(busy, true), 2); });
  if (entered.get_future().wait_for(std::chrono::seconds(30)) != std::future_status::ready) {
    release.set_value();
    first.join();
    FAIL() << "the first forward never reached the database";
  }
  EXPECT_EQ(spools[1]->Forward(*sessions[1], true), 0);
  EXPECT_EQ(spools[1]->Depth(), 2);
  release.set_value();
  first.join();
  EXPECT_EQ(spools[1]->Forward(*sessions[1], false), 0);
  EXPECT_EQ(spools[1]->Depth(), 0);
  EXPECT_TRUE(log_.back().starts_with(
      "SPC database available again | forwarded 0 kept subgroup(s); 2 more were forwarded by "
      "another line's forwarder |"))
      << log_.back();
}

TEST_P(SpoolOnDatabase, TheSubgroupsOwnFailuresAreNeverKept) {
  auto spool = MakeSpool();
  auto strict = SpoolingSession(database_->ConnectionString(), spool, true);
  const runtime::Error unknown = ErrorFrom([&] { SaveSubgroup(strict, SampleSubgroup(0)); });
  EXPECT_EQ(unknown.Number(), platform::kSpcUnknownName) << unknown.Description();
  EXPECT_EQ(spool->Depth(), 0);
  EXPECT_TRUE(log_.empty());

  // Kept while the database was away, refused when forwarded: set aside and logged, and
  // the subgroups around it go on, in order.
  SpcSubgroupData unknownTest = SampleSubgroup(1);
  unknownTest.readings = {{"Dimensions", "Never Made", 1, 1, "", ""}};
  auto lenient = SpoolingSession(database_->ConnectionString(), spool);
  SaveSubgroup(lenient, SampleSubgroup(2));
  Keep(*spool, 3, 4);
  spool->Keep(unknownTest, spool->NewKey(unknownTest), std::nullopt);
  Keep(*spool, 4, 6);
  EXPECT_EQ(spool->Forward(*strict, true), 3);
  EXPECT_EQ(spool->Depth(), 1);
  EXPECT_FALSE(spool->Holding());
  ASSERT_EQ(Logged("A kept subgroup was refused by the SPC database").size(), 1u);
  EXPECT_PRED_FORMAT2(testing::IsSubstring, "1 refused, still in the spool", log_.back());
  const auto listed = spool->List();
  ASSERT_EQ(listed.size(), 1u);
  EXPECT_PRED_FORMAT2(testing::IsSubstring, "Never Made", listed[0].refused);
  EXPECT_EQ(Stored(*strict), Samples(2, 6));

  // Kept subgroups the database takes are written in one transaction.
  Keep(*spool, 6, 9);
  std::vector<size_t> batches;
  Through counting(*strict, [&](size_t size) { batches.push_back(size); });
  EXPECT_EQ(spool->Forward(counting, false), 3);
  EXPECT_EQ(batches, std::vector<size_t>{3});
  EXPECT_EQ(Stored(*strict), Samples(2, 9));
}

}  // namespace
}  // namespace spcdbtest
