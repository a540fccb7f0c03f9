#include "tests/apps/dam/DamProcesses.h"

#include <signal.h>
#include <QElapsedTimer>
#include <QThread>
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>

#include "platform/spcdb/SpcReader.h"
#include "platform/spcdb/SpcSubgroup.h"
#include "runtime/Conversions.h"
#include "tests/support/Historian.h"

namespace damtest {

DamProcesses::DamProcesses() {
  const std::pair<const char*, std::string> settings[] = {
      {"DAM_REGISTRY_FILE", work_.File("drivers.registry")},
      {"DAM_LOG_DIR", work_.Subfolder("log")},
      {"DAM_SETTINGS_DIR", work_.Subfolder("settings")},
      {"DAM_COMPONENT_DIR", work_.Subfolder("components")},
      {"DAM_DATA_DIR", work_.Subfolder("data")}};
  for (const auto& [name, value] : settings) {
    environment_.insert(name, QString::fromStdString(value));
  }
  EXPECT_EQ(Dam({"register", DAM_MODULE_PATH}).first, 0);
}

std::unique_ptr<QProcess> DamProcesses::Start(const char* program, const QStringList& args,
                                              QProcess::ProcessChannelMode channels) {
  auto process = std::make_unique<QProcess>();
  process->setProcessEnvironment(environment_);
  process->setProcessChannelMode(channels);
  process->start(program, args);
  EXPECT_TRUE(process->waitForStarted());
  return process;
}

std::pair<int, std::string> DamProcesses::Run(const char* program, const QStringList& args) {
  auto process = Start(program, args);
  EXPECT_TRUE(process->waitForFinished(120'000));
  return {process->exitCode(), process->readAll().toStdString()};
}

std::string DamProcesses::Log() const {
  return Read(work_.File("log/oxaGEPDAD6.LOG"));
}

QString DamProcesses::WriteFile(const std::string& name, const std::string& text) const {
  std::ofstream(work_.File(name), std::ios::binary) << text;
  return QString::fromStdString(work_.File(name));
}

QString DamProcesses::Line(const std::string& file, const std::string& name,
                           const std::string& historian, const std::string& items, int subgroupUnit,
                           int retryUnit) const {
  std::ostringstream text;
  text << "NAME=" << name << "\nACTIVE=1\nDATALINK=Driver=SQLite3;Database=" << historian
       << ";NoCreat=1\nSYNCTIME=0\nSUBGROUPINTERVAL=1\nSUBGROUPUNIT=" << subgroupUnit
       << "\nRETRYINTERVAL=1\nRETRYUNIT=" << retryUnit
       << "\nDESCRIPTOR=1\tProducts\t%TAG(LINE1.PARTNO)\n"
       << items;
  return WriteFile(file, text.str());
}

void DamProcesses::StartHistorian() {
  histsim_ = Start(HISTSIM_PROGRAM,
                   {QString::fromStdString(historian_), "--period", "0.5", "--for", "300"});
  EXPECT_TRUE(WaitFor([&] { return std::filesystem::exists(historian_); }, 10));
}

void DamProcesses::StopHistorian() {
  if (!histsim_) return;
  histsim_->kill();
  histsim_->waitForFinished();
  histsim_.reset();
}

std::vector<platform::SpcSubgroupData> DamProcesses::Saved(const std::string& connection) {
  platform::SpcSession spc;
  spc.Settings().SetConnection(connection);
  spc.Open(1, 0);
  return platform::ReadSubgroups(spc, 10000);
}

void DamProcesses::ExpectHistorianValues(
    const std::vector<platform::SpcSubgroupData>& saved, size_t readings, int latest,
    const std::function<std::string(const platform::SpcReading&)>& tagOf) const {
  platform::OdbcConnection connection;
  connection.Open("Driver=SQLite3;Database=" + historian_, "", "");
  for (const auto& subgroup : saved) {
    ASSERT_EQ(subgroup.readings.size(), readings);
    for (const auto& reading : subgroup.readings) {
      auto rows = connection.Execute(
          "SELECT Value FROM ihRawData WHERE SamplingMode = 'RawByTime' AND Tagname = ? AND "
          "TimeStamp <= ? ORDER BY TimeStamp DESC LIMIT ?",
          std::vector<runtime::Variant>{tagOf(reading), subgroup.time, latest});
      std::vector<double> values;
      for (; !rows->Eof(); rows->MoveNext())
        values.push_back(runtime::ToDouble(rows->Field("Value")));
      EXPECT_NE(std::find(values.begin(), values.end(), reading.value), values.end())
          << tagOf(reading) << " at " << runtime::FormatGeneralDate(subgroup.time) << " saved "
          << reading.value;
    }
  }
}

bool DamProcesses::Says(QProcess& run, std::string& output, const std::string& text, int seconds) {
  return WaitFor(
      [&] {
        run.waitForReadyRead(50);
        output += run.readAllStandardOutput().toStdString();
        return output.find(text) != std::string::npos;
      },
      seconds);
}

int DamProcesses::Stopped(const std::string& output) {
  std::smatch figure;
  return std::regex_search(output, figure, std::regex("stopped after (\\d+) subgroup"))
             ? std::stoi(figure[1])
             : -1;
}

std::vector<std::string> DamProcesses::Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

size_t DamProcesses::Count(const std::string& text, const std::string& what) {
  size_t count = 0;
  for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++count;
  return count;
}

std::string DamProcesses::Read(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void DamProcesses::Terminate(QProcess& run) {
  QElapsedTimer clock;
  clock.start();
  run.terminate();
  EXPECT_TRUE(run.waitForFinished(15'000));
  EXPECT_LT(clock.elapsed(), 2000);
}

void DamProcesses::Signal(QProcess& run, int signal) {
  ASSERT_NE(run.processId(), 0) << "ended before signal " << signal;
  kill(static_cast<pid_t>(run.processId()), signal);
}

bool DamProcesses::WaitFor(const std::function<bool()>& done, int seconds) {
  for (int wait = 0; wait < seconds * 10; ++wait) {
    if (done()) return true;
    QThread::msleep(100);
  }
  return done();
}

std::shared_ptr<platform::SpcSession> SpcWriter(const std::string& connection,
                                                const std::string& configuration) {
  auto session = std::make_shared<platform::SpcSession>();
  session->Initialize(7);
  session->Settings().SetConnection(connection);
  session->SetConfigurationName(configuration);
  session->Open(1, 0);
  return session;
}

void CreateLockableHistorian(const std::string& path) {
  std::vector<std::string> statements = testsupport::kHistorianTables;
  for (const char* tag : {"LINE1.PARTNO", "LINE1.WEIGHT"}) {
    statements.push_back(std::string("INSERT INTO ihRawData VALUES ('") + tag +
                         "', '2024-05-01 10:00:00', 1, 'CurrentValue')");
  }
  testsupport::CreateSqliteDatabase(path, statements);
}

std::unique_ptr<platform::OdbcConnection> Lock(const std::string& connection) {
  auto holder = std::make_unique<platform::OdbcConnection>();
  holder->Open(connection, "", "");
  holder->Execute("BEGIN EXCLUSIVE");
  return holder;
}

platform::SpcSubgroupId SaveSubgroup(const std::shared_ptr<platform::SpcSession>& session,
                                     runtime::Date time, double value) {
  platform::SpcSubgroup subgroup;
  subgroup.SetDatabase(session);
  subgroup.SetGroup(host::DescriptorKind::Part, "Products");
  subgroup.SetName(host::DescriptorKind::Part, "P-7");
  subgroup.SetTime(time);
  subgroup.LookupTestGroup("Fill");
  subgroup.LookupTest("Weight");
  subgroup.AddReading(value, 1, 0, "S1", "");
  subgroup.Save(0);
  return subgroup.SavedId();
}

}  // namespace damtest
