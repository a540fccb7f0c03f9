// The whole job through the real programs: histsim moves a SQLite historian, dam runs the
// registered driver on it, and the subgroups land in a SQLite SPC database.
#include <gtest/gtest.h>

#include <QThread>
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <regex>
#include <tuple>

#include "platform/odbc/OdbcConnection.h"
#include "platform/spcdb/SpcReader.h"
#include "platform/spcdb/SpcSession.h"
#include "runtime/Conversions.h"
#include "tests/dam/DamProcesses.h"

namespace {

class EndToEnd : public damtest::DamProcesses {
 protected:
  // A line configuration on `historian`, collecting every `interval` seconds.
  std::string LineConfiguration(const std::string& historian, int interval) {
    const std::string path = work_.File("line.cfg");
    std::ofstream(path)
        << "NAME=Line 1\nACTIVE=1\nDATALINK=Driver=SQLite3;Database=" << historian
        << ";NoCreat=1\nSYNCTIME=0\nSUBGROUPINTERVAL=" << interval
        << "\nSUBGROUPUNIT=0\nRETRYINTERVAL=1\n"
           "RETRYUNIT=0\nDESCRIPTOR=1\tProducts\t%TAG(LINE1.PARTNO)\nDESCRIPTOR=5\tShifts\tDay\n"
           "DESCRIPTOR=4\t\t%TAG(LINE1.LOT)\nCONDITION=0\t%TAG(LINE1.COUNTER)\t0\t\n"
           "TEST=Fill\tWeight\t%TAG(LINE1.WEIGHT)\t\nTEST=Fill\tWeight\t%TAG(LINE1.WEIGHT2)\t\n"
           "TEST=Fill\tWidth\t%TAG(LINE1.WIDTH)\t\n";
    return path;
  }

