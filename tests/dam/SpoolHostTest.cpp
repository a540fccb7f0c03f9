// No subgroup is lost while the SPC database is away, through the real programs: dam keeps
// what it cannot save in its spool and forwards it when the database is back, grouped by
// fault: a PostgreSQL server stopped mid-run, the host killed while forwarding, an SQLite
// file another program keeps locked, and a subgroup the database refuses for itself.
#include <gtest/gtest.h>

#include <QThread>
#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <regex>

#include "platform/odbc/OdbcConnection.h"
#include "platform/spcdb/SpcReader.h"
#include "platform/spcdb/SpcSession.h"
#include "platform/spcdb/SpcSpool.h"
#include "runtime/Conversions.h"
#include "tests/dam/DamProcesses.h"
#include "tests/support/TestDatabases.h"

namespace {

// Long enough for a dozen collections at one a second, short enough for every test run.
constexpr std::chrono::seconds kOutage{15};
constexpr std::chrono::seconds kLock{10};

class SpoolHost : public damtest::DamProcesses {
 protected:
  // Collects every second: the part number and `tests` characteristics from the weight.
  std::string Configuration(int tests = 1) {
    const std::string path = work_.File("line.cfg");
    std::ofstream out(path);
    out << "NAME=Line 1\nACTIVE=1\nDATALINK=Driver=SQLite3;Database=" << historian_
        << ";NoCreat=1\nSYNCTIME=0\nSUBGROUPINTERVAL=1\nSUBGROUPUNIT=0\nRETRYINTERVAL=1\n"
           "RETRYUNIT=0\nDESCRIPTOR=1\tProducts\t%TAG(LINE1.PARTNO)\n";
    for (int t = 1; t <= tests; ++t) {
      out << "TEST=Fill\tWeight" << (t == 1 ? "" : std::to_string(t)) << "\t%TAG(LINE1.WEIGHT)\t\n";
    }
    return path;
  }

  std::unique_ptr<QProcess> StartHistorian() {
    return Start(HISTSIM_PROGRAM,
                 {QString::fromStdString(historian_), "--period", "0.5", "--for", "180"});
  }

  static std::vector<platform::SpcSubgroupData> SavedIn(const std::string& connection) {
    platform::SpcSession spc;
    spc.Settings().SetConnection(connection);
    spc.Open(1, 0);
    return platform::ReadSubgroups(spc, 10000);
  }

  // The collection times the spool holds, oldest first.
  std::vector<double> Spooled() const {
    std::vector<double> times;
    const std::string spool = work_.File("data/spool.db");
    if (!std::filesystem::exists(spool)) return times;
    platform::OdbcConnection connection;
    connection.Open("Driver=SQLite3;Database=" + spool, "", "");
    for (auto rows = connection.Execute("SELECT time_serial FROM spooled ORDER BY id");
         !rows->Eof(); rows->MoveNext()) {
      times.push_back(runtime::ToDouble(rows->Field("time_serial")));
    }
    return times;
  }

  static int Stopped(const std::string& output) {
    std::smatch figure;
    const std::regex stopped("stopped after (\\d+) subgroup");
    return std::regex_search(output, figure, stopped) ? std::stoi(figure[1]) : -1;
  }

  // Every subgroup once, in the order collected, and every time in `kept` among them.
  static void ExpectOnceInOrder(const std::vector<platform::SpcSubgroupData>& saved,
                                const std::vector<double>& kept) {
    for (size_t i = 1; i < saved.size(); ++i) {
      EXPECT_LT(saved[i - 1].time, saved[i].time)
          << "subgroup " << saved[i].id << " at " << runtime::FormatGeneralDate(saved[i].time);
    }
    for (double time : kept) {
      const auto at = std::count_if(saved.begin(), saved.end(), [&](const auto& subgroup) {
        return runtime::EpochSeconds(subgroup.time) == runtime::EpochSeconds(runtime::Date{time});
      });
      EXPECT_EQ(at, 1) << "kept subgroup of " << runtime::FormatGeneralDate(runtime::Date{time});
    }
  }

