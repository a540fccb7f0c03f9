// No subgroup is lost while the SPC database is away, through the real programs: dam keeps
// what it cannot save in its spool and forwards it when the database is back, grouped by
// fault: a PostgreSQL server stopped mid-run, the host killed while forwarding, an SQLite
// file, a PostgreSQL table or the spool another program keeps locked, a spool that cannot be read
// or cannot keep anything, and a subgroup the database refuses for itself.

#include <signal.h>

#include <QElapsedTimer>
#include <QThread>
#include <algorithm>
#include <chrono>
#include <filesystem>
#include <regex>

#include "platform/odbc/OdbcConnection.h"
#include "platform/spcdb/SpcReader.h"
#include "platform/spcdb/SpcSpool.h"
#include "runtime/Conversions.h"
#include "tests/apps/dam/DamProcesses.h"
#include "tests/support/TestDatabases.h"

namespace {

// Long enough for a dozen collections at one a second, short enough for every test run.
constexpr std::chrono::seconds kOutage{15};
constexpr std::chrono::seconds kLock{10};

class SpoolHost : public damtest::DamProcesses {
 protected:
  std::unique_ptr<QProcess> RunOn(const std::string& spc, const QString& config,
                                  const char* seconds = "120") {
    return Start(DAM_PROGRAM,
                 {"run", config, "--spc", QString::fromStdString(spc), "--for", seconds});
  }

