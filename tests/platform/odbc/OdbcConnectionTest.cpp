// OdbcConnection, the pool that keeps its closed connections, and bounded waits. The same
// bodies run on SQLite and, where the test script has started a private server
// (DAM_TEST_PG_CONNECTION), on PostgreSQL.
#include "platform/odbc/OdbcConnection.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/odbc/HostTimeZone.h"
#include "platform/odbc/OdbcCancel.h"
#include "platform/odbc/OdbcPool.h"
#include "runtime/Error.h"
#include "runtime/Text.h"
#include "tests/runtime/ErrorOf.h"
#include "tests/support/Historian.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TestDatabases.h"

namespace {

using platform::OdbcConnection;
using platform::OdbcPolicy;
using platform::OdbcPool;
using runtime::Variant;

int Count(OdbcConnection& connection) {
  return connection.Execute("SELECT count(*) AS n FROM samples")->Field("n").AsLong();
}

// A temporary table lives as long as its physical connection: finding it after an Open
// proves the connection was kept.
bool HasMarker(OdbcConnection& connection) {
  return ErrorOf([&] { connection.Execute("SELECT count(*) AS n FROM pool_marker"); }) == 0;
}

OdbcPolicy KeptFor(int32_t seconds) {
  return {.poolIdleSeconds = seconds};
}

// Leaves a connection to `link` in `pool`, marked.
void KeepMarked(const std::string& link, int32_t seconds = 60,
                OdbcPool& pool = OdbcPool::Instance()) {
  OdbcConnection connection(KeptFor(seconds), pool);
  connection.Open(link, "", "");
  connection.Execute("CREATE TEMP TABLE pool_marker (x INTEGER)");
  connection.Close();
}

long OpenDescriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                       std::filesystem::directory_iterator());
}

long ResidentKilobytes() {
  std::ifstream status("/proc/self/statm");
  long pages = 0, resident = 0;
  status >> pages >> resident;
  return resident * 4;
}

class OdbcConnectionTest : public ::testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    OdbcPool::Instance().Clear();
    if (GetParam() == "SQLite") {
      link_ = testsupport::SqliteLink(folder_.File("test.db"));
    } else {
      // A database of its own: the test programs run side by side on one server.
      database_ = spcdbtest::MakeTestDatabase(spcdbtest::Backend::PostgreSQL);
      if (!database_) GTEST_SKIP() << "no PostgreSQL server";
      link_ = database_->ConnectionString() + ";BoolsAsChar=0";
    }
    connection_.Open(link_, "", "");
    for (const char* sql :
         {"CREATE TABLE samples (id INTEGER, big BIGINT, ratio REAL, name TEXT, "
          "taken TIMESTAMP, looksLikeDate TEXT, flag BOOLEAN)",
          "INSERT INTO samples VALUES (1, 5000000000, 2.5, 'first', '2024-01-01 10:00:00.250', "
          "'2024-01-01 10:00:00', TRUE)",
          "INSERT INTO samples VALUES (2, -7, NULL, NULL, NULL, NULL, FALSE)"}) {
      connection_.Execute(sql);
    }
  }

  void TearDown() override { OdbcPool::Instance().Clear(); }

  testsupport::TempFolder folder_;
  std::unique_ptr<spcdbtest::TestDatabase> database_;
  std::string link_;
  OdbcConnection connection_;
};

INSTANTIATE_TEST_SUITE_P(Databases, OdbcConnectionTest, ::testing::Values("SQLite", "PostgreSQL"),
                         [](const auto& info) { return info.param; });

