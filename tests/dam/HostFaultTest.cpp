// Bad days for the host program: the log cannot be written, the historian is locked, the
// schedule holds a unit the tables do not know (the SPC database going away: SpoolHostTest).
// dam must keep running, say what went wrong and stop cleanly when told to.
#include <gtest/gtest.h>

#include <QThread>
#include <filesystem>
#include <regex>

#include "platform/odbc/OdbcConnection.h"
#include "tests/dam/DamProcesses.h"
#include "tests/support/Historian.h"

namespace {

using HostFaults = damtest::DamProcesses;

size_t Count(const std::string& text, const std::string& what) {
  size_t count = 0;
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++count;
  return count;
}

TEST_F(HostFaults, UnknownUnitCodesAreLoggedAndRetriedNotLooped) {
  StartHistorian();
  const struct {
    int subgroupUnit, retryUnit;
    size_t mostLines;  // in three seconds; a 100 ms loop would write about thirty
  } cases[] = {{4, 0, 5}, {9, 0, 5}, {9, 9, 3}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "units " << c.subgroupUnit << "/" << c.retryUnit);
    std::filesystem::remove(work_.File("log/oxaGEPDAD6.LOG"));
    // Run although check calls the units errors.
    const auto [exitCode, output] =
        Dam({"run", Configuration(damtest::kWeight, c.subgroupUnit, c.retryUnit), "--for", "3",
             "--force"});
    EXPECT_EQ(exitCode, 0) << output;
    EXPECT_NE(output.find("stopped after"), std::string::npos) << output;
    const std::string log = Log();
    EXPECT_GE(Count(log, "\r\n"), 1u);
    EXPECT_LE(Count(log, "\r\n"), c.mostLines) << log;
    EXPECT_NE(log.find("unit " + std::to_string(c.subgroupUnit)), std::string::npos) << log;
  }
}

// Another writer holds the historian: each collection fails within the query timeout
// with one line, and SIGTERM stops dam in time even while a collection waits on the lock
// without any limit.
TEST_F(HostFaults, ALockedHistorianFailsInTimeAndSigtermStillStopsTheHost) {
  // A historian in rollback-journal mode, where a writer's lock keeps readers out.
  std::vector<std::string> statements = testsupport::kHistorianTables;
  for (const char* tag : {"LINE1.PARTNO", "LINE1.WEIGHT"}) {
    statements.push_back(std::string("INSERT INTO ihRawData VALUES ('") + tag +
                         "', '2024-05-01 10:00:00', 1, 'CurrentValue')");
  }
  testsupport::CreateSqliteDatabase(historian_, statements);
  platform::OdbcConnection holder;
  holder.Open(testsupport::SqliteLink(historian_), "", "");
  holder.Execute("BEGIN EXCLUSIVE");

  WriteFile("settings/dam.ini", "[Connections]\r\nQueryTimeout=2\r\n");
  auto run = Start(DAM_PROGRAM, {"run", Configuration()});
  // Loading tests the data link twice (host and driver) before the first collection.
  EXPECT_TRUE(WaitFor([&] { return Logged("database is locked"); }, 15)) << Log();
  const size_t first = Count(Log(), "\r\n");
  QThread::msleep(4000);
  EXPECT_LE(Count(Log(), "\r\n") - first, 2u) << "a line per collection, each failing in 2 s";
  Terminate(*run);

  WriteFile("settings/dam.ini", "[Connections]\r\nQueryTimeout=0\r\n");
  run = Start(DAM_PROGRAM, {"run", Configuration()});
  QThread::msleep(2500);  // the first collection now waits on the lock for good
  EXPECT_EQ(run->state(), QProcess::Running);
  Terminate(*run);
  const std::string output = run->readAll().toStdString();
  EXPECT_EQ(run->exitCode(), 0) << output;
  EXPECT_NE(output.find("stopped after 0 subgroup(s)"), std::string::npos) << output;
}

TEST_F(HostFaults, AnUnwritableLogGoesToStderrAndTheStatusLine) {
  // The log folder is a file: no line can be written there.
  environment_.insert("DAM_LOG_DIR", WriteFile("not-a-folder", "x"));
  const auto [exitCode, output] = Dam({"run", Configuration(), "--for", "3"});
  EXPECT_EQ(exitCode, 0) << output;
  EXPECT_NE(output.find("Unable to Access Database"), std::string::npos) << output;
  EXPECT_TRUE(std::regex_search(output, std::regex("last error [^\n]*Unable to Access Database")))
      << output;
  // Retried once a second, never every tick.
  EXPECT_LE(Count(output, "Unable to Access Database"), 12u) << output;
}

}  // namespace
