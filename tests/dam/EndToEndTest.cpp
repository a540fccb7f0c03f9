// The whole job through the real programs: histsim moves a SQLite historian, dam runs the
// registered driver on it, and the subgroups land in a SQLite SPC database.
#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <map>

#include "platform/odbc/OdbcConnection.h"
#include "platform/spcdb/SpcReader.h"
#include "platform/spcdb/SpcSession.h"
#include "runtime/Conversions.h"
#include "tests/dam/DamProcesses.h"

namespace {

using EndToEnd = damtest::DamProcesses;

TEST_F(EndToEnd, ALateHistorianIsRecordedThenItsValuesAreSaved) {
  const std::string historian = work_.File("historian.db");
  std::ofstream(work_.File("line.cfg"))
      << "NAME=Line 1\nACTIVE=1\nDATALINK=Driver=SQLite3;Database=" << historian
      << ";NoCreat=1\nSYNCTIME=0\nSUBGROUPINTERVAL=2\nSUBGROUPUNIT=0\nRETRYINTERVAL=1\n"
         "RETRYUNIT=0\nDESCRIPTOR=1\tProducts\t%TAG(LINE1.PARTNO)\nDESCRIPTOR=5\tShifts\tDay\n"
         "DESCRIPTOR=4\t\t%TAG(LINE1.LOT)\nCONDITION=0\t%TAG(LINE1.COUNTER)\t0\t\n"
         "TEST=Fill\tWeight\t%TAG(LINE1.WEIGHT)\t\nTEST=Fill\tWeight\t%TAG(LINE1.WEIGHT2)\t\n"
         "TEST=Fill\tWidth\t%TAG(LINE1.WIDTH)\t\n";
  auto run = Start(DAM_PROGRAM, {"run", QString::fromStdString(work_.File("line.cfg")),
                                 "--subgroups", "3", "--for", "40"});
  const char* missing = "\tUnable to Access Database\t";
  WaitFor([&] { return Log().find(missing) != std::string::npos; }, 20);
  EXPECT_NE(Log().find(missing), std::string::npos) << Log();
  EXPECT_EQ(run->state(), QProcess::Running) << "dam keeps running without its historian";

  auto histsim =
      Start(HISTSIM_PROGRAM, {QString::fromStdString(historian), "--period", "0.5", "--for", "60"});
  EXPECT_TRUE(run->waitForFinished(60'000));
  histsim->kill();
  histsim->waitForFinished();
  const std::string output = run->readAll().toStdString();
  ASSERT_EQ(run->exitCode(), 0) << output;

  platform::SpcSession spc;
  spc.Settings().SetConnection("Driver=SQLite3;Database=" + work_.File("data/spc.db"));
  spc.Open(1, 0);
  const auto saved = platform::ReadSubgroups(spc, 100);
  ASSERT_GE(saved.size(), 3u) << output << Log();
  platform::OdbcConnection connection;
  connection.Open("Driver=SQLite3;Database=" + historian, "", "");
  const std::map<std::pair<std::string, int>, std::string> tagOf = {
      {{"Weight", 1}, "LINE1.WEIGHT"},
      {{"Weight", 2}, "LINE1.WEIGHT2"},
      {{"Width", 1}, "LINE1.WIDTH"}};
  for (const auto& subgroup : saved) {
    ASSERT_TRUE(subgroup.part && subgroup.lot && subgroup.shift);
    EXPECT_EQ(subgroup.shift->name, "Day");
    ASSERT_EQ(subgroup.readings.size(), 3u);
    for (const auto& reading : subgroup.readings) {
      // The query runs just before the save; the historian may have moved once between.
      const std::string tag = tagOf.at({reading.test, reading.sample});
      auto rows = connection.Execute(
          "SELECT Value FROM ihRawData WHERE SamplingMode = 'RawByTime' AND Tagname = ? AND "
          "TimeStamp <= ? ORDER BY TimeStamp DESC LIMIT 2",
          std::vector<runtime::Variant>{tag, subgroup.time});
      std::vector<double> latest;
      for (; !rows->Eof(); rows->MoveNext())
        latest.push_back(runtime::ToDouble(rows->Field("Value")));
      EXPECT_NE(std::find(latest.begin(), latest.end(), reading.value), latest.end())
          << tag << " saved " << reading.value;
    }
  }
}

TEST_F(EndToEnd, ConfigShowReportsAnUnreadableConfiguration) {
  std::ofstream(work_.File("bad.cfg")) << "NAME=Half\r\nACTIVE=maybe\r\nNAME=Never";
  const auto [exitCode, output] =
      Run(DAM_PROGRAM, {"config", "show", "--json", QString::fromStdString(work_.File("bad.cfg"))});
  EXPECT_EQ(exitCode, 2);
  EXPECT_NE(output.find("\"text\": \"NAME=Half\\r\\nACTIVE=0"), std::string::npos) << output;
  EXPECT_NE(output.find("\"number\": 13"), std::string::npos) << output;
  EXPECT_NE(output.find("\"source\": \"Configuration1.SetData, line 2 of the configuration text\""),
            std::string::npos);
}

}  // namespace