TEST_P(OdbcConnectionTest, FieldsReadAsTheirColumnsType) {
  auto rows = connection_.Execute("SELECT * FROM samples ORDER BY id");
  ASSERT_FALSE(rows->Eof());
  EXPECT_EQ(rows->Field("ID"), Variant(1));
  EXPECT_EQ(rows->Field("big"), Variant(5000000000.0));
  EXPECT_EQ(rows->Field("Ratio"), Variant(2.5));
  EXPECT_EQ(rows->Field("name"), Variant("first"));
  ASSERT_EQ(rows->Field("taken").kind(), Variant::Kind::Date);
  EXPECT_NEAR(rows->Field("taken").AsDate().serial,
              runtime::MakeDate({2024, 1, 1, 10, 0, 0}).serial + 0.25 / 86400, 1e-9);
  EXPECT_EQ(rows->Field("looksLikeDate"), Variant("2024-01-01 10:00:00"));
  // SQLite keeps an integer in a BOOLEAN column.
  const bool sqlite = GetParam() == "SQLite";
  EXPECT_EQ(rows->Field("flag"), sqlite ? Variant(1) : Variant(true));
  // Reading a field twice gives the same value: the row is read once at fetch.
  EXPECT_EQ(rows->Field("name"), Variant("first"));

  rows->MoveNext();
  ASSERT_FALSE(rows->Eof());
  EXPECT_EQ(rows->Field("big"), Variant(-7));
  for (const char* name : {"ratio", "name", "taken", "looksLikeDate"})
    EXPECT_TRUE(rows->Field(name).IsNull()) << name;
  EXPECT_EQ(rows->Field("flag"), sqlite ? Variant(0) : Variant(false));
  runtime::Error unknown = ErrorFrom([&] { rows->Field("nope"); });
  EXPECT_EQ(unknown.Number(), 3265);
  EXPECT_EQ(unknown.Description(),
            "Item cannot be found in the collection corresponding to the requested name or "
            "ordinal.");

  rows->MoveNext();
  EXPECT_TRUE(rows->Eof());
  EXPECT_EQ(ErrorFrom([&] { rows->Field("id"); }).Number(), 3021);
  EXPECT_EQ(ErrorFrom([&] { rows->MoveNext(); }).Number(), 3021);

  EXPECT_TRUE(connection_.Execute("SELECT * FROM samples WHERE id = 99")->Eof());
  EXPECT_TRUE(connection_.Execute("UPDATE samples SET id = 5 WHERE id = 99")->Eof());
  EXPECT_TRUE(connection_.Execute("CREATE TABLE other (x INTEGER)")->Eof());
}

TEST_P(OdbcConnectionTest, RecordsetsStatementsAndTransactions) {
  auto rows = connection_.Execute("SELECT id FROM samples ORDER BY id");
  auto insert = connection_.Prepare("INSERT INTO samples (id, name) VALUES (?, ?)");
  for (int32_t i = 100; i < 110; ++i) {
    EXPECT_EQ(insert->Execute({Variant(i), Variant("row " + std::to_string(i))}), 1);
  }
  auto update = connection_.Prepare("UPDATE samples SET name = ? WHERE id >= ?");
  EXPECT_EQ(update->Execute({Variant("late"), Variant(105)}), 5);
  EXPECT_EQ(update->Execute({Variant("none"), Variant(9999)}), 0);

  connection_.Close();
  rows->MoveNext();
  EXPECT_EQ(rows->Field("id"), Variant(2));
  EXPECT_EQ(insert->Execute({Variant(7), Variant(runtime::Null)}), 1);
  EXPECT_EQ(ErrorFrom([&] { connection_.Execute("SELECT 1"); }).Number(), 3709);
  connection_.Open(link_, "", "");
  EXPECT_EQ(Count(connection_), 13);

  // Transactions commit or leave nothing.
  connection_.Execute("DELETE FROM samples WHERE id > 2");
  connection_.BeginTransaction();
  connection_.Execute("INSERT INTO samples (id) VALUES (20), (21)");
  EXPECT_EQ(Count(connection_), 4);
  connection_.Rollback();
  EXPECT_EQ(Count(connection_), 2);

  connection_.BeginTransaction();
  connection_.Execute("INSERT INTO samples (id) VALUES (22)");
  connection_.Commit();
  // Back in autocommit: this insert stays although nothing commits it.
  connection_.Execute("INSERT INTO samples (id) VALUES (23)");
  connection_.Open(link_, "", "");
  EXPECT_EQ(Count(connection_), 4);
}

