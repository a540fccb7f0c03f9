#include "tests/dam/DamProcesses.h"

#include <QElapsedTimer>
#include <QThread>
#include <fstream>
#include <iterator>

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
  EXPECT_EQ(Run(DAM_PROGRAM, {"register", DAM_MODULE_PATH}).first, 0);
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
  std::ifstream in(work_.File("log/oxaGEPDAD6.LOG"), std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

void DamProcesses::Terminate(QProcess& run) {
  QElapsedTimer clock;
  clock.start();
  run.terminate();
  EXPECT_TRUE(run.waitForFinished(15'000));
  EXPECT_LT(clock.elapsed(), 2000);
}

bool DamProcesses::WaitFor(const std::function<bool()>& done, int seconds) {
  for (int wait = 0; wait < seconds * 10; ++wait) {
    if (done()) return true;
    QThread::msleep(100);
  }
  return done();
}

}  // namespace damtest