  // Each reading is a raw value of the weight from the few seconds before its subgroup's
  // time: a loaded machine may take that long between the query and the save.
  void ExpectHistorianValues(const std::vector<platform::SpcSubgroupData>& saved) const {
    constexpr double kWindow = 5.0 / 86400;
    platform::OdbcConnection connection;
    connection.Open("Driver=SQLite3;Database=" + historian_, "", "");
    for (const auto& subgroup : saved) {
      ASSERT_EQ(subgroup.readings.size(), 1u);
      auto rows = connection.Execute(
          "SELECT Value FROM ihRawData WHERE SamplingMode = 'RawByTime' AND Tagname = ? AND "
          "TimeStamp > ? AND TimeStamp <= ?",
          std::vector<runtime::Variant>{
              "LINE1.WEIGHT", runtime::Date{subgroup.time.serial - kWindow}, subgroup.time});
      std::vector<double> recent;
      for (; !rows->Eof(); rows->MoveNext())
        recent.push_back(runtime::ToDouble(rows->Field("Value")));
      EXPECT_NE(std::find(recent.begin(), recent.end(), subgroup.readings[0].value), recent.end())
          << runtime::FormatGeneralDate(subgroup.time) << " saved " << subgroup.readings[0].value;
    }
  }

  bool Logged(const std::string& text) const { return Log().find(text) != std::string::npos; }