TEST_P(OdbcConnectionTest, FailuresCarryTheSqlstateAndANonZeroNumber) {
  runtime::Error noTable = ErrorFrom([&] { connection_.Execute("SELECT * FROM ihTags"); });
  EXPECT_NE(noTable.Number(), 0);
  EXPECT_EQ(noTable.SqlState().size(), 5u);
  EXPECT_TRUE(noTable.Description().starts_with("[SQLSTATE " + noTable.SqlState() + "] "))
      << noTable.Description();
  EXPECT_PRED_FORMAT2(testing::IsSubstring, "ihtags", runtime::ToLower(noTable.Description()));
  EXPECT_EQ(noTable.Source(), "ODBC");

  OdbcConnection other;
  runtime::Error noDriver =
      ErrorFrom([&] { other.Open("Driver=NoSuchDriver;Database=x", "", ""); });
  EXPECT_NE(noDriver.Number(), 0);
  EXPECT_PRED_FORMAT2(testing::IsSubstring, "NoSuchDriver", noDriver.Description());
  EXPECT_EQ(ErrorFrom([&] { other.Execute("SELECT 1"); }).Number(), 3709);
  // A failed open leaves the connection usable for the next open.
  other.Open(link_, "", "");
  EXPECT_EQ(other.DbmsName(), GetParam());
}

TEST_P(OdbcConnectionTest, BoundParametersKeepTheirTypes) {
  runtime::Date when = runtime::MakeDate({2023, 6, 30, 23, 59, 58});
  // Nearer the next second than this one, so the fraction counts from the second before.
  when.serial += 0.75 / 86400;
  std::string text = std::string(20000, 'x') + " it's \xC3\xA4\xE2\x82\xAC";
  connection_.Execute(
      "INSERT INTO samples (id, big, ratio, name, taken, flag) VALUES (?, ?, ?, ?, ?, ?)",
      {Variant(10), Variant(runtime::Null), Variant(0.125), Variant(text), Variant(when),
       Variant(true)});
  // PostgreSQL cuts names at 63 bytes; SQLite keeps them whole.
  std::string longName = "c" + std::string(GetParam() == "SQLite" ? 300 : 62, 'n');
  auto rows = connection_.Execute("SELECT big, ratio, taken, flag, name AS " + longName +
                                      " FROM samples WHERE name = ? AND id = ?",
                                  {Variant(text), Variant(10)});
  ASSERT_FALSE(rows->Eof());
  EXPECT_TRUE(rows->Field("big").IsNull());
  EXPECT_EQ(rows->Field("ratio"), Variant(0.125));
  EXPECT_NEAR(rows->Field("taken").AsDate().serial, when.serial, 1e-9);
  EXPECT_EQ(rows->Field("flag"), GetParam() == "SQLite" ? Variant(1) : Variant(true));
  EXPECT_EQ(rows->Field(longName), Variant(text));
}

TEST_P(OdbcConnectionTest, ClosedConnectionsServeTheNextOpenOfTheSameStringAndPolicy) {
  OdbcConnection connection(KeptFor(60));
  connection.Open(link_, "", "");
  connection.Execute("CREATE TEMP TABLE pool_marker (x INTEGER)");
  // Work left in a transaction is rolled back before the connection is kept.
  connection.BeginTransaction();
  connection.Execute("INSERT INTO samples (id) VALUES (3)");
  connection.Close();
  EXPECT_EQ(OdbcPool::Instance().IdleCount(), 1u);

  // What differs, the string, the policy, whether the kept connection serves the open.
  const std::tuple<const char*, std::string, OdbcPolicy, bool> cases[] = {
      {"another policy", link_, {.queryTimeout = 5, .poolIdleSeconds = 60}, false},
      {"another string", link_ + ";", KeptFor(60), false},
      {"another lock wait, which each Open sets",
       link_,
       {.lockWait = 2, .poolIdleSeconds = 60},
       true},
      {"the same", link_, KeptFor(60), true},
      {"the same again", link_, KeptFor(60), true},
  };
  for (const auto& [what, link, policy, kept] : cases) {
    OdbcConnection again(policy);
    again.Open(link, "", "");
    EXPECT_EQ(HasMarker(again), kept) << what;
    if (kept) {
      EXPECT_EQ(Count(again), 2);
      // Back in autocommit: another connection sees the row at once.
      again.Execute("INSERT INTO samples (id) VALUES (4)");
      EXPECT_EQ(Count(connection_), 3);
      again.Execute("DELETE FROM samples WHERE id = 4");
    }
  }

  // A recordset keeps the connection out of the pool until it is released.
  OdbcConnection reader(KeptFor(60));
  reader.Open(link_, "", "");
  auto rows = reader.Execute("SELECT count(*) AS n FROM pool_marker");
  reader.Close();
  OdbcConnection meanwhile(KeptFor(60));
  meanwhile.Open(link_, "", "");
  EXPECT_FALSE(HasMarker(meanwhile));
  const size_t idle = OdbcPool::Instance().IdleCount();
  rows.reset();
  EXPECT_EQ(OdbcPool::Instance().IdleCount(), idle + 1);
  reader.Open(link_, "", "");
  EXPECT_TRUE(HasMarker(reader));
  reader.Close();

  // A PostgreSQL session reads timestamptz in the host's zone: none kept across a change.
  if (GetParam() != "PostgreSQL") return;
  const std::string zone = std::getenv("TZ") != nullptr ? std::getenv("TZ") : "";
  setenv("TZ", "Asia/Tokyo", 1);
  OdbcConnection moved(KeptFor(60));
  moved.Open(link_, "", "");
  EXPECT_FALSE(HasMarker(moved));
  EXPECT_EQ(moved.Execute("SELECT current_setting('TimeZone') AS z")->Field("z"),
            Variant(std::string("Asia/Tokyo")));
  zone.empty() ? unsetenv("TZ") : setenv("TZ", zone.c_str(), 1);
}

