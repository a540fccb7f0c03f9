#include "platform/odbc/OdbcPool.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <thread>

#include "platform/odbc/OdbcConnection.h"
#include "runtime/Error.h"
#include "tests/support/Historian.h"
#include "tests/support/TempFolder.h"
#include "tests/support/TestDatabases.h"

namespace {

using platform::OdbcConnection;
using platform::OdbcPolicy;
using platform::OdbcPool;

// A temporary table lives as long as its physical connection: finding it after an Open
// proves the connection was kept.
bool HasMarker(OdbcConnection& connection) {
  try {
    connection.Execute("SELECT count(*) AS n FROM pool_marker");
    return true;
  } catch (const runtime::Error&) {
    return false;
  }
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

OdbcPolicy KeptFor(int32_t seconds) {
  OdbcPolicy policy;
  policy.poolIdleSeconds = seconds;
  return policy;
}

class OdbcPoolTest : public ::testing::TestWithParam<std::string> {
 protected:
  void SetUp() override {
    OdbcPool::Instance().Clear();
    if (GetParam() == "SQLite") {
      link_ = testsupport::SqliteLink(folder_.File("pool.db"));
    } else {
      database_ = spcdbtest::MakeTestDatabase(spcdbtest::Backend::PostgreSQL);
      if (!database_) GTEST_SKIP() << "no PostgreSQL server";
      link_ = database_->ConnectionString();
    }
    OdbcConnection setup(KeptFor(0));
    setup.Open(link_, "", "");
    setup.Execute("CREATE TABLE rows_kept (x INTEGER)");
  }

  void TearDown() override { OdbcPool::Instance().Clear(); }

  testsupport::TempFolder folder_;
  std::unique_ptr<spcdbtest::TestDatabase> database_;
  std::string link_;
};

INSTANTIATE_TEST_SUITE_P(Databases, OdbcPoolTest, ::testing::Values("SQLite", "PostgreSQL"),
                         [](const auto& info) { return info.param; });

TEST_P(OdbcPoolTest, ClosedConnectionsServeTheNextOpenOfTheSameStringAndPolicy) {
  OdbcConnection connection(KeptFor(60));
  connection.Open(link_, "", "");
  connection.Execute("CREATE TEMP TABLE pool_marker (x INTEGER)");
  // Work left in a transaction is rolled back before the connection is kept.
  connection.BeginTransaction();
  connection.Execute("INSERT INTO rows_kept VALUES (1)");
  connection.Close();
  EXPECT_EQ(OdbcPool::Instance().IdleCount(), 1u);

  struct Case {
    const char* what;
    std::string link;
    OdbcPolicy policy;
    bool kept;
  };
  OdbcPolicy otherTimeout = KeptFor(60);
  otherTimeout.queryTimeout = 5;
  const Case cases[] = {
      {"another policy", link_, otherTimeout, false},
      {"another string", link_ + ";", KeptFor(60), false},
      {"the same", link_, KeptFor(60), true},
      {"the same again", link_, KeptFor(60), true},
  };
  for (const Case& c : cases) {
    OdbcConnection again(c.policy);
    again.Open(c.link, "", "");
    EXPECT_EQ(HasMarker(again), c.kept) << c.what;
    if (c.kept) {
      EXPECT_EQ(again.Execute("SELECT count(*) AS n FROM rows_kept")->Field("n").AsLong(), 0);
      // Back in autocommit: another connection sees the row at once.
      again.Execute("INSERT INTO rows_kept VALUES (2)");
      OdbcConnection other(KeptFor(0));
      other.Open(link_, "", "");
      EXPECT_EQ(other.Execute("SELECT count(*) AS n FROM rows_kept")->Field("n").AsLong(), 1);
      again.Execute("DELETE FROM rows_kept");
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
}

TEST_P(OdbcPoolTest, IdleConnectionsAreDisconnectedAfterTheirTime) {
  OdbcConnection connection(KeptFor(1));
  connection.Open(link_, "", "");
  connection.Execute("CREATE TEMP TABLE pool_marker (x INTEGER)");
  connection.Close();
  EXPECT_EQ(OdbcPool::Instance().IdleCount(), 1u);
  // Nobody opens: the pool disconnects on its own.
  std::this_thread::sleep_for(std::chrono::milliseconds(1600));
  EXPECT_EQ(OdbcPool::Instance().IdleCount(), 0u);
  connection.Open(link_, "", "");
  EXPECT_FALSE(HasMarker(connection));

  OdbcConnection unpooled(KeptFor(0));
  unpooled.Open(link_, "", "");
  unpooled.Close();
  EXPECT_EQ(OdbcPool::Instance().IdleCount(), 0u);
}

// Every path that allocates handles, the failing ones included, and then only what the
// host does each collection, many more times: neither descriptors nor memory grow.
TEST_P(OdbcPoolTest, ManyCyclesLeakNeitherDescriptorsNorMemory) {
  const std::string link = link_ + (GetParam() == "SQLite" ? ";SyncPragma=OFF" : "");
  const auto cycle = [&](int i) {
    OdbcConnection connection;
    connection.Open(link, "", "");
    auto rows = connection.Execute("SELECT * FROM t WHERE id < ?", {runtime::Variant(i % 5)});
    auto statement = connection.Prepare("INSERT INTO t VALUES (?, ?)");
    statement->Execute({runtime::Variant(i), runtime::Variant("x")});
    EXPECT_THROW(connection.Execute("SELECT * FROM missing"), runtime::Error);
    // Too few values for the markers is an error, not a crash.
    EXPECT_THROW(statement->Execute({runtime::Variant(1)}), runtime::Error);
    EXPECT_THROW(connection.Execute("SELECT * FROM t WHERE id = ? AND name = ?", {i}),
                 runtime::Error);
    connection.BeginTransaction();
    connection.Execute("DELETE FROM t WHERE id = ?", {runtime::Variant(i)});
    if (i % 2 == 0) connection.Commit();
    connection.Close();
    for (; !rows->Eof(); rows->MoveNext()) rows->Field("name");
    OdbcConnection bad;
    EXPECT_THROW(bad.Open("Driver=NoSuchDriver", "", ""), runtime::Error);
    EXPECT_THROW(bad.Open(testsupport::SqliteLink("/nonexistent/folder/x.db"), "", ""),
                 runtime::Error);
  };
  {
    OdbcConnection setup;
    setup.Open(link, "", "");
    setup.Execute("CREATE TABLE t (id INTEGER, name TEXT)");
    setup.Execute("INSERT INTO t VALUES (1, 'a'), (2, 'b')");
  }
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

  OdbcConnection connection(KeptFor(60));
  resident = ResidentKilobytes();
  for (int i = 0; i < 20000; ++i) {
    connection.Open(link, "", "");
    connection.Execute("SELECT count(*) AS n FROM rows_kept")->Field("n");
    connection.Close();
  }
  EXPECT_LT(ResidentKilobytes() - resident, 512) << "kB grown over 20,000 cycles";
  EXPECT_EQ(OdbcPool::Instance().IdleCount(), 1u);
}

// A kept SQLite connection still holds the file it opened: once that file is deleted or
// replaced at its path, the next open reaches the file that is there now.
TEST(OdbcPoolFileTest, ASqliteFileReplacedAtItsPathIsOpenedAfresh) {
  OdbcPool::Instance().Clear();
  testsupport::TempFolder folder;
  const std::string path = folder.File("replaced.db");
  const std::string link = testsupport::SqliteLink(path);
  for (const bool replace : {false, true}) {
    OdbcConnection connection(KeptFor(60));
    connection.Open(link, "", "");
    connection.Execute("CREATE TEMP TABLE pool_marker (x INTEGER)");
    connection.Close();
    if (replace) {
      std::filesystem::rename(path, path + ".old");
      std::filesystem::copy_file(path + ".old", path);
    }
    connection.Open(link, "", "");
    EXPECT_EQ(HasMarker(connection), !replace) << replace;
    connection.Execute("DROP TABLE IF EXISTS pool_marker");
  }
  OdbcPool::Instance().Clear();
}

// A server that went away and came back: its kept connection fails once at most, is
// dropped, and the next open connects afresh.
TEST(OdbcPoolBrokenTest, AConnectionThatFailedIsNotHandedOutAgain) {
  auto server = spcdbtest::MakeStoppableDatabase(spcdbtest::Backend::PostgreSQL);
  if (!server) GTEST_SKIP() << "no PostgreSQL server of its own";
  OdbcPool::Instance().Clear();
  const std::string link = server->ConnectionString();
  OdbcConnection connection(KeptFor(60));
  connection.Open(link, "", "");
  connection.Execute("CREATE TEMP TABLE pool_marker (x INTEGER)");
  connection.Close();
  ASSERT_EQ(OdbcPool::Instance().IdleCount(), 1u);

  ASSERT_TRUE(server->TakeAway());
  server->GiveBack();
  connection.Open(link, "", "");
  try {
    connection.Execute("SELECT 1 AS one");
  } catch (const runtime::Error& e) {
    // The server's goodbye (57P01) or a lost link (08xxx).
    const std::string& why = e.Description();
    EXPECT_TRUE(why.starts_with("[SQLSTATE 57P") || why.starts_with("[SQLSTATE 08")) << why;
  }
  connection.Close();
  EXPECT_EQ(OdbcPool::Instance().IdleCount(), 0u);

  connection.Open(link, "", "");
  EXPECT_EQ(connection.Execute("SELECT 1 AS one")->Field("one").AsLong(), 1);
  EXPECT_FALSE(HasMarker(connection));
  connection.Close();
  OdbcPool::Instance().Clear();
}

}  // namespace
