// Bounded waits and cancelling, on real SQLite locks, a real PostgreSQL server and a
// server that never answers.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <thread>

#include "platform/odbc/OdbcCancel.h"
#include "platform/odbc/OdbcConnection.h"
#include "runtime/Error.h"
#include "tests/runtime/ErrorOf.h"
#include "tests/support/Historian.h"
#include "tests/support/TempFolder.h"

namespace {

struct Failure {
  double seconds = 0;
  std::string message;
};

Failure TimeFailure(const std::function<void()>& body) {
  const auto start = std::chrono::steady_clock::now();
  const std::string message = ErrorFrom(body).Description();
  return {std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), message};
}

platform::OdbcPolicy QueryTimeout(int seconds) {
  platform::OdbcPolicy policy;
  policy.queryTimeout = seconds;
  return policy;
}

// Runs `sql`, which waits without limit, and cancels it from another thread: it ends at
// once, and with the cancel's SQLSTATE.
void ExpectCancelled(platform::OdbcConnection& connection, const char* sql) {
  std::thread canceller([] {
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    platform::CancelRunningStatements();
  });
  Failure failure = TimeFailure([&] { connection.Execute(sql); });
  canceller.join();
  EXPECT_NE(failure.message.find("HY008"), std::string::npos) << failure.message;
  EXPECT_LT(failure.seconds, 2.0);
}

// Another connection holds the SQLite file with BEGIN EXCLUSIVE, as a writer would: a
// statement fails within the query timeout or the string's own, or when cancelled. A
// commit, though, waits for a reader to finish.
TEST(OdbcWaits, SqliteLocksEndAStatementInTimeButACommitOutwaitsAReader) {
  testsupport::TempFolder folder;
  const std::string link =
      testsupport::CreateSqliteDatabase(folder.File("locked.db"), {"CREATE TABLE t (a INTEGER)"});
  platform::OdbcConnection holder;
  holder.Open(link, "", "");
  holder.Execute("BEGIN EXCLUSIVE");
  struct Case {
    int queryTimeout;
    std::string extra;
    double least, most;
  } cases[] = {{1, "", 0.9, 2.0}, {0, ";Timeout=300", 0.2, 1.5}};
  for (const Case& c : cases) {
    platform::OdbcConnection waiting(QueryTimeout(c.queryTimeout));
    Failure failure = TimeFailure([&] {
      waiting.Open(link + c.extra, "", "");
      waiting.Execute("INSERT INTO t VALUES (1)");
    });
    EXPECT_NE(failure.message.find("database is locked"), std::string::npos) << failure.message;
    EXPECT_GE(failure.seconds, c.least) << c.extra;
    EXPECT_LE(failure.seconds, c.most) << c.extra;
  }
  platform::OdbcConnection unbounded(QueryTimeout(0));
  unbounded.Open(link, "", "");
  ExpectCancelled(unbounded, "SELECT a FROM t");
  holder.Execute("ROLLBACK");
  EXPECT_TRUE(unbounded.Execute("SELECT a FROM t")->Eof()) << "the lock gone, the file answers";

  // A commit waits for a reader longer than one lock wait.
  holder.BeginTransaction();
  holder.Execute("SELECT a FROM t");  // holds a read lock until the transaction ends
  platform::OdbcConnection writer(QueryTimeout(10));
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
  platform::OdbcConnection bounded(QueryTimeout(1));
  bounded.Open(postgres, "", "");
  Failure timedOut = TimeFailure([&] { bounded.Execute("SELECT pg_sleep(10)"); });
  EXPECT_GE(timedOut.seconds, 0.9);
  EXPECT_LT(timedOut.seconds, 3.0) << timedOut.message;

  platform::OdbcConnection unbounded(QueryTimeout(0));
  unbounded.Open(postgres, "", "");
  ExpectCancelled(unbounded, "SELECT pg_sleep(10)");
  EXPECT_EQ(unbounded.Execute("SELECT 1 AS one")->Field("one").AsLong(), 1)
      << "a cancelled statement leaves its connection usable";
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

  platform::OdbcPolicy policy;
  policy.loginTimeout = 1;
  platform::OdbcConnection connection(policy);
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

}  // namespace