TEST_P(OdbcConnectionTest, IdleConnectionsAreDisconnectedAfterTheirTimeOrWhenThePoolCloses) {
  // Read by the pool's own thread too.
  std::atomic<OdbcPool::Clock::time_point> now{};
  OdbcPool pool([&] { return now.load(); });
  KeepMarked(link_, 1, pool);
  now = now.load() + std::chrono::milliseconds(999);
  pool.DisconnectExpired();
  EXPECT_EQ(pool.IdleCount(), 1u);
  now = now.load() + std::chrono::milliseconds(1);
  pool.DisconnectExpired();
  EXPECT_EQ(pool.IdleCount(), 0u);
  OdbcConnection connection(KeptFor(1), pool);
  connection.Open(link_, "", "");
  EXPECT_FALSE(HasMarker(connection));

  // Many that expire together go one at a time, a pause apart, on the pool's thread.
  {
    std::vector<std::unique_ptr<OdbcConnection>> several;
    for (int n = 0; n < 3; ++n) {
      several.push_back(std::make_unique<OdbcConnection>(KeptFor(1), pool));
      several.back()->Open(link_, "", "");
    }
  }
  EXPECT_EQ(pool.IdleCount(), 3u);
  now = now.load() + std::chrono::seconds(1);
  const auto idleBecomes = [&](size_t n) {
    for (int tries = 0; tries < 500 && pool.IdleCount() != n; ++tries)
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    return pool.IdleCount();
  };
  EXPECT_EQ(idleBecomes(2), 2u);
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  EXPECT_EQ(pool.IdleCount(), 2u) << "the next waits for the pause";
  now = now.load() + OdbcPool::kBetweenDisconnects;
  EXPECT_EQ(idleBecomes(1), 1u);
  pool.DisconnectExpired();
  EXPECT_EQ(pool.IdleCount(), 0u);

  OdbcConnection unpooled(KeptFor(0), pool);
  unpooled.Open(link_, "", "");
  unpooled.Close();
  EXPECT_EQ(pool.IdleCount(), 0u);

  KeepMarked(link_, 60, pool);
  EXPECT_EQ(pool.IdleCount(), 1u);
  pool.Close();
  EXPECT_EQ(pool.IdleCount(), 0u);
  connection.Close();
  EXPECT_EQ(pool.IdleCount(), 0u) << "a closed pool keeps nothing";
}