  std::vector<platform::SpcSubgroupData> Saved(const std::string& file) {
    platform::SpcSession spc;
    spc.Settings().SetConnection("Driver=SQLite3;Database=" + file);
    spc.Open(1, 0);
    return platform::ReadSubgroups(spc, 1000);
  }
};

TEST_F(EndToEnd, ALateHistorianIsRecordedThenItsValuesAreSaved) {
  const std::string historian = work_.File("historian.db");
  auto run = Start(DAM_PROGRAM, {"run", QString::fromStdString(LineConfiguration(historian, 2)),
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

  const auto saved = Saved(work_.File("data/spc.db"));
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
  EXPECT_EQ(exitCode, 3) << "the configuration is invalid";
  EXPECT_NE(output.find("\"text\": \"NAME=Half\\r\\nACTIVE=0"), std::string::npos) << output;
  EXPECT_NE(output.find("\"number\": 13"), std::string::npos) << output;
  EXPECT_NE(output.find("\"source\": \"Configuration1.SetData, line 2 of the configuration text\""),
            std::string::npos);
}

TEST_F(EndToEnd, TwoRunsOnOneDatabaseEachCountAndStopOnTheirOwnSubgroups) {
  const std::string historian = work_.File("historian.db");
  auto histsim =
      Start(HISTSIM_PROGRAM, {QString::fromStdString(historian), "--period", "0.5", "--for", "60"});
  for (int wait = 0; wait < 100 && !std::filesystem::exists(historian); ++wait)
    QThread::msleep(100);
  const QString configuration = QString::fromStdString(LineConfiguration(historian, 1));
  std::unique_ptr<QProcess> runs[2];
  for (auto& run : runs) {
    run = Start(DAM_PROGRAM, {"run", configuration, "--subgroups", "3", "--for", "50"});
  }
  int64_t counted = 0;
  const std::regex stopped("stopped after (\\d+) subgroup");
  for (auto& run : runs) {
    EXPECT_TRUE(run->waitForFinished(60'000));
    const std::string output = run->readAll().toStdString();
    std::smatch figure;
    ASSERT_TRUE(std::regex_search(output, figure, stopped)) << output;
    EXPECT_GE(std::stoi(figure[1]), 3) << output;
    counted += std::stoi(figure[1]);
  }
  histsim->kill();
  histsim->waitForFinished();
  EXPECT_EQ(static_cast<int64_t>(Saved(work_.File("data/spc.db")).size()), counted)
      << "each run counted only its own subgroups";
}

TEST_F(EndToEnd, TheSpcDatabaseIsTheFlagElseTheEnvironmentElseDamIniElseTheDataFolder) {
  const std::string flag = work_.File("flag.db"), environment = work_.File("environment.db"),
                    setting = work_.File("setting.db"), fallback = work_.File("data/spc.db");
  const std::string ini = work_.File("settings/dam.ini");
  std::ofstream(ini) << "[Database]\r\nConnection=Driver=SQLite3;Database=" << setting << "\r\n";
  struct Case {
    QStringList flag;
    std::string environment;
    bool ini;
    std::string chosen;
  };
  const Case cases[] = {
      {{"--spc", QString::fromStdString("Driver=SQLite3;Database=" + flag)},
       "Driver=SQLite3;Database=" + environment,
       true,
       flag},
      {{}, "Driver=SQLite3;Database=" + environment, true, environment},
      {{}, "", true, setting},
      {{}, "", false, fallback},
  };
  // Reading creates nothing: the command names the database it would have read.
  for (const Case& c : cases) {
    environment_.insert("DAM_SPC_CONNECTION", QString::fromStdString(c.environment));
    if (!c.ini) std::filesystem::remove(ini);
    const auto [exitCode, output] = Run(DAM_PROGRAM, QStringList{"subgroups"} + c.flag);
    EXPECT_EQ(exitCode, 4) << output;
    EXPECT_NE(output.find("there is no SPC database at " + c.chosen + "\n"), std::string::npos)
        << output;
    for (const std::string& file : {flag, environment, setting, fallback}) {
      EXPECT_FALSE(std::filesystem::exists(file)) << file;
    }
  }
}

TEST_F(EndToEnd, PasswordsAreMaskedAndAnIniOthersCanReadWithOneIsWarnedAbout) {
  const std::string ini = work_.File("settings/dam.ini");
  const std::string spc = "Driver=SQLite3;Database=" + work_.File("spc.db");
  const std::tuple<std::string, std::filesystem::perms, bool> settings[] = {
      {spc + ";MyPassword=hunter2", std::filesystem::perms(0644), true},
      {spc + ";MyPassword=hunter2", std::filesystem::perms(0600), false},
      {spc, std::filesystem::perms(0644), false},
  };
  for (const auto& [connection, mode, warned] : settings) {
    std::ofstream(ini) << "[Database]\r\nConnection=" << connection << "\r\n";
    std::filesystem::permissions(ini, mode);
    const std::string output = Run(DAM_PROGRAM, {"subgroups"}).second;
    EXPECT_EQ(output.find("dam: warning: " + ini +
                          " holds a password that other users can read; make it owner-only: "
                          "chmod 600 " +
                          ini) != std::string::npos,
              warned)
        << connection << '\n'
        << output;
    EXPECT_EQ(output.find("hunter2"), std::string::npos) << output;
  }

  const std::string config = work_.File("secret.cfg");
  std::ofstream(config) << "NAME=Secret\nACTIVE=1\nDATALINK=Driver=SQLite3;Database="
                        << work_.File("none.db") << ";NoCreat=1; PWD = hunter2\n";
  const QString path = QString::fromStdString(config);
  for (const QStringList& args :
       {QStringList{"config", "show", path}, QStringList{"config", "show", "--json", path}}) {
    const std::string output = Run(DAM_PROGRAM, args).second;
    EXPECT_NE(output.find(";NoCreat=1; PWD =***"), std::string::npos) << output;
    EXPECT_EQ(output.find("hunter2"), std::string::npos) << output;
  }
  const std::string shown = Run(DAM_PROGRAM, {"config", "show", "--show-secrets", path}).second;
  EXPECT_NE(shown.find("; PWD = hunter2"), std::string::npos) << shown;
}

}  // namespace
