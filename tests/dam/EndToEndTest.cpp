// The whole job through the real programs: histsim moves a SQLite historian, dam runs the
// registered driver on it, and the subgroups land in a SQLite SPC database.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QProcess>
#include <QThread>
#include <fstream>
#include <map>
#include <sstream>

#include "platform/odbc/OdbcConnection.h"
#include "platform/spcdb/SpcReader.h"
#include "platform/spcdb/SpcSession.h"
#include "runtime/Conversions.h"
#include "tests/support/TempFolder.h"

namespace {

class EndToEnd : public ::testing::Test {
 protected:
  EndToEnd() {
    environment_ = QProcessEnvironment::systemEnvironment();
    const std::pair<const char*, std::string> folders[] = {
        {"DAM_REGISTRY_FILE", work_.File("drivers.registry")},
        {"DAM_LOG_DIR", work_.Subfolder("log")},
        {"DAM_SETTINGS_DIR", work_.Subfolder("settings")},
        {"DAM_COMPONENT_DIR", work_.Subfolder("components")},
        {"DAM_DATA_DIR", work_.Subfolder("data")}};
    for (const auto& [name, value] : folders) {
      environment_.insert(name, QString::fromStdString(value));
    }
    EXPECT_EQ(Run(DAM_PROGRAM, {"register", DAM_MODULE_PATH}).exitCode, 0);
  }

  struct Finished {
    int exitCode;
    std::string output;
  };

  std::unique_ptr<QProcess> Start(const char* program, const QStringList& args) {
    auto process = std::make_unique<QProcess>();
    process->setProcessEnvironment(environment_);
    process->setProcessChannelMode(QProcess::MergedChannels);
    process->start(program, args);
    EXPECT_TRUE(process->waitForStarted());
    return process;
  }

  Finished Run(const char* program, const QStringList& args) {
    auto process = Start(program, args);
    EXPECT_TRUE(process->waitForFinished(120'000));
    return {process->exitCode(), process->readAll().toStdString()};
  }

  std::string WriteConfiguration(const std::string& historian, int subgroupSeconds) {
    const std::string path = work_.File("line.cfg");
    std::ofstream(path)
        << "NAME=Line 1\nACTIVE=1\nDATALINK=Driver=SQLite3;Database=" << historian
        << ";NoCreat=1\nSYNCTIME=0\nSUBGROUPINTERVAL=" << subgroupSeconds
        << "\nSUBGROUPUNIT=0\nRETRYINTERVAL=1\nRETRYUNIT=0\n"
           "DESCRIPTOR=1\tProducts\t%TAG(LINE1.PARTNO)\nDESCRIPTOR=4\t\t%TAG(LINE1.LOT)\n"
           "DESCRIPTOR=5\tShifts\tDay\n"
           "TEST=Fill\tWeight\t%TAG(LINE1.WEIGHT)\t\nTEST=Fill\tWeight\t%TAG(LINE1.WEIGHT2)\t\n"
           "TEST=Fill\tWidth\t%TAG(LINE1.WIDTH)\t\n"
           "CONDITION=0\t%TAG(LINE1.COUNTER)\t0\t\n";
    return path;
  }

  std::vector<platform::SpcSubgroupData> Saved() {
    platform::SpcSession session;
    session.Settings().SetConnection("Driver=SQLite3;Database=" + work_.File("data/spc.db"));
    session.Open(1, 0);
    return platform::ReadSubgroups(session, 100);
  }

  std::string Log() {
    std::ifstream in(work_.File("log/oxaGEPDAD6.LOG"), std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
  }

  testsupport::TempFolder work_;
  QProcessEnvironment environment_;
};

// The historian's values of `tag` at or before `time`, newest first.
std::vector<double> HistoryBefore(platform::OdbcConnection& historian, const std::string& tag,
                                  runtime::Date time) {
  auto rows = historian.Execute(
      "SELECT Value FROM ihRawData WHERE SamplingMode = 'RawByTime' AND Tagname = ? AND "
      "TimeStamp <= ? ORDER BY TimeStamp DESC LIMIT 3",
      std::vector<runtime::Variant>{tag, time});
  std::vector<double> values;
  for (; !rows->Eof(); rows->MoveNext()) values.push_back(runtime::ToDouble(rows->Field("Value")));
  return values;
}

TEST_F(EndToEnd, SavedReadingsAreTheHistoriansValuesAtCollectionTime) {
  const std::string historian = work_.File("historian.db");
  auto histsim =
      Start(HISTSIM_PROGRAM, {QString::fromStdString(historian), "--period", "0.5", "--for", "60"});
  QThread::sleep(1);
  const Finished run =
      Run(DAM_PROGRAM, {"run", QString::fromStdString(WriteConfiguration(historian, 2)),
                        "--subgroups", "3", "--for", "40"});
  histsim->kill();
  histsim->waitForFinished();
  ASSERT_EQ(run.exitCode, 0) << run.output;

  const auto saved = Saved();
  ASSERT_GE(saved.size(), 3u) << run.output << Log();
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
      const std::string tag = tagOf.at({reading.test, reading.sample});
      const auto history = HistoryBefore(connection, tag, subgroup.time);
      ASSERT_FALSE(history.empty());
      // The query runs just before the save; the historian may have moved once between.
      EXPECT_TRUE(reading.value == history[0] ||
                  (history.size() > 1 && reading.value == history[1]))
          << tag << " saved " << reading.value << " historian " << history[0];
    }
  }
}

TEST_F(EndToEnd, AMissingHistorianIsRecordedAndCollectionStartsWhenItAppears) {
  const std::string historian = work_.File("late.db");
  auto run = Start(DAM_PROGRAM, {"run", QString::fromStdString(WriteConfiguration(historian, 1)),
                                 "--subgroups", "1", "--for", "40"});
  QThread::sleep(3);
  EXPECT_EQ(run->state(), QProcess::Running) << "dam keeps running without its historian";
  EXPECT_NE(Log().find("\tUnable to Access Database\t"), std::string::npos) << Log();

  auto histsim =
      Start(HISTSIM_PROGRAM, {QString::fromStdString(historian), "--period", "0.5", "--for", "40"});
  EXPECT_TRUE(run->waitForFinished(60'000));
  histsim->kill();
  histsim->waitForFinished();
  EXPECT_EQ(run->exitCode(), 0) << run->readAll().toStdString();
  EXPECT_GE(Saved().size(), 1u) << Log();
}

TEST_F(EndToEnd, ConfigShowReportsAnUnreadableConfiguration) {
  const std::string path = work_.File("bad.cfg");
  std::ofstream(path) << "NAME=Half\r\nACTIVE=maybe\r\nNAME=Never";
  const Finished shown =
      Run(DAM_PROGRAM, {"config", "show", "--json", QString::fromStdString(path)});
  EXPECT_EQ(shown.exitCode, 2);
  EXPECT_NE(shown.output.find("\"text\": \"NAME=Half\\r\\nACTIVE=0"), std::string::npos)
      << shown.output;
  EXPECT_NE(shown.output.find("\"number\": 13"), std::string::npos) << shown.output;
  EXPECT_NE(shown.output.find("\"source\": \"Configuration1.SetData\""), std::string::npos);

  const Finished inactive = Run(DAM_PROGRAM, {"run", QString::fromStdString(path)});
  EXPECT_EQ(inactive.exitCode, 1);
  EXPECT_NE(inactive.output.find("cannot be loaded"), std::string::npos) << inactive.output;
}

}  // namespace