// Lines reading one historian at one moment share a few connections: past the limit an
// open waits for one in use, and one that does not come back in time costs only the wait.
TEST_P(OdbcConnectionTest, PastTheLimitAnOpenWaitsBrieflyForAConnectionInUse) {
  OdbcPool pool;
  std::vector<std::unique_ptr<OdbcConnection>> busy;
  for (size_t i = 0; i < OdbcPool::kMaxInUse; ++i) {
    busy.push_back(std::make_unique<OdbcConnection>(KeptFor(60), pool));
    busy.back()->Open(link_, "", "");
  }
  busy[0]->Execute("CREATE TEMP TABLE pool_marker (x INTEGER)");
  auto waiting = std::async(std::launch::async, [&] {
    OdbcConnection next(KeptFor(60), pool);
    next.Open(link_, "", "");
    return HasMarker(next);
  });
  std::this_thread::sleep_for(OdbcPool::kWaitForKept / 5);
  busy[0]->Close();
  EXPECT_TRUE(waiting.get()) << "the open took the connection that came back";

  busy[0]->Open(link_, "", "");
  // Past the limit an open waits even while a connection is kept idle (a peak's leftover),
  // and then takes that one; with none kept it then connects anew.
  for (bool idle : {false, true}) {
    SCOPED_TRACE(idle ? "one kept idle" : "none kept");
    if (idle) KeepMarked(link_, 60, pool);
    const auto started = OdbcPool::Clock::now();
    OdbcConnection past(KeptFor(60), pool);
    past.Open(link_, "", "");
    EXPECT_GE(OdbcPool::Clock::now() - started, OdbcPool::kWaitForKept);
    EXPECT_EQ(HasMarker(past), idle);
  }
}

// Every path that allocates handles, the failing ones included, and then only what the
// host does each collection, many more times: neither descriptors nor memory grow.
TEST_P(OdbcConnectionTest, ManyCyclesLeakNeitherDescriptorsNorMemory) {
  const std::string link = link_ + (GetParam() == "SQLite" ? ";SyncPragma=OFF" : "");
  const auto cycle = [&](int i) {
    OdbcConnection connection;
    connection.Open(link, "", "");
    auto rows = connection.Execute("SELECT * FROM samples WHERE id < ?", {Variant(i % 5)});
    auto statement = connection.Prepare("INSERT INTO samples (id, name) VALUES (?, ?)");
    statement->Execute({Variant(i), Variant("x")});
    EXPECT_THROW(connection.Execute("SELECT * FROM missing"), runtime::Error);
    // Too few values for the markers is an error, not a crash.
    EXPECT_THROW(statement->Execute({Variant(1)}), runtime::Error);
    EXPECT_THROW(connection.Execute("SELECT * FROM samples WHERE id = ? AND name = ?", {i}),
                 runtime::Error);
    connection.BeginTransaction();
    connection.Execute("DELETE FROM samples WHERE id = ?", {Variant(i)});
    if (i % 2 == 0) connection.Commit();
    connection.Close();
    for (; !rows->Eof(); rows->MoveNext()) rows->Field("name");
    OdbcConnection bad;
    EXPECT_THROW(bad.Open("Driver=NoSuchDriver", "", ""), runtime::Error);
    EXPECT_THROW(bad.Open(testsupport::SqliteLink("/nonexistent/folder/x.db"), "", ""),
                 runtime::Error);
  };
  // The driver manager and the driver load once and keep some memory.
  for (int i = 0; i < 100; ++i) cycle(i);
  const long descriptors = OpenDescriptors();
  long resident = ResidentKilobytes();
  // PostgreSQL's round trips make its cycles slow; a leaked connection still shows as a
  // descriptor.
  for (int i = 0; i < (GetParam() == "SQLite" ? 2000 : 200); ++i) cycle(i);
  EXPECT_LE(OpenDescriptors(), descriptors);
  // Loose: a leaked statement or connection per cycle would add megabytes.
  EXPECT_LT(ResidentKilobytes() - resident, 4096);

  // Connections made and ended on several threads at once, as a plant's lines make them when
  // none is kept: the SQLite driver keeps them in one list of its own.
  std::atomic<int> failed = 0;
  std::vector<std::thread> lines;
  for (int line = 0; line < 32; ++line) {
    lines.emplace_back([&] {
      for (int i = 0; i < (GetParam() == "SQLite" ? 300 : 5); ++i) {
        failed += ErrorOf([&] {
                    OdbcConnection unkept(KeptFor(0));
                    unkept.Open(link, "", "");
                    unkept.Execute("SELECT count(*) AS n FROM samples")->Field("n");
                  }) != 0;
      }
    });
  }
  for (std::thread& line : lines) line.join();
  EXPECT_EQ(failed, 0);
  EXPECT_LE(OpenDescriptors(), descriptors);

  OdbcConnection connection(KeptFor(60));
  resident = ResidentKilobytes();
  for (int i = 0; i < 20000; ++i) {
    connection.Open(link, "", "");
    connection.Execute("SELECT count(*) AS n FROM samples")->Field("n");
    connection.Close();
  }
  EXPECT_LT(ResidentKilobytes() - resident, 512) << "kB grown over 20,000 cycles";
  EXPECT_EQ(OdbcPool::Instance().IdleCount(), 1u);
}

