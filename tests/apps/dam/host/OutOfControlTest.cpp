// Saved subgroups checked against their control limits while dam runs, on a real SQLite SPC
// database: a point beyond the limits is reported once, an in-control one never, and a
// database the check cannot read is reported without ending anything. A run that ends, or a
// reload that removes a line, still hears of its last subgroups, and of the failures.

#include <signal.h>

#include <QEventLoop>
#include <chrono>
#include <filesystem>

#include "apps/dam/host/OutOfControlCheck.h"
#include "apps/dam/output/JsonOutput.h"
#include "platform/odbc/OdbcConnection.h"
#include "runtime/Clock.h"
#include "tests/apps/dam/DamProcesses.h"
#include "tests/support/Historian.h"

namespace {

using namespace std::chrono_literals;

// What the check reports, on this thread's event loop.
struct Reports {
  std::vector<dam::OutOfControl> found;
  std::vector<std::string> failures;

  Reports() { damtest::EnsureApplication(); }
  static bool WaitFor(const std::function<bool()>& done) {
    const auto giveUp = std::chrono::steady_clock::now() + 30s;
    while (!done() && std::chrono::steady_clock::now() < giveUp) {
      QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents, 100);
    }
    return done();
  }
  dam::OutOfControlCheck::Report Report() {
    return [this](const dam::OutOfControl& f) { found.push_back(f); };
  }
  dam::OutOfControlCheck::Failed Failed() {
    return [this](const runtime::Error& e) { failures.push_back(e.Description()); };
  }
};

TEST(OutOfControlCheck, APointBeyondTheLimitsIsReportedOnceAnUnreadableDatabaseAsAFailure) {
  testsupport::TempFolder folder;
  const std::string spc = "Driver=SQLite3;Database=" + folder.File("spc.db");
  const auto line = damtest::SpcWriter(spc, "Line 1");
  const auto other = damtest::SpcWriter(spc, "Line 2");
  damtest::SaveSubgroup(line, runtime::Now(), 10.0);
  Reports reports;
  dam::OutOfControlCheck check(spc, {}, "Line 1", platform::kDefaultRules, reports.Report(),
                               reports.Failed());
  // In control: no rule of 1 to 4 breaks, and the other configuration's outlier is not ours.
  const double values[] = {10.0, 10.3, 9.8,  10.1, 10.1, 9.9,  10.2, 9.7,
                           10.0, 10.2, 10.2, 9.9,  10.0, 10.3, 9.8};
  runtime::Date time = *runtime::ParseDate("2026-11-23 08:00:00");
  for (const double value : values) {
    time.serial += 1.0 / 86400;
    damtest::SaveSubgroup(line, time, value);
    check.Saved();
  }
  damtest::SaveSubgroup(other, time, 99.0);
  const runtime::Date outlier{time.serial + 1.0 / 86400};
  damtest::SaveSubgroup(line, outlier, 20.0);
  check.Saved();
  ASSERT_TRUE(reports.WaitFor([&] { return !reports.found.empty(); }));
  ASSERT_EQ(reports.found.size(), 1u);
  const dam::OutOfControl& found = reports.found.front();
  EXPECT_EQ(found.configuration, "Line 1");
  EXPECT_EQ(found.test, "Fill/Weight");
  EXPECT_EQ(runtime::FormatGeneralDate(found.time), runtime::FormatGeneralDate(outlier));
  EXPECT_EQ(found.rules, platform::Rule(1));
  EXPECT_EQ(found.spreadRules, platform::Rule(1)) << "a moving range of 10 is beyond 3.267 MR";
  EXPECT_TRUE(reports.failures.empty());
  // The run ends: a save it was not told of yet is checked, and told with no event loop.
  const runtime::Date last{outlier.serial + 1.0 / 86400};
  damtest::SaveSubgroup(line, last, 40.0);
  ASSERT_EQ(check.Finish().wait_for(30s), std::future_status::ready);
  check.TellNow();
  ASSERT_EQ(reports.found.size(), 2u);
  EXPECT_EQ(runtime::FormatGeneralDate(reports.found[1].time), runtime::FormatGeneralDate(last));

  // A database the check cannot read is reported, and the check goes on.
  dam::OutOfControlCheck unreadable("Driver=SQLite3;Database=" + folder.File("no/such/spc.db"), {},
                                    "Line 1", platform::kDefaultRules, reports.Report(),
                                    reports.Failed());
  ASSERT_TRUE(reports.WaitFor([&] { return reports.failures.size() == 1; }));
  unreadable.Saved();
  ASSERT_TRUE(reports.WaitFor([&] { return reports.failures.size() == 2; }));
  ASSERT_EQ(unreadable.Finish().wait_for(30s), std::future_status::ready);
  unreadable.TellNow();
  EXPECT_EQ(reports.failures.size(), 3u);
}

