// Bad days for the host program: the log cannot be written, the historian is locked, the
// schedule holds a unit the tables do not know (the SPC database going away: SpoolHostTest).
// dam must keep running, say what went wrong and stop cleanly when told to.
#include <gtest/gtest.h>

#include <QThread>
#include <filesystem>
#include <fstream>
#include <regex>

#include "platform/odbc/OdbcConnection.h"
#include "tests/dam/DamProcesses.h"
#include "tests/support/Historian.h"

namespace {

class HostFaults : public damtest::DamProcesses {
 protected:
  // A configuration collecting every second from the historian histsim moves.
  std::string Configuration(const std::string& subgroupUnit = "0",
                            const std::string& retryUnit = "0") {
    const std::string path = work_.File("line.cfg");
    std::ofstream(path) << "NAME=Line 1\nACTIVE=1\nDATALINK=Driver=SQLite3;Database=" << historian_
                        << ";NoCreat=1\nSYNCTIME=0\nSUBGROUPINTERVAL=1\nSUBGROUPUNIT="
                        << subgroupUnit << "\nRETRYINTERVAL=1\nRETRYUNIT=" << retryUnit
                        << "\nDESCRIPTOR=1\tProducts\t%TAG(LINE1.PARTNO)\n"
                           "TEST=Fill\tWeight\t%TAG(LINE1.WEIGHT)\t\n";
    return path;
  }

  std::unique_ptr<QProcess> StartHistorian() {
    return Start(HISTSIM_PROGRAM,
                 {QString::fromStdString(historian_), "--period", "0.5", "--for", "120"});
  }

  static size_t Count(const std::string& text, const std::string& what) {
    size_t count = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) {
      ++count;
    }
    return count;
  }

  std::string historian_ = work_.File("historian.db");
};

TEST_F(HostFaults, UnknownUnitCodesAreLoggedAndRetriedNotLooped) {
  auto histsim = StartHistorian();
  const struct {
    const char* subgroupUnit;
    const char* retryUnit;
    size_t mostLines;  // in three seconds; a 100 ms loop would write about thirty
  } cases[] = {{"4", "0", 5}, {"9", "0", 5}, {"9", "9", 3}};
  for (const auto& c : cases) {
    std::filesystem::remove(work_.File("log/oxaGEPDAD6.LOG"));
    const auto [exitCode, output] =
        Run(DAM_PROGRAM, {"run", QString::fromStdString(Configuration(c.subgroupUnit, c.retryUnit)),
                          "--for", "3", "--force"});
    SCOPED_TRACE(std::string("units ") + c.subgroupUnit + "/" + c.retryUnit);
    EXPECT_EQ(exitCode, 0) << output;
    const std::string log = Log();
    EXPECT_GE(Count(log, "\r\n"), 1u);
    EXPECT_LE(Count(log, "\r\n"), c.mostLines) << log;
    EXPECT_NE(log.find(std::string("unit ") + c.subgroupUnit), std::string::npos) << log;
  }
  histsim->kill();
  histsim->waitForFinished();
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

  std::ofstream(work_.File("settings/dam.ini")) << "[Connections]\r\nQueryTimeout=2\r\n";
  auto run = Start(DAM_PROGRAM, {"run", QString::fromStdString(Configuration())});
  // Loading tests the data link twice (host and driver) before the first collection.
  EXPECT_TRUE(WaitFor([&] { return Log().find("database is locked") != std::string::npos; }, 15))
      << Log();
  const size_t first = Count(Log(), "\r\n");
  QThread::msleep(4000);
  EXPECT_LE(Count(Log(), "\r\n") - first, 2u) << "a line per collection, each failing in 2 s";
  Terminate(*run);

  std::ofstream(work_.File("settings/dam.ini")) << "[Connections]\r\nQueryTimeout=0\r\n";
  run = Start(DAM_PROGRAM, {"run", QString::fromStdString(Configuration())});
  QThread::msleep(2500);  // the first collection now waits on the lock for good
  EXPECT_EQ(run->state(), QProcess::Running);
  Terminate(*run);
  const std::string output = run->readAll().toStdString();
  EXPECT_EQ(run->exitCode(), 0) << output;
  EXPECT_NE(output.find("stopped after 0 subgroup(s)"), std::string::npos) << output;
}

TEST_F(HostFaults, AnUnwritableLogGoesToStderrAndTheStatusLine) {
  // The log folder is a file: no line can be written there.
  std::ofstream(work_.File("not-a-folder")) << "x";
  environment_.insert("DAM_LOG_DIR", QString::fromStdString(work_.File("not-a-folder")));
  const auto [exitCode, output] =
      Run(DAM_PROGRAM, {"run", QString::fromStdString(Configuration()), "--for", "3"});
  EXPECT_EQ(exitCode, 0) << output;
  EXPECT_NE(output.find("Unable to Access Database"), std::string::npos) << output;
  EXPECT_TRUE(std::regex_search(output, std::regex("last error [^\n]*Unable to Access Database")))
      << output;
  // Retried once a second, never every tick.
  EXPECT_LE(Count(output, "Unable to Access Database"), 12u) << output;
}

}  // namespace