// A kept SQLite connection still holds the file it opened: once that file is replaced at
// its path, the next open reaches the file that is there now.
TEST(OdbcPoolFileTest, ASqliteFileReplacedAtItsPathIsOpenedAfresh) {
  OdbcPool::Instance().Clear();
  testsupport::TempFolder folder;
  const std::string path = folder.File("replaced.db");
  const std::string link = testsupport::SqliteLink(path);
  KeepMarked(link);
  ASSERT_EQ(OdbcPool::Instance().IdleCount(), 1u);
  std::filesystem::rename(path, path + ".old");
  std::filesystem::copy_file(path + ".old", path);
  OdbcConnection connection(KeptFor(60));
  connection.Open(link, "", "");
  EXPECT_FALSE(HasMarker(connection));
  OdbcPool::Instance().Clear();
}

// The SQLite3 ODBC driver says only "connect failed", and opening a FIFO it may only read
// would wait for a writer for good.
TEST(OdbcPoolFileTest, ASqliteFileThatCannotBeOpenedSaysWhyAtOnce) {
  testsupport::TempFolder folder;
  const std::string fifo = folder.File("fifo.db");
  ASSERT_EQ(mkfifo(fifo.c_str(), 0444), 0);
  std::filesystem::create_directory(folder.File("folder.db"));
  std::ofstream(folder.File("plain")) << "x";
  const struct {
    std::string link, said;
  } cases[] = {
      {"Driver=SQLite3;Database=" + fifo, fifo + " is a FIFO, not a database file"},
      {"Driver=SQLite3;Database=" + folder.File("folder.db"),
       folder.File("folder.db") + " is a folder, not a database file"},
      {"Driver=SQLite3;NoCreat=1;Database=" + folder.File("none.db"),
       "connect failed (there is no file " + folder.File("none.db") + ")"},
      {"Driver=SQLite3;Database=" + folder.File("gone/x.db"),
       "connect failed (cannot make " + folder.File("gone/x.db") + ": its folder " +
           folder.File("gone") + ": No such file or directory)"},
      {"Driver=SQLite3;Database=" + folder.File("plain/x.db"),
       "connect failed (cannot open " + folder.File("plain/x.db") + ": Not a directory)"},
  };
  for (const auto& c : cases) {
    OdbcConnection connection;
    const runtime::Error error = ErrorFrom([&] { connection.Open(c.link, "", ""); });
    EXPECT_PRED_FORMAT2(testing::IsSubstring, c.said, error.Description());
  }
}

// A server that restarted: the first statement on its kept connection runs again on a new
// connection, and the kept one is dropped. A new connection's failure is the caller's.
TEST(OdbcPoolBrokenTest, AKeptConnectionTheServerClosedIsReplacedByItsFirstStatement) {
  auto server = spcdbtest::MakeStoppableDatabase(spcdbtest::Backend::PostgreSQL);
  if (!server) GTEST_SKIP() << "no PostgreSQL server of its own";
  OdbcPool pool;
  const std::string link = server->ConnectionString();
  OdbcConnection fresh(KeptFor(60), pool);
  fresh.Open(link, "", "");
  KeepMarked(link, 60, pool);
  ASSERT_EQ(pool.IdleCount(), 1u);

  ASSERT_TRUE(server->TakeAway());
  server->GiveBack();
  OdbcConnection connection(KeptFor(60), pool);
  connection.Open(link, "", "");
  EXPECT_EQ(connection.Execute("SELECT 1 AS one")->Field("one"), Variant(1));
  EXPECT_FALSE(HasMarker(connection));
  connection.Close();
  EXPECT_EQ(pool.IdleCount(), 1u) << "the new connection is kept, the failed one is not";

  // The server's goodbye (57P01) or a lost link (08xxx).
  const runtime::Error why = ErrorFrom([&] { fresh.Execute("SELECT 1 AS one"); });
  EXPECT_TRUE(why.SqlState().starts_with("57P") || why.SqlState().starts_with("08"))
      << why.Description();
}