  // Waits until `spc` holds two subgroups more than it does now.
  bool TwoMoreSaved(const std::string& spc) const {
    const auto count = [&] {
      return spc == Spc() && !std::filesystem::exists(work_.File("data/spc.db"))
                 ? 0
                 : Saved(spc).size();
    };
    const size_t before = count();
    return WaitFor([&] { return count() >= before + 2; }, 30);
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

  // A way to take the database away (a stop, a lock) for `seconds` and give it back; the log
  // says why the subgroups were kept (`said`).
  struct Outage {
    std::function<void()> away, back;
    std::chrono::seconds seconds;
    std::string said;
  };

  // Runs dam on `spc` through `outages` one after another: collection keeps its grid, and each
  // subgroup kept is forwarded once, in order.
  void ExpectOutagesLoseNothing(const std::string& spc, const std::vector<Outage>& outages) {
    StartHistorian();
    auto run = RunOn(spc, Configuration());
    ASSERT_TRUE(TwoMoreSaved(spc)) << Log();
    std::vector<double> kept;
    for (const Outage& outage : outages) {
      const auto logged = [&](const std::string& text) { return Count(Log(), text); };
      const size_t away = logged("\tSPC database unavailable"),
                   back = logged("\tSPC database available again\t");
      outage.away();
      EXPECT_TRUE(WaitFor([&] { return logged("\tSPC database unavailable") > away; }, 20))
          << Log();
      QThread::sleep(outage.seconds.count());
      const std::vector<double> spooled = Spooled();
      outage.back();
      // Saves wait for a lock 2 s, not the query timeout: the grid of one a second goes on.
      EXPECT_GE(spooled.size(), static_cast<size_t>(outage.seconds.count() * 2 / 3)) << Log();
      kept.insert(kept.end(), spooled.begin(), spooled.end());
      EXPECT_TRUE(Logged(outage.said)) << Log();
      EXPECT_FALSE(Logged("Subgroup Save Error")) << Log();
      EXPECT_EQ(run->state(), QProcess::Running);
      EXPECT_TRUE(WaitFor([&] { return logged("\tSPC database available again\t") > back; }, 90))
          << Log();
      EXPECT_TRUE(TwoMoreSaved(spc)) << Log();
    }
    Terminate(*run);
    StopHistorian();
    const std::string output = run->readAll().toStdString();
    EXPECT_TRUE(std::regex_search(output, std::regex("\\| spooled \\d+ \\|"))) << output;
    const auto saved = Saved(spc);
    EXPECT_EQ(static_cast<int>(saved.size()), Stopped(output)) << output;
    ExpectOnceInOrder(saved, kept);
    ExpectWeights(saved);
    EXPECT_TRUE(Spooled().empty());
  }

  // Each reading is one of the weight's last ten values, five seconds, at its subgroup's
  // time: a loaded machine may take that long between the query and the save.
  void ExpectWeights(const std::vector<platform::SpcSubgroupData>& saved) const {
    ExpectHistorianValues(saved, 1, 10, [](const auto&) { return "LINE1.WEIGHT"; });
  }
};

// One run through both: a stopped server, then a table another program keeps locked.
TEST_F(SpoolHost, APostgresOutageAndALockedTableLoseNoSubgroup) {
  auto database = spcdbtest::MakeStoppableDatabase(spcdbtest::Backend::PostgreSQL);
  if (!database) GTEST_SKIP() << "no PostgreSQL server here";
  platform::OdbcConnection locker;
  ExpectOutagesLoseNothing(
      database->ConnectionString(),
      {{[&] { EXPECT_TRUE(database->TakeAway()); }, [&] { database->GiveBack(); }, kOutage,
        "\tSPC database unavailable, keeping subgroups locally\t"},
       {[&] {
          locker.Open(database->ConnectionString(), "", "");
          locker.BeginTransaction();
          locker.Execute("LOCK TABLE subgroups");
        },
        [&] { locker.Commit(); }, kLock, "[SQLSTATE 55P03]"}});
}

// A server frozen mid-save answers neither the save nor its cancel. Frozen for longer than
// the time limits allow, each driver is said not to answer; a reload of a changed file does
// not wait for it and is taken, as said, once the server answers again, and so is a second
// change that renames it meanwhile: the driver is told answering first, and not said to wait
// again. Frozen again, the stop leaves both drivers behind after a few seconds and says so,
// never that they stopped, instead of waiting for systemd's SIGKILL, and fails with 4: a
// restart may find the server answering.
TEST_F(SpoolHost, AFrozenServerIsToldAndHoldsUpNeitherAReloadNorTheStop) {
  auto database = spcdbtest::MakeStoppableDatabase(spcdbtest::Backend::PostgreSQL);
  if (!database) GTEST_SKIP() << "no PostgreSQL server here";
  // Inside one call for 2 * (1 + 1) + 10 s is stuck.
  WriteFile("settings/dam.ini", "[Connections]\r\nLoginTimeout=1\r\nQueryTimeout=1\r\n");
  StartHistorian();
  const std::string width = damtest::kWeight + "TEST=Fill\tWidth\t%TAG(LINE1.WIDTH)\t\n";
  auto run =
      Start(DAM_PROGRAM, {"run", Configuration(), Line("line2.cfg", "Line 2", historian_), "--spc",
                          QString::fromStdString(database->ConnectionString()), "--for", "120"});
  ASSERT_TRUE(TwoMoreSaved(database->ConnectionString())) << Log();
  ASSERT_TRUE(database->Freeze(true));
  std::string output;
  EXPECT_TRUE(Says(*run, output, "| last error Driver Not Answering: inside one database call", 30))
      << output;
  Configuration(width);
  Signal(*run, SIGHUP);
  EXPECT_TRUE(
      Says(*run, output, "Line 1: not answering: its change is taken once it answers again", 5))
      << output;
  Line("line.cfg", "Line 1x", historian_, width);
  Signal(*run, SIGHUP);
  EXPECT_TRUE(WaitFor([&] { return Says(*run, output, ""), Count(output, "reloading ") == 2; }, 5));
  database->Freeze(false);
  EXPECT_TRUE(Says(*run, output, "| last error Driver Answering Again: back after", 15)) << output;
  EXPECT_TRUE(
      WaitFor([&] { return Says(*run, output, ""), Count(output, "historian: ") == 4; }, 15))
      << "both changes taken: " << output;
  EXPECT_HAS(output, "Line 1: renamed: stopped, to start again");
  EXPECT_EQ(Count(output, "not answering"), 1u) << output;
  const std::string log = Log();
  for (const char* line : {"Line 1", "Line 2"}) {
    for (const char* told : {"Driver Not Answering", "Driver Answering Again"}) {
      EXPECT_TRUE(std::regex_search(log, std::regex(std::string(line) + "\t[^\t]*\t" + told)))
          << line << " " << told << "\n"
          << log;
    }
  }

  ASSERT_TRUE(database->Freeze(true));
  QThread::sleep(2);
  QElapsedTimer clock;
  clock.start();
  run->terminate();
  const bool finished = run->waitForFinished(20'000);
  database->Freeze(false);
  ASSERT_TRUE(finished);
  EXPECT_LT(clock.elapsed(), 10'000);
  output += run->readAll().toStdString();
  EXPECT_EQ(Count(output, "stopped while it waited on a database that does not answer"), 2u)
      << output;
  EXPECT_LACKS(output, ": stopped after");
  EXPECT_EQ(run->exitCode(), 4) << output;
}

TEST_F(SpoolHost, AHostKilledWhileForwardingForwardsTheRestOnceAfterARestart) {
  auto database = spcdbtest::MakeStoppableDatabase(spcdbtest::Backend::PostgreSQL);
  if (!database) GTEST_SKIP() << "no PostgreSQL server here";
  const std::string spc = database->ConnectionString();
  // Twenty characteristics, all from the weight, make each forward long enough to be cut.
  std::string weights;
  for (int t = 1; t <= 20; ++t)
    weights += "TEST=Fill\tW" + std::to_string(t) + "\t%TAG(LINE1.WEIGHT)\t\n";
  const QString configuration = Configuration(weights);
  StartHistorian();
  auto run = RunOn(spc, configuration);
  ASSERT_TRUE(TwoMoreSaved(spc)) << Log();

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
  EXPECT_LT(left, kept.size()) << "the forward never began";

  auto again = RunOn(spc, configuration, "60");
  EXPECT_TRUE(WaitFor([&] { return Spooled().empty(); }, 30)) << Log();
  EXPECT_TRUE(TwoMoreSaved(spc)) << Log();
  Terminate(*again);
  StopHistorian();
  ExpectOnceInOrder(Saved(spc), kept);
}

TEST_F(SpoolHost, AnSqliteFileLockedByAnotherProgramLosesNoSubgroup) {
  QProcess locker;
  ExpectOutagesLoseNothing(
      Spc(), {{[&] {
                 locker.start("sqlite3", {QString::fromStdString(work_.File("data/spc.db"))});
                 ASSERT_TRUE(locker.waitForStarted());
                 locker.write("BEGIN EXCLUSIVE;\n");
                 ASSERT_TRUE(locker.waitForBytesWritten());
               },
               [&] {
                 locker.write("COMMIT;\n.quit\n");
                 EXPECT_TRUE(locker.waitForBytesWritten());
                 locker.closeWriteChannel();
                 EXPECT_TRUE(locker.waitForFinished());
               },
               kLock, "database is locked"}});

  // A host killed with subgroups kept leaves them in the spool. The next finds the spool held
  // by another program and reads it once it is free, though its line (hourly) saves nothing
  // that would look at the spool.
  StartHistorian();
  const auto database = damtest::Lock(Spc());
  auto killed = RunOn(Spc(), Configuration());
  ASSERT_TRUE(WaitFor([&] { return Spooled().size() >= 2; }, 30)) << Log();
  killed->kill();
  killed->waitForFinished();
  database->Execute("ROLLBACK");
  StopHistorian();
  const std::vector<double> kept = Spooled();
  const auto spool = damtest::Lock("Driver=SQLite3;Database=" + work_.File("data/spool.db"));
  auto hourly = RunOn(Spc(), Configuration(damtest::kWeight, 2, 2));
  ASSERT_TRUE(WaitFor([&] { return Logged("The local spool is in use and is read later"); }, 30))
      << Log();
  spool->Execute("ROLLBACK");
  EXPECT_TRUE(WaitFor([&] { return Spooled().empty(); }, 15)) << Log();
  Terminate(*hourly);
  ExpectOnceInOrder(Saved(Spc()), kept);
}

// A spool that is no database is moved aside at start; one that cannot keep anything
// (MaxBytes below what its tables take) loses the subgroups the locked database refuses
// too, each logged and counted.
TEST_F(SpoolHost, AnUnreadableSpoolIsMovedAsideAndWhatNeitherTakesIsCounted) {
  WriteFile("data/spool.db",
            "not a database, and long enough to be read as one: " + std::string(1000, '-'));
  WriteFile("settings/dam.ini", "[Spool]\r\nMaxBytes=1\r\n");
  StartHistorian();
  auto run = Start(DAM_PROGRAM, {"run", Configuration(), "--ndjson", "--for", "120"},
                   QProcess::SeparateChannels);
  ASSERT_TRUE(TwoMoreSaved(Spc())) << Log();
  EXPECT_TRUE(Logged("The local spool could not be read and was moved aside")) << Log();
  EXPECT_TRUE(Logged(work_.File("data/spool.db.corrupt-"))) << Log();

  const auto locker = damtest::Lock(Spc());
  EXPECT_TRUE(WaitFor([&] { return Logged("Subgroup lost"); }, 20)) << Log();
  locker->Execute("COMMIT");
  EXPECT_TRUE(TwoMoreSaved(Spc())) << Log();
  Terminate(*run);
  StopHistorian();
  const std::vector<std::string> lines = Lines(run->readAllStandardOutput().toStdString());
  ASSERT_GE(lines.size(), 2u);
  const size_t lost = Count(Log(), "\tSubgroup lost: ");
  // The last status, before the run's "stopped".
  const std::string& last = lines[lines.size() - 2];
  EXPECT_HAS(last, "\"lost\":" + std::to_string(lost) + ",");
  EXPECT_HAS(last, "\"spooled\":0,");
  ExpectOnceInOrder(Saved(Spc()), {});
}

TEST_F(SpoolHost, ASubgroupTheDatabaseRefusesIsASaveErrorAndIsNotKept) {
  WriteFile("settings/dam.ini", "[Database]\r\nStrictTests=1\r\n");
  StartHistorian();
  const auto [exitCode, output] = Dam({"run", Configuration(), "--for", "4"});
  StopHistorian();
  EXPECT_EQ(exitCode, 0) << output;
  EXPECT_TRUE(Logged("Subgroup Save Error")) << Log();
  EXPECT_TRUE(Logged("is not in the SPC database")) << Log();
  EXPECT_FALSE(Logged("keeping subgroups locally")) << Log();
  EXPECT_TRUE(Spooled().empty());
  EXPECT_LACKS(output, "spooled");
}

TEST_F(SpoolHost, DamSpoolListsDropsOnlyWhenConfirmedAndForwards) {
  // A damaged spool is moved aside; the listing says so, not that there never was one.
  WriteFile("data/spool.db",
            "not a database, and long enough to be read as one: " + std::string(1000, '-'));
  auto [damaged, said] = Dam({"spool"});
  EXPECT_EQ(damaged, 1) << said;
  EXPECT_HAS(said,
             "was damaged and has been moved aside to " + work_.File("data/spool.db.corrupt-"));
  std::filesystem::remove(work_.File("data/spool.db"));
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
  auto [listed, list] = Dam({"spool"});
  EXPECT_EQ(listed, 0) << list;
  EXPECT_HAS(list, "2026-01-01 10:00:01  session 7  2 reading(s)\n");
  EXPECT_HAS(list, "3 subgroup(s) kept in ");

  const QStringList drop = {"spool", "drop", "--before", "2026-01-01 10:00:01"};
  for (const char* answer : {"\n", "n\n", "y\n"}) {
    auto process = Start(DAM_PROGRAM, drop);
    process->write(answer);
    process->closeWriteChannel();
    ASSERT_TRUE(process->waitForFinished(30'000));
    const std::string output = process->readAll().toStdString();
    SCOPED_TRACE(answer);
    EXPECT_HAS(output, "Drop 1 kept subgroup(s) collected before 2026-01-01 10:00:01?");
    const bool yes = std::string(answer) == "y\n";
    EXPECT_EQ(process->exitCode(), yes ? 0 : 1) << output;
    EXPECT_EQ(output.find("dropped 1 subgroup(s)") != std::string::npos, yes) << output;
    EXPECT_EQ(Spooled().size(), yes ? 2u : 3u);
  }

  const std::string spc = "Driver=SQLite3;Database=" + work_.File("forwarded.db");
  auto [forwardedStatus, forwarded] =
      Dam({"spool", "forward", "--spc", QString::fromStdString(spc)});
  EXPECT_EQ(forwardedStatus, 0) << forwarded;
  EXPECT_HAS(forwarded, "forwarded 2 subgroup(s); 0 still kept");
  const auto saved = Saved(spc);
  ASSERT_EQ(saved.size(), 2u);
  EXPECT_EQ(saved[0].time, runtime::MakeDate({2026, 1, 1, 10, 0, 1}));
  EXPECT_EQ(saved[1].readings[0].value, 12.5);
  EXPECT_TRUE(Logged("\tSPC database available again\tforwarded 2 kept subgroup(s)\t")) << Log();
}

}  // namespace