  std::string historian_ = work_.File("historian.db");
};

TEST_F(SpoolHost, APostgresOutageLosesNoSubgroup) {
  auto database = spcdbtest::MakeStoppableDatabase(spcdbtest::Backend::PostgreSQL);
  if (!database) GTEST_SKIP() << "no PostgreSQL server here";
  const std::string spc = database->ConnectionString();
  auto histsim = StartHistorian();
  auto run = Start(DAM_PROGRAM, {"run", QString::fromStdString(Configuration()), "--spc",
                                 QString::fromStdString(spc), "--for", "120"});
  ASSERT_TRUE(WaitFor([&] { return SavedIn(spc).size() >= 2; }, 30)) << Log();

  ASSERT_TRUE(database->TakeAway());
  QThread::sleep(kOutage.count());
  const std::vector<double> kept = Spooled();
  EXPECT_GE(kept.size(), 10u) << Log();
  EXPECT_TRUE(Logged("\tSPC database unavailable, keeping subgroups locally\t")) << Log();
  EXPECT_FALSE(Logged("Subgroup Save Error")) << Log();
  EXPECT_EQ(run->state(), QProcess::Running);

  database->GiveBack();
  EXPECT_TRUE(WaitFor([&] { return Logged("\tSPC database available again\t"); }, 30)) << Log();
  const size_t after = SavedIn(spc).size();
  EXPECT_TRUE(WaitFor([&] { return SavedIn(spc).size() >= after + 2; }, 30)) << Log();
  Terminate(*run);
  histsim->kill();
  histsim->waitForFinished();

  const std::string output = run->readAll().toStdString();
  EXPECT_TRUE(std::regex_search(output, std::regex("\\| spooled \\d+ \\|"))) << output;
  const auto saved = SavedIn(spc);
  EXPECT_EQ(static_cast<int>(saved.size()), Stopped(output)) << output;
  ExpectOnceInOrder(saved, kept);
  ExpectHistorianValues(saved);
  EXPECT_TRUE(Spooled().empty());
  std::cout << "outage " << kOutage.count() << " s: " << kept.size() << " subgroups kept, "
            << saved.size() << " saved in all, " << Stopped(output) << " counted by dam\n";
}

TEST_F(SpoolHost, AHostKilledWhileForwardingForwardsTheRestOnceAfterARestart) {
  auto database = spcdbtest::MakeStoppableDatabase(spcdbtest::Backend::PostgreSQL);
  if (!database) GTEST_SKIP() << "no PostgreSQL server here";
  const std::string spc = database->ConnectionString();
  // Twenty characteristics make each forward long enough to be cut.
  const QString configuration = QString::fromStdString(Configuration(20));
  auto histsim = StartHistorian();
  auto run = Start(DAM_PROGRAM,
                   {"run", configuration, "--spc", QString::fromStdString(spc), "--for", "120"});
  ASSERT_TRUE(WaitFor([&] { return SavedIn(spc).size() >= 2; }, 30)) << Log();

  ASSERT_TRUE(database->TakeAway());
  QThread::sleep(kOutage.count());
  const std::vector<double> kept = Spooled();
  ASSERT_GE(kept.size(), 10u) << Log();
  database->GiveBack();
  // Killed as soon as the spool shrinks, before it is empty when the timing allows.
  size_t left = kept.size();
  const auto started = std::chrono::steady_clock::now();
  while (std::chrono::steady_clock::now() - started < std::chrono::seconds(30)) {
    left = Spooled().size();
    if (left < kept.size()) break;
  }
  run->kill();
  run->waitForFinished();
  std::cout << "killed with " << left << " of " << kept.size() << " kept subgroups left\n";
  EXPECT_LT(left, kept.size()) << "the forward never began";

  auto again = Start(DAM_PROGRAM,
                     {"run", configuration, "--spc", QString::fromStdString(spc), "--for", "60"});
  EXPECT_TRUE(WaitFor([&] { return Spooled().empty(); }, 30)) << Log();
  const size_t after = SavedIn(spc).size();
  EXPECT_TRUE(WaitFor([&] { return SavedIn(spc).size() >= after + 2; }, 30)) << Log();
  Terminate(*again);
  histsim->kill();
  histsim->waitForFinished();
  ExpectOnceInOrder(SavedIn(spc), kept);
}

TEST_F(SpoolHost, AnSqliteFileLockedByAnotherProgramLosesNoSubgroup) {
  // A lock held past the query timeout counts as the database not answering.
  std::ofstream(work_.File("settings/dam.ini")) << "[Connections]\r\nQueryTimeout=3\r\n";
  auto histsim = StartHistorian();
  auto run = Start(DAM_PROGRAM, {"run", QString::fromStdString(Configuration()), "--for", "120"});
  const std::string spc = "Driver=SQLite3;Database=" + work_.File("data/spc.db");
  ASSERT_TRUE(WaitFor(
      [&] {
        return std::filesystem::exists(work_.File("data/spc.db")) && SavedIn(spc).size() >= 2;
      },
      30))
      << Log();

  QProcess locker;
  locker.start("sqlite3", {QString::fromStdString(work_.File("data/spc.db"))});
  ASSERT_TRUE(locker.waitForStarted());
  locker.write("BEGIN EXCLUSIVE;\n");
  ASSERT_TRUE(locker.waitForBytesWritten());
  EXPECT_TRUE(WaitFor([&] { return Logged("\tSPC database unavailable"); }, 20)) << Log();
  // Held on for as long again once saves wait no more.
  QThread::sleep(kLock.count());
  const std::vector<double> kept = Spooled();
  locker.write("COMMIT;\n.quit\n");
  EXPECT_TRUE(locker.waitForBytesWritten());
  locker.closeWriteChannel();
  EXPECT_TRUE(locker.waitForFinished());
  EXPECT_GE(kept.size(), 2u) << Log();
  EXPECT_NE(Log().find("database is locked"), std::string::npos) << Log();

  EXPECT_TRUE(WaitFor([&] { return Logged("\tSPC database available again\t"); }, 90)) << Log();
  const size_t after = SavedIn(spc).size();
  EXPECT_TRUE(WaitFor([&] { return SavedIn(spc).size() >= after + 2; }, 30)) << Log();
  Terminate(*run);
  histsim->kill();
  histsim->waitForFinished();
  const std::string output = run->readAll().toStdString();
  const auto saved = SavedIn(spc);
  EXPECT_EQ(static_cast<int>(saved.size()), Stopped(output)) << output;
  ExpectOnceInOrder(saved, kept);
  ExpectHistorianValues(saved);
  std::cout << "lock " << kLock.count() << " s: " << kept.size() << " subgroups kept, "
            << saved.size() << " saved in all\n";
}

TEST_F(SpoolHost, ASubgroupTheDatabaseRefusesIsASaveErrorAndIsNotKept) {
  std::ofstream(work_.File("settings/dam.ini")) << "[Database]\r\nStrictTests=1\r\n";
  auto histsim = StartHistorian();
  const auto [exitCode, output] =
      Run(DAM_PROGRAM, {"run", QString::fromStdString(Configuration()), "--for", "4"});
  histsim->kill();
  histsim->waitForFinished();
  EXPECT_EQ(exitCode, 0) << output;
  EXPECT_TRUE(Logged("Subgroup Save Error")) << Log();
  EXPECT_TRUE(Logged("is not in the SPC database")) << Log();
  EXPECT_FALSE(Logged("keeping subgroups locally")) << Log();
  EXPECT_TRUE(Spooled().empty());
  EXPECT_EQ(output.find("spooled"), std::string::npos) << output;
}

TEST_F(SpoolHost, DamSpoolListsDropsOnlyWhenConfirmedAndForwards) {
  {
    platform::SpcSpool spool(work_.File("data/spool.db"), "test", int64_t{1} << 30,
                             [](const std::string&, const std::string&, const std::string&) {});
    for (int second = 0; second < 3; ++second) {
      platform::SpcSubgroupData subgroup;
      subgroup.time = runtime::MakeDate({2026, 1, 1, 10, 0, second});
      subgroup.sessionNumber = 7;
      subgroup.readings = {{"Fill", "Weight", 1, 10.5 + second, "", ""},
                           {"Fill", "Weight", 2, 11.5, "", ""}};
      spool.Keep(subgroup, spool.NewKey(subgroup), std::nullopt);
    }
  }
  auto [listed, list] = Run(DAM_PROGRAM, {"spool"});
  EXPECT_EQ(listed, 0) << list;
  EXPECT_NE(list.find("2026-01-01 10:00:01  session 7  2 reading(s)\n"), std::string::npos) << list;
  EXPECT_NE(list.find("3 subgroup(s) kept in "), std::string::npos) << list;

  const QStringList drop = {"spool", "drop", "--before", "2026-01-01 10:00:01"};
  for (const char* answer : {"\n", "n\n", "y\n"}) {
    auto process = Start(DAM_PROGRAM, drop);
    process->write(answer);
    process->closeWriteChannel();
    ASSERT_TRUE(process->waitForFinished(30'000));
    const std::string output = process->readAll().toStdString();
    SCOPED_TRACE(answer);
    EXPECT_NE(output.find("Drop 1 kept subgroup(s) collected before 2026-01-01 10:00:01?"),
              std::string::npos)
        << output;
    const bool yes = std::string(answer) == "y\n";
    EXPECT_EQ(process->exitCode(), yes ? 0 : 1) << output;
    EXPECT_EQ(Spooled().size(), yes ? 2u : 3u);
  }
  EXPECT_EQ(Run(DAM_PROGRAM, {"spool", "drop", "--before", "soon"}).first, 2);
  EXPECT_EQ(Run(DAM_PROGRAM, {"spool", "drop"}).first, 2);

  const std::string spc = "Driver=SQLite3;Database=" + work_.File("forwarded.db");
  auto [forwardedStatus, forwarded] =
      Run(DAM_PROGRAM, {"spool", "forward", "--spc", QString::fromStdString(spc)});
  EXPECT_EQ(forwardedStatus, 0) << forwarded;
  EXPECT_NE(forwarded.find("forwarded 2 subgroup(s); 0 still kept"), std::string::npos)
      << forwarded;
  const auto saved = SavedIn(spc);
  ASSERT_EQ(saved.size(), 2u);
  EXPECT_EQ(saved[0].time, runtime::MakeDate({2026, 1, 1, 10, 0, 1}));
  EXPECT_EQ(saved[1].readings[0].value, 12.5);
  EXPECT_TRUE(Logged("\tSPC database available again\tforwarded 2 kept subgroup(s)\t")) << Log();
}

}  // namespace