// Bounded waits and cancelling, on real SQLite locks, a real PostgreSQL server and a
// server that never answers.
struct Failure {
  double seconds = 0;
  std::string message;
  std::string state;
};

Failure TimeFailure(const std::function<void()>& body) {
  const auto start = std::chrono::steady_clock::now();
  const runtime::Error error = ErrorFrom(body);
  return {std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(),
          error.Description(), error.SqlState()};
}

OdbcPolicy QueryTimeout(int seconds) {
  return {.queryTimeout = seconds};
}

// Runs `sql`, which waits without limit, and cancels it from another thread: it ends at
// once, and with the cancel's SQLSTATE.
void ExpectCancelled(OdbcConnection& connection, const char* sql) {
  std::thread canceller([] {
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    platform::CancelRunningStatements();
  });
  Failure failure = TimeFailure([&] { connection.Execute(sql); });
  canceller.join();
  EXPECT_EQ(failure.state, "HY008") << failure.message;
  EXPECT_LT(failure.seconds, 2.0);
}

// Another connection holds the SQLite file with BEGIN EXCLUSIVE, as a writer would: a
// statement fails within the query timeout, the lock wait (the present Open's, on a
// connection kept from another) or the string's own, or when cancelled. A commit, though,
// waits for a reader to finish.
TEST(OdbcWaits, SqliteLocksEndAStatementInTimeButACommitOutwaitsAReader) {
  testsupport::TempFolder folder;
  const std::string link =
      testsupport::CreateSqliteDatabase(folder.File("locked.db"), {"CREATE TABLE t (a INTEGER)"});
  OdbcConnection holder;
  holder.Open(link, "", "");
  holder.Execute("BEGIN EXCLUSIVE");
  // The policy, what the string adds, and the least and most seconds the statement takes.
  const std::tuple<OdbcPolicy, std::string, double, double> cases[] = {
      {{.queryTimeout = 1, .lockWait = 0}, "", 0.9, 2.0},
      {{.queryTimeout = 0, .lockWait = 1}, "", 0.9, 2.0},
      {{.queryTimeout = 0, .lockWait = platform::kNoLockWait}, "", 0.0, 0.5},
      {{.queryTimeout = 0, .lockWait = 0}, ";Timeout=300", 0.2, 1.5}};
  for (const auto& [policy, extra, least, most] : cases) {
    OdbcConnection waiting(policy);
    Failure failure = TimeFailure([&] {
      waiting.Open(link + extra, "", "");
      waiting.Execute("INSERT INTO t VALUES (1)");
    });
    EXPECT_PRED_FORMAT2(testing::IsSubstring, "database is locked", failure.message);
    EXPECT_GE(failure.seconds, least) << extra;
    EXPECT_LE(failure.seconds, most) << extra;
  }
  OdbcConnection unbounded(QueryTimeout(0));
  unbounded.Open(link, "", "");
  ExpectCancelled(unbounded, "SELECT a FROM t");
  holder.Execute("ROLLBACK");
  EXPECT_TRUE(unbounded.Execute("SELECT a FROM t")->Eof()) << "the lock gone, the file answers";

  // A commit waits for a reader longer than one lock wait.
  holder.BeginTransaction();
  holder.Execute("SELECT a FROM t");  // holds a read lock until the transaction ends
  OdbcConnection writer(QueryTimeout(10));
  writer.Open(link, "", "");
  writer.BeginTransaction();
  writer.Execute("INSERT INTO t VALUES (1)");
  std::thread finisher([&] {
    std::this_thread::sleep_for(std::chrono::milliseconds(1000));
    holder.Commit();
  });
  Failure none = TimeFailure([&] { writer.Commit(); });
  finisher.join();
  EXPECT_EQ(none.message, "nothing raised");
  EXPECT_GE(none.seconds, 0.8) << "the commit waited for the reader";
  EXPECT_FALSE(holder.Execute("SELECT a FROM t")->Eof());
}

