// Runs the real programs (dam, histsim) in a folder of their own: every folder dam uses
// points into it, and the driver module is registered there.
#pragma once

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QProcess>
#include <QProcessEnvironment>
#include <QStringList>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "apps/dam/host/HeadlessApplication.h"
#include "platform/odbc/OdbcConnection.h"
#include "platform/spcdb/SpcSession.h"
#include "platform/spcdb/SpcSubgroupData.h"
#include "runtime/Date.h"
#include "tests/support/TempFolder.h"

namespace damtest {

// The one test most configurations collect: the weight histsim moves.
inline const std::string kWeight = "TEST=Fill\tWeight\t%TAG(LINE1.WEIGHT)\t\n";

// Whether `text` holds `part` as `holds` says; a failure shows both.
inline ::testing::AssertionResult HoldsText(const char*, const char*, const char*,
                                            const std::string& text, const std::string& part,
                                            bool holds) {
  if ((text.find(part) != std::string::npos) == holds) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << (holds ? "no " : "unexpected ") << part << " in\n"
                                       << text;
}
#define EXPECT_HAS(text, part) EXPECT_PRED_FORMAT3(damtest::HoldsText, text, part, true)
#define EXPECT_LACKS(text, part) EXPECT_PRED_FORMAT3(damtest::HoldsText, text, part, false)

class DamProcesses : public ::testing::Test {
 public:
  // Waits up to `seconds` for `done`, checking ten times a second.
  static bool WaitFor(const std::function<bool()>& done, int seconds);

 protected:
  DamProcesses();
  ~DamProcesses() override { StopHistorian(); }

  // stderr goes with stdout unless `channels` keeps them apart.
  std::unique_ptr<QProcess> Start(const char* program, const QStringList& args,
                                  QProcess::ProcessChannelMode channels = QProcess::MergedChannels);
  // Runs to the end: the exit code and the output, stderr included.
  std::pair<int, std::string> Run(const char* program, const QStringList& args);
  std::pair<int, std::string> Dam(const QStringList& args) { return Run(DAM_PROGRAM, args); }
  // The collection log as it stands.
  std::string Log() const;
  bool Logged(const std::string& text) const { return Log().find(text) != std::string::npos; }
  // Writes `text` into the work folder as `name`; gives its path.
  QString WriteFile(const std::string& name, const std::string& text) const;
  // The configuration `file` named `name`: collects from `historian` every second, retrying
  // every second, with the part number as descriptor and then `items`.
  QString Line(const std::string& file, const std::string& name, const std::string& historian,
               const std::string& items = kWeight, int subgroupUnit = 0, int retryUnit = 0) const;
  // line.cfg, "Line 1" on historian_.
  QString Configuration(const std::string& items = kWeight, int subgroupUnit = 0,
                        int retryUnit = 0) const {
    return Line("line.cfg", "Line 1", historian_, items, subgroupUnit, retryUnit);
  }
  // Reads `run`'s stdout into `output` until it holds `text`, for up to `seconds`.
  static bool Says(QProcess& run, std::string& output, const std::string& text, int seconds = 30);
  // histsim moves historian_ every half second until StopHistorian or the test's end.
  void StartHistorian();
  void StopHistorian();
  // The SPC database dam uses when told no other: the data folder's.
  std::string Spc() const { return "Driver=SQLite3;Database=" + work_.File("data/spc.db"); }
  // Every subgroup saved in the SPC database at `connection`, oldest first.
  static std::vector<platform::SpcSubgroupData> Saved(const std::string& connection);
  // Each subgroup holds `readings` readings, each one of the latest `latest` raw values of
  // the tag `tagOf` names at its subgroup's time.
  void ExpectHistorianValues(
      const std::vector<platform::SpcSubgroupData>& saved, size_t readings, int latest,
      const std::function<std::string(const platform::SpcReading&)>& tagOf) const;
  // N of dam run's "stopped after N subgroup(s)"; -1 without it.
  static int Stopped(const std::string& output);
  static std::vector<std::string> Lines(const std::string& text);
  static size_t Count(const std::string& text, const std::string& what);
  static std::string Read(const std::string& path);
  // SIGTERM: dam stops the driver and ends within two seconds, whatever it was doing.
  static void Terminate(QProcess& run);
  // Sends `signal` to `run`, failing when it has already ended: the id of an ended process
  // is 0, and kill(0, ...) would reach the test itself and ctest.
  static void Signal(QProcess& run, int signal);
  testsupport::TempFolder work_;
  QProcessEnvironment environment_ = QProcessEnvironment::systemEnvironment();
  std::string historian_ = work_.File("historian.db");

 private:
  std::unique_ptr<QProcess> histsim_;
};

// A session on `connection` that saves as the driver of `configuration` does ("": a host
// that does not say).
std::shared_ptr<platform::SpcSession> SpcWriter(const std::string& connection,
                                                const std::string& configuration);
// dam run's own application, which marks the events it delivers for the watchdog.
inline void EnsureApplication() {
  if (QCoreApplication::instance() == nullptr) dam::MakeHeadlessApplication().release();
}
// A historian at `path` holding a part number and a weight, in rollback-journal mode, where a
// writer's lock keeps readers out.
void CreateLockableHistorian(const std::string& path);
// A connection to `connection` that holds its SQLite database's write lock until it ends its
// transaction.
std::unique_ptr<platform::OdbcConnection> Lock(const std::string& connection);
// Saves a subgroup of part P-7 with one weight, `value`, of serial S1; gives its identifier.
platform::SpcSubgroupId SaveSubgroup(const std::shared_ptr<platform::SpcSession>& session,
                                     runtime::Date time, double value);

}  // namespace damtest
