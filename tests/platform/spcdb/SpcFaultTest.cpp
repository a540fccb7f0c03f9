// What goes wrong around the SPC database: failures that mean the database is away, the
// database going away between saves, two sessions saving at once or sharing a connection, and the
// SQLite file deleted or replaced at its path (users read it there, so saves follow the path).
#include <sys/stat.h>

#include <chrono>
#include <functional>
#include <future>
#include <set>
#include <thread>

#include "runtime/Variant.h"
#include "tests/platform/spcdb/SpcFixture.h"
#include "tests/support/Historian.h"

namespace spcdbtest {
namespace {

using platform::ReadSubgroups;
using platform::SpcSubgroupData;

// The states and texts are those the SQLite and PostgreSQL ODBC drivers give.
TEST(SpcUnavailable, ConnectionTimeoutLockAndWriteRefusalsAreTheDatabasesAbsenceOthersAreNot) {
  const std::tuple<const char*, const char*, bool> cases[] = {
      {"08001", "could not connect to server: No such file or directory", true},
      {"08S01", "Communication link failure", true},
      {"08006", "connection failure", true},
      {"HYT00", "Timeout expired", true},
      {"HYT01", "Connection timeout expired", true},
      {"57P01", "terminating connection due to administrator command", true},
      {"57P03", "the database system is starting up", true},
      {"53300", "sorry, too many clients already", true},
      {"40P01", "deadlock detected", true},
      {"42501", "permission denied for table readings", true},
      {"25006", "cannot execute INSERT in a read-only transaction", true},
      {"57014", "canceling statement due to statement timeout", true},
      {"55P03", "canceling statement due to lock timeout", true},
      {"HY000", "attempt to write a readonly database", true},
      {"HY008", "The statement was cancelled: canceling statement due to user request", false},
      {"HY000", "database is locked", true},
      {"HY000", "[SQLite]database or disk is full (13)", true},
      {"HY000", "[SQLite]disk I/O error (10)", true},
      {"HY000", "[SQLite]connect failed", true},
      {"53100", "could not extend file \"base/16384/16385\": No space left on device", true},
      {"58030", "could not write to file \"pg_wal/xlogtemp.42\": Input/output error", true},
      {"HY000", "Database Is Busy", true},
      {"HY000", "server closed the connection unexpectedly", true},
      {"23505", "duplicate key value violates unique constraint", false},
      {"22003", "numeric value out of range", false},
      {"28P01", "password authentication failed for user \"dam\"", false},
      {"08001", "connection to server failed: FATAL:  password authentication failed", false},
      {"08001", "connection to server failed: FATAL:  database \"spcx\" does not exist", false},
      {"08001", "connection to server at \"spc01\" failed: Connection refused", true},
      {"42S02", "no such table: subgroups", false},
      {"IM002", "Data source name not found and no default driver specified", false},
      {"", "The test \"Width\" is not in the SPC database", false},
      {"", "[SQLSTATE 08006] a state only in the text", false},
      {"", "", false},
  };
  for (const auto& [state, text, unavailable] : cases) {
    EXPECT_EQ(platform::IsUnavailable(runtime::Error(1, text, "ODBC", state)), unavailable)
        << state << " " << text;
  }
}

TEST_P(SpcDatabaseTest, DatabaseAwayBetweenSavesLosesOnlyTheFailedSubgroup) {
  database_ = MakeStoppableDatabase(GetParam());
  if (!database_) GTEST_SKIP() << "no server of its own can be made here";
  auto session = OpenSession();
  SpcSubgroupData first = SampleSubgroup(1);
  first.id = SaveSubgroup(session, first);

  if (!database_->TakeAway()) GTEST_SKIP() << "cannot make the database unwritable here";
  SpcSubgroupData lost = SampleSubgroup(2);
  lost.part = platform::SpcName{"Lost", "Lost part"};
  runtime::Error error = ErrorFrom([&] { SaveSubgroup(session, lost); });
  database_->GiveBack();
  const std::string prefix = "The subgroup was not saved: ";
  EXPECT_TRUE(error.Description().starts_with(prefix)) << error.Description();
  EXPECT_GT(error.Description().size(), prefix.size());

  SpcSubgroupData recovered = SampleSubgroup(3);
  recovered.id = SaveSubgroup(session, recovered);
  auto reader = OpenSession();
  EXPECT_EQ(ReadSubgroups(*reader, 10), (std::vector<SpcSubgroupData>{first, recovered}));
  EXPECT_EQ(platform::ListRecords(*reader, host::RecordKind::Part).size(), 1u);
  EXPECT_EQ(platform::ListRecords(*reader, host::RecordKind::PartGroup).size(), 1u);
}

TEST_P(SpcDatabaseTest, TwoSessionsSavingAtOnceLoseNothing) {
  constexpr int kPerSession = 25;
  auto writer = [&](int32_t sessionNumber) {
    auto session = OpenSession(sessionNumber);
    for (int i = 0; i < kPerSession; ++i) {
      SpcSubgroupData subgroup = SampleSubgroup(i);
      // Both sessions create the same new names at the same time.
      subgroup.part->name = "Part " + std::to_string(i);
      const platform::SpcReadings& r = subgroup.readings;
      subgroup.readings = {
          r[0], r[1], {"Dimensions", "Test " + std::to_string(i), 1, 1, "", ""}, r[3]};
      SaveSubgroup(session, subgroup);
    }
  };
  auto one = std::async(std::launch::async, writer, 1);
  auto two = std::async(std::launch::async, writer, 2);
  one.get();
  two.get();

  auto stored = ReadSubgroups(*OpenSession(), 3 * kPerSession);
  ASSERT_EQ(stored.size(), 2u * kPerSession);
  std::set<std::pair<int32_t, std::string>> saved;
  for (const SpcSubgroupData& subgroup : stored) {
    EXPECT_EQ(subgroup.readings.size(), 4u);
    EXPECT_EQ(subgroup.descriptors.size(), 2u);
    saved.emplace(subgroup.sessionNumber, subgroup.part->name);
  }
  EXPECT_EQ(saved.size(), 2u * kPerSession);

  // In one process, sessions on one SQLite file share a connection (a temporary table is
  // the connection's own); on a server each has its own, so that their writes overlap.
  auto a = OpenSession();
  auto b = OpenSession();
  auto run = [](platform::SpcSession& session, const std::string& sql) {
    session.Use([&](platform::SpcLink& link) { link.Connection().Execute(sql); });
  };
  run(*a, "CREATE TEMP TABLE mine (x INTEGER)");
  const bool sqlite = GetParam() == Backend::SQLite;
  EXPECT_EQ(ErrorOf([&] { run(*b, "SELECT x FROM mine"); }) == 0, sqlite);
  auto reader = OpenSession();
  reader->KeepOwnConnection();
  reader->Open(1, 0);
  EXPECT_NE(ErrorOf([&] { run(*reader, "SELECT x FROM mine"); }), 0) << "a reader keeps its own";
  if (!sqlite) return;
  // One kept waiting for the shared connection as long as for the file's lock fails as that
  // wait does: the database is away for now, and a spool would keep the subgroup.
  // Runs `during` while `a` holds the shared connection.
  auto whileHeld = [&](const std::function<void()>& during) {
    std::promise<void> holding, release;
    auto holder = std::async(std::launch::async, [&] {
      a->Use([&](platform::SpcLink&) {
        holding.set_value();
        release.get_future().wait();
      });
    });
    holding.get_future().wait();
    during();
    release.set_value();
    holder.get();
  };
  b->Settings().SetOdbcPolicy({.queryTimeout = 1});
  runtime::Error kept(0, "");
  whileHeld([&] { kept = ErrorFrom([&] { run(*b, "SELECT 1"); }); });
  EXPECT_TRUE(platform::IsUnavailable(kept)) << kept.Description();
  run(*b, "SELECT 1");

  // Sessions that queue for the shared connection are written in one transaction. Here the
  // first one waits for `a` and the three behind it are written together.
  run(*a, "CREATE TABLE kept (n INTEGER PRIMARY KEY)");
  run(*a, "CREATE TABLE later (n INTEGER REFERENCES kept (n) DEFERRABLE INITIALLY DEFERRED)");
  std::vector<std::shared_ptr<platform::SpcSession>> queued;
  for (int i = 0; i < 4; ++i) queued.push_back(OpenSession());
  const auto insert = [](platform::SpcLink& link, const char* table, int32_t n) {
    link.Connection().Execute(std::string("INSERT INTO ") + table + " (n) VALUES (?)",
                              std::vector<runtime::Variant>{n});
  };
  // Queued session i writes the row first + i; the third then does `fault`. Whether or not
  // it shared its commit, a session reports its write done exactly when the row is in the
  // database. Returns each session's error.
  auto queuedWrites = [&](int32_t first, const std::function<void(platform::SpcLink&)>& fault) {
    std::vector<std::future<int32_t>> writes;
    whileHeld([&] {
      for (int32_t i = 0; i < 4; ++i) {
        writes.push_back(std::async(std::launch::async, [&, i] {
          return ErrorOf([&] {
            queued[i]->Transact([&](platform::SpcLink& link) {
              insert(link, "kept", first + i);
              if (i == 2) fault(link);
            });
          });
        }));
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
      }
    });
    std::vector<int32_t> errors;
    for (int32_t i = 0; i < 4; ++i) {
      errors.push_back(writes[i].get());
      bool found = false;
      a->Use([&](platform::SpcLink& link) {
        found = !link.Connection()
                     .Execute("SELECT n FROM kept WHERE n = ?",
                              std::vector<runtime::Variant>{first + i})
                     ->Eof();
      });
      EXPECT_EQ(found, errors[i] == 0) << "write " << i;
    }
    EXPECT_NE(errors[2], 0);
    return errors;
  };
  // One that fails is undone alone, what it wrote before failing too.
  const std::vector<int32_t> errors =
      queuedWrites(1, [&](platform::SpcLink& link) { insert(link, "nowhere", 3); });
  EXPECT_EQ(std::count(errors.begin(), errors.end(), 0), 3) << "the others are written";
  // A commit that fails is the failure of every session it would have served.
  queuedWrites(5, [&](platform::SpcLink& link) { insert(link, "later", 99); });
}

std::shared_ptr<platform::SpcSession> SessionOn(
    const std::string& path, const std::shared_ptr<platform::SpcSpool>& spool = nullptr) {
  auto session = std::make_shared<platform::SpcSession>();
  session->Settings().SetConnection(testsupport::SqliteLink(path));
  if (spool) session->KeepIn(spool);
  session->Open(1, 0);
  return session;
}

// A file moved away while another connection reads it leaves its log and index at the path:
// a new file that took them would have its pages checkpointed into the moved one.
TEST(SpcFile, ASaveAfterTheFileWasDeletedReplacedOrMovedLandsInTheFileAtThePath) {
  for (const std::string gone : {"deleted", "replaced", "moved while read"}) {
    SCOPED_TRACE(gone);
    const bool moved = gone == "moved while read";
    testsupport::TempFolder folder;
    const std::string path = folder.File("spc.db");
    auto session = SessionOn(path);
    SaveSubgroup(session, SampleSubgroup(1));
    platform::OdbcConnection reader;
    if (gone == "replaced") {
      const std::string other = folder.File("other.db");
      SessionOn(other);
      testsupport::CreateSqliteDatabase(
          other, {"PRAGMA journal_mode=DELETE", "CREATE TABLE notes (note TEXT)",
                  "INSERT INTO notes VALUES ('kept')"});
      std::filesystem::rename(other, path);
    } else if (moved) {
      reader.Open(testsupport::SqliteLink(path), "", "");
      reader.Execute("SELECT COUNT(*) FROM subgroups");
      std::filesystem::rename(path, folder.File("moved.db"));
    } else {
      std::filesystem::remove(path);
    }
    SaveSubgroup(session, SampleSubgroup(2));
    if (moved) reader.Execute("PRAGMA wal_checkpoint(TRUNCATE)");

    const auto saved = ReadSubgroups(*SessionOn(path), 10);
    ASSERT_EQ(saved.size(), 1u);
    EXPECT_EQ(saved[0].time, SampleSubgroup(2).time);
    if (gone == "replaced") {
      platform::OdbcConnection connection;
      connection.Open(testsupport::SqliteLink(path), "", "");
      EXPECT_EQ(runtime::ToText(connection.Execute("SELECT note FROM notes")->Field("note")),
                "kept");
    } else if (moved) {
      EXPECT_EQ(ReadSubgroups(*SessionOn(folder.File("moved.db")), 10).size(), 1u);
    }
  }
}

// A folder moved away while the run saves is an outage: its subgroups wait in the spool, as
// they do while the path holds a file that is no database (a backup being copied back). A
// path that holds no database at the start is a mistake that waiting does not mend.
TEST(SpcFile, SubgroupsWaitForAFolderMovedAwayButAStartOnAWrongPathFails) {
  testsupport::TempFolder folder;
  std::filesystem::create_directory(folder.File("spc"));
  std::chrono::nanoseconds steady{};
  auto spool = std::make_shared<platform::SpcSpool>(
      folder.File("spool.db"), "host", int64_t{1} << 20,
      [](const std::string&, const std::string&, const std::string&) {}, [&] { return steady; });
  const auto open = [&](const std::string& path) { return SessionOn(path, spool); };
  auto session = open(folder.File("spc/spc.db"));
  EXPECT_NE(SaveSubgroup(session, SampleSubgroup(1)), 0);
  std::filesystem::rename(folder.File("spc"), folder.File("away"));
  EXPECT_EQ(SaveSubgroup(session, SampleSubgroup(2)), 0);
  EXPECT_EQ(spool->Depth(), 1);
  std::filesystem::rename(folder.File("away"), folder.File("spc"));
  steady += std::chrono::seconds(2);
  EXPECT_EQ(spool->Forward(*session, false), 1);
  EXPECT_EQ(ReadSubgroups(*session, 10).size(), 2u);

  // A file that is no database, then another program's database.
  for (int id : {3, 4}) {
    std::filesystem::rename(folder.File("spc/spc.db"), folder.File("spc.db"));
    if (id == 3) std::ofstream(folder.File("spc/spc.db")) << std::string(8192, 'x');
    if (id == 4)
      testsupport::CreateSqliteDatabase(folder.File("spc/spc.db"), {"CREATE TABLE t (x)"});
    EXPECT_EQ(SaveSubgroup(session, SampleSubgroup(id)), 0);
    EXPECT_EQ(spool->Depth(), 1);
    EXPECT_THROW(open(folder.File("spc/spc.db")), runtime::Error);
    std::filesystem::rename(folder.File("spc.db"), folder.File("spc/spc.db"));
    steady += std::chrono::seconds(4 * id);
    EXPECT_EQ(spool->Forward(*session, false), 1);
    EXPECT_EQ(ReadSubgroups(*session, 10).size(), size_t(id));
  }

  EXPECT_THROW(open(folder.File("nowhere/spc.db")), runtime::Error);
}

TEST(SpcFile, ANewDatabaseAndItsJournalsAreOwnerOnlyWhateverTheUmask) {
  testsupport::TempFolder folder;
  const std::string path = folder.File("spc.db");
  const mode_t umaskBefore = umask(0);
  auto session = SessionOn(path);
  SaveSubgroup(session, SampleSubgroup(1));
  for (const char* suffix : {"", "-wal", "-shm"})
    EXPECT_EQ(testsupport::FileMode(path + suffix), 0600u) << suffix;

  // A database that exists keeps the mode its owner gave it.
  session.reset();
  chmod(path.c_str(), 0640);
  SaveSubgroup(SessionOn(path), SampleSubgroup(2));
  EXPECT_EQ(testsupport::FileMode(path), 0640u);
  umask(umaskBefore);
}

}  // namespace
}  // namespace spcdbtest