TEST(OdbcWaits, PostgreSqlStatementsEndAtTheQueryTimeoutOrWhenCancelled) {
  const char* postgres = std::getenv("DAM_TEST_PG_CONNECTION");
  if (postgres == nullptr) GTEST_SKIP() << "no PostgreSQL server";
  OdbcConnection bounded(QueryTimeout(1));
  bounded.Open(postgres, "", "");
  Failure timedOut = TimeFailure([&] { bounded.Execute("SELECT pg_sleep(10)"); });
  EXPECT_GE(timedOut.seconds, 0.9);
  EXPECT_LT(timedOut.seconds, 3.0) << timedOut.message;

  OdbcConnection unbounded(QueryTimeout(0));
  unbounded.Open(postgres, "", "");
  ExpectCancelled(unbounded, "SELECT pg_sleep(10)");
  EXPECT_EQ(unbounded.Execute("SELECT 1 AS one")->Field("one").AsLong(), 1)
      << "a cancelled statement leaves its connection usable";

  // A cancel that hangs on a frozen server holds up neither the statements of another
  // server nor the next cancel of them.
  auto frozen = spcdbtest::MakeStoppableDatabase(spcdbtest::Backend::PostgreSQL);
  OdbcConnection stuck(QueryTimeout(0));
  stuck.Open(frozen->ConnectionString(), "", "");
  ASSERT_TRUE(frozen->Freeze(true));
  std::thread hung([&] { ErrorFrom([&] { stuck.Execute("SELECT 1"); }); });
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  std::thread(platform::CancelRunningStatements).detach();
  std::thread thaw([&] {
    std::this_thread::sleep_for(std::chrono::seconds(6));
    frozen->Freeze(false);
  });
  ExpectCancelled(unbounded, "SELECT pg_sleep(10)");
  thaw.join();
  hung.join();
}

TEST(OdbcWaits, ConnectingToAServerThatNeverAnswersEndsAtTheLoginTimeout) {
  // A socket that listens but never accepts: the kernel completes the handshake, then
  // nothing answers the client.
  int silent = socket(AF_INET, SOCK_STREAM, 0);
  ASSERT_GE(silent, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t length = sizeof address;
  ASSERT_EQ(bind(silent, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  ASSERT_EQ(listen(silent, 4), 0);
  ASSERT_EQ(getsockname(silent, reinterpret_cast<sockaddr*>(&address), &length), 0);

  OdbcPolicy policy;
  policy.loginTimeout = 1;
  OdbcConnection connection(policy);
  Failure failure = TimeFailure([&] {
    connection.Open("Driver={PostgreSQL Unicode};Server=127.0.0.1;Port=" +
                        std::to_string(ntohs(address.sin_port)) +
                        ";Database=spc;Username=dam;Password=x;SSLmode=disable",
                    "", "");
  });
  close(silent);
  EXPECT_GE(failure.seconds, 0.9) << failure.message;
  EXPECT_LT(failure.seconds, 3.0) << failure.message;
}

// Each spelling of TZ the C library reads names its zone as a PostgreSQL server reads it
// (HistorianTest reads a timestamptz in that zone).
TEST(HostTimeZoneTest, EachSpellingOfTzNamesTheZoneAsThePostgreSqlServerReadsIt) {
  const char* const set = std::getenv("TZ");
  const std::optional<std::string> kept = set ? std::optional<std::string>(set) : std::nullopt;
  testsupport::TempFolder folder;
  const std::string copy = folder.File("localtime");
  std::filesystem::copy_file("/usr/share/zoneinfo/Europe/Berlin", copy);
  const std::pair<std::string, std::string> cases[] = {
      {"Europe/Berlin", "Europe/Berlin"},
      {":Europe/Berlin", "Europe/Berlin"},
      {"/usr/share/zoneinfo/posix/Europe/Berlin", "Europe/Berlin"},
      {copy, "CET-1CEST,M3.5.0,M10.5.0/3"},  // the rule of its latest times
      {"EST5EDT,M3.2.0,M11.1.0", "EST5EDT,M3.2.0,M11.1.0"},
      {"", "UTC"}};
  for (const auto& [tz, zone] : cases) {
    setenv("TZ", tz.c_str(), 1);
    EXPECT_EQ(platform::HostTimeZone(), zone) << tz;
  }
  kept ? setenv("TZ", kept->c_str(), 1) : unsetenv("TZ");
}

}  // namespace