using OutOfControlRun = damtest::DamProcesses;

// Subgroups of about 1000 saved before the run: the historian's weights of about 500 are far
// below their limits, the run's last one too, which is reported before the run ends. So is
// the last one of a line a reload removes while its collection waits on a locked historian.
TEST_F(OutOfControlRun, ARunReportsAPointBeyondTheLimitsAsOneEventAndOneLine) {
  const auto before = damtest::SpcWriter(Spc(), "Line 1");
  runtime::Date time = *runtime::ParseDate("2026-11-23 08:00:00");
  for (const double value : {1000.0, 1000.5, 999.5, 1000.2, 999.8, 1000.1, 999.9, 1000.3}) {
    time.serial += 1.0 / 86400;
    damtest::SaveSubgroup(before, time, value);
  }
  StartHistorian();
  for (const bool ndjson : {true, false}) {
    QStringList args = {"run", Configuration(), "--subgroups", "2", "--rules", "1"};
    if (ndjson) args << "--ndjson";
    auto run = Start(DAM_PROGRAM, args, QProcess::SeparateChannels);
    ASSERT_TRUE(run->waitForFinished(60'000));
    const std::string output = run->readAllStandardOutput().toStdString();
    const runtime::Date last = Saved(Spc()).back().time;
    const std::string kind = ndjson ? "\"event\":\"out-of-control\"" : "out of control: Line 1 ";
    const std::string at = ndjson ? "\"time\":\"" + dam::IsoTime(last) + "\""
                                  : " at " + runtime::FormatGeneralDate(last) + " ";
    std::string line;
    for (const std::string& one : Lines(output)) {
      if (one.find(kind) != std::string::npos && one.find(at) != std::string::npos) line = one;
    }
    ASSERT_FALSE(line.empty()) << output;
    for (const std::string& field :
         ndjson ? std::vector<std::string>{"\"configuration\":\"Line 1\"",
                                           "\"test\":\"Fill/Weight\"", "\"rules\":[1]"}
                : std::vector<std::string>{"Fill/Weight at ", " breaks rules 1"}) {
      EXPECT_HAS(line, field);
    }
    EXPECT_LACKS(run->readAllStandardError().toStdString(), "check failed");
  }

  const std::string locked = work_.File("locked.db"), plant = work_.Subfolder("plant.d");
  damtest::CreateLockableHistorian(locked);
  WriteFile("settings/dam.ini", "[Connections]\r\nQueryTimeout=0\r\n");
  Line("plant.d/line.cfg", "Line 1", locked);
  Line("plant.d/clock.cfg", "Clock", historian_);
  auto run = Start(DAM_PROGRAM, {"run", QString::fromStdString(plant), "--rules", "1"});
  std::string output;
  ASSERT_TRUE(Says(*run, output, "Line 1: running | saved 1 ")) << output;
  const auto holder = damtest::Lock(testsupport::SqliteLink(locked));
  // Two of the clock line's saves on, line 1's collection waits on the lock.
  const size_t from = output.size();
  ASSERT_TRUE(WaitFor(
      [&] {
        return Says(*run, output, ""), Count(output.substr(from), "Clock: running | saved") >= 2;
      },
      30))
      << output;
  std::filesystem::remove(plant + "/line.cfg");
  Signal(*run, SIGHUP);
  ASSERT_TRUE(Says(*run, output, "reloading ")) << output;
  holder->Execute("ROLLBACK");
  ASSERT_TRUE(Says(*run, output, "Line 1: removed: stopped after")) << output;
  Terminate(*run);
  runtime::Date last{};
  for (const platform::SpcSubgroupData& subgroup : Saved(Spc())) {
    if (subgroup.configuration == "Line 1") last = subgroup.time;
  }
  const size_t told =
      output.find("out of control: Line 1 Fill/Weight at " + runtime::FormatGeneralDate(last));
  EXPECT_LT(told, output.find("Line 1: removed")) << output;
}

}  // namespace
